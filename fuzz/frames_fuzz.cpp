// The inflated payload of a block from the input: its frames walked as an
// index pass walks them, each record's values made (time, snap text, the
// searchable text of its payload) and its result and export rows rendered.
// Nothing may be read outside the input.
#include <cstdint>
#include <exception>
#include <vector>

#include "intake/collector.h"
#include "intake/framereader.h"
#include "intake/frameview.h"
#include "intake/qvlogreader.h"

using namespace quern;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An exact copy, so that a read past the end hits the sanitizer's red zone.
  const std::vector<uint8_t> block(data, data + size);
  static const CResultReader result;
  static const CFrameReader rows;
  std::vector<uint8_t> text(1u << 16);
  CQvlogIterator frames;
  frames.reset(block.data(), static_cast<uint32_t>(block.size()));
  FrameHeader header;
  while (const uint8_t* body = nextRecordFrame(frames, header)) {
    FrameView frame;
    if (!frame.load(header, body)) continue;
    frame.timeText();
    frame.snapText();
    result.Read(frame.payload(), frame.payloadSize(), text.data(), static_cast<uint32_t>(text.size()));
    for (int exportRow : {0, 1}) {
      try {
        rows.Row(&header, body, exportRow);
      } catch (const std::exception&) {
      }
    }
  }
  return 0;
}
