// The C exports.
#include "quern.h"

#include <string>
#include <vector>

#include "crashkeep.h"
#include "base/exception.h"
#include "base/exportguard.h"
#include "frame/indexrun.h"
#include "frame/searchers.h"
#include "intake/qvlogreader.h"
#include "platform/platform.h"
#include "search/search.h"
#include "storage/textutil.h"

using namespace quern;

namespace {
constexpr int kOpenFileLimit = 2048;

// "begin,end,sliceTag" of each block of the last sliced file.
std::vector<std::string>& sliceList() {
  static std::vector<std::string> list;
  return list;
}
}  // namespace

extern "C" int qrn_indexer_init(const char* logPath, int logOption) noexcept {
  // The guard only stands for an allocation failure: the two refusals set
  // their own text and leave the error number alone.
  return guardExport(-1, [&] {
    if (!platform::raiseOpenFileLimit(kOpenFileLimit)) {
      setErrorText(formatText("_setmaxstdio fail, %s", platform::errorText(platform::lastErrno()).c_str()));
      return -1;
    }
    trace_set_path(logPath, logOption);
    if (crash_keep_init() == -1) {
      setErrorText(formatText("crash keep init fail, %d", static_cast<int>(platform::lastSystemError())));
      return -1;
    }
    return 0;
  });
}

extern "C" int qrn_indexer_run(int argc, char** argv) noexcept {
  return guardExport(-1, [&] {
    if (argc < 3 || argv == nullptr || argv[1] == nullptr || argv[2] == nullptr) return 0;
    const std::string mode = argv[1];
    if (mode == "-i") {
      RunIndex(argv[2]);
    } else if (mode == "-m") {
      RunMerge(argv[2]);
    }
    return 0;
  });
}

extern "C" const char* qrn_indexer_error(void) noexcept { return errorText(); }

extern "C" int qrn_indexer_error_num(void) noexcept { return errorNumber(); }

extern "C" int qrn_indexer_slice(const char* path) noexcept {
  return guardExport(-1, [&] {
    CQvlogReader reader(path);
    sliceList().clear();
    uint64_t offset = kFileHeaderSize;
    LogBlockHeader header;
    // Decompression off: only the block heads are read, payloads are stepped over.
    while (reader.ReadBlock(&header, 0) != nullptr) {
      const uint64_t end = offset + header.blockSize + kBlockHeaderSize;
      sliceList().push_back(formatText("%llu,%llu,%u", static_cast<unsigned long long>(offset),
                                       static_cast<unsigned long long>(end), header.sliceTag));
      offset = end;
    }
    return static_cast<int>(sliceList().size());
  });
}

extern "C" const char* qrn_indexer_block(unsigned int index) noexcept {
  return guardExport<const char*>(nullptr, [&]() -> const char* {
    static std::string text;
    if (index >= sliceList().size()) return nullptr;
    text = sliceList()[index];
    return text.c_str();
  });
}

extern "C" int qrn_indexer_query(const char* indexDir, const char* queryFile) noexcept {
  return guardExport(-1, [&] { return static_cast<int>(RunQuery(indexDir, queryFile)); });
}

extern "C" const char* qrn_indexer_row(const char* indexDir, unsigned int index) noexcept {
  static std::string text;
  return guardExport<const char*>(nullptr, [&]() -> const char* {
    if (indexDir == nullptr) return nullptr;
    text = FindSearcher(indexDir).row(index);
    return text.empty() ? nullptr : text.c_str();
  });
}

namespace {

// A row of the log for the host: the path without blanks at its ends, the
// text in the calling function's own string.
const char* frameRow(std::string& text, int exportRow, const char* logPath, unsigned long long blockOffset,
                     int frameIndex) noexcept {
  return guardExport<const char*>(nullptr, [&] {
    const std::string path = logPath != nullptr ? trimBlanks(logPath) : std::string();
    text = Searcher::fetchFrame(exportRow, logPath != nullptr ? path.c_str() : nullptr, blockOffset, frameIndex);
    return text.c_str();
  });
}

}  // namespace

extern "C" const char* qrn_indexer_row_result(const char* logPath, unsigned long long blockOffset,
                                              int frameIndex) noexcept {
  static std::string text;
  return frameRow(text, 0, logPath, blockOffset, frameIndex);
}

extern "C" const char* qrn_indexer_row_export(const char* logPath, unsigned long long blockOffset,
                                              int frameIndex) noexcept {
  static std::string text;
  return frameRow(text, 1, logPath, blockOffset, frameIndex);
}

extern "C" void qrn_searcher_clear(void) noexcept { ClearSearchers(); }
