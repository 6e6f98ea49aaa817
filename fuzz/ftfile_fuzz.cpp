// A full-text field file from the input, opened, searched for phrases (a
// fixed few and one made of the input's first bytes) and merged into a
// scratch file, which scans it as every merge does. The closing block's
// checksum is set right before the file is written, so that inputs reach
// the term table and the lists instead of stopping at the checksum.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <exception>
#include <string>
#include <vector>

#include <unistd.h>

#include "base/cancel.h"
#include "base/suspend.h"
#include "fuzzinput.h"
#include "kinds/ftindexreader.h"
#include "kinds/ftmerge.h"
#include "storage/closingblock.h"
#include "storage/crc.h"
#include "storage/endian.h"

using namespace quern;

namespace {

// The watchers a search and a merge need; never named a file, so they never
// cancel or suspend.
struct Watchers {
  Canceler canceler{60000};
  Suspender suspender{60000, 1};
  Watchers() {
    Canceler::setCurrent(&canceler);
    Suspender::setCurrent(&suspender);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Watchers watchers;
  std::vector<uint8_t> file(data, data + size);
  if (file.size() >= closing::kSize) {
    uint8_t* block = file.data() + file.size() - closing::kSize;
    storeLE64(block + closing::kChecksumOffset, crc64(block + 8, closing::kSize - 8));
  }
  const std::string path = fuzz::writeInput("field.ft", file.data(), file.size());
  const std::string made(reinterpret_cast<const char*>(data), size < 16 ? size : 16);
  // The merge commits its file to disk: on memory where the system has it.
  static const std::string merged =
      (std::filesystem::exists("/dev/shm") ? "/dev/shm/quern-fuzz-" : "/tmp/quern-fuzz-") + std::to_string(getpid()) +
      "-merged.ft";
  try {
    FtIndexReader reader(path.c_str());
    for (const std::string& text : {std::string("alpha"), std::string("alpha beta"), std::string("beta alpha beta"),
                                    std::string("会议"), made}) {
      if (text.empty()) continue;
      if (auto found = reader.search(text.data(), static_cast<uint32_t>(text.size()))) found->count();
    }
    reader.close();
    FtMerger merger(1);
    merger.insert(&reader);
    COutputDesc out(std::make_unique<CFileOutput>(merged.c_str()));
    merger.merge(&out);
  } catch (const std::exception&) {
  }
  std::remove(merged.c_str());
  return 0;
}
