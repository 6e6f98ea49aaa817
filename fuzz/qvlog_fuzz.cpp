// A whole log file from the input: every block read and inflated, its frames
// walked. Damage ends the walk with a failure; what came before is kept.
#include <cstdint>
#include <exception>

#include "fuzzinput.h"
#include "intake/collector.h"
#include "intake/qvlogreader.h"

using namespace quern;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::writeInput("log.qvlog", data, size);
  try {
    CQvlogReader reader(path.c_str());
    LogBlockHeader header;
    while (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
      FrameHeader frame;
      while (nextRecordFrame(*frames, frame) != nullptr) {
      }
    }
  } catch (const std::exception&) {
  }
  return 0;
}
