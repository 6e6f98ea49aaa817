// A query file from the input, run through the exports on a small fixed
// index (a generated log of three blocks, `time` a Range field, `result`
// e1), with the rows of the first results fetched. Any input must end in a
// count or a failure text, never in a crash, a hang or a leak.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzzinput.h"
#include "frame/indexrun.h"
#include "qvloggen/qvloggen.h"
#include "quern.h"

namespace fs = std::filesystem;
using namespace quern;

namespace {

// The index, made once in a directory of this process that is the current
// one (config.ini, groups.ini and resource.ini are read there).
struct FixedIndex {
  FixedIndex() : dir(fs::temp_directory_path() / ("quern-fuzz-query-" + std::to_string(getpid()))) {
    qvloggen::Options options;
    options.blocks = 3;
    options.maxBlock = 24u << 10;
    options.truth = false;
    logPath = qvloggen::generate(options, dir.string()).logPath;
    fs::current_path(dir);
    fs::create_directory("index");
    std::ofstream("index.run") << "[In]\npath=" << logPath << "\nend=" << fs::file_size(logPath)
                               << "\n[Out]\ndir=index\n";
    RunIndex("index.run");
  }
  // The cached searchers, made after this object, are gone by now.
  ~FixedIndex() {
    fs::current_path(fs::temp_directory_path());
    fs::remove_all(dir);
  }

  fs::path dir;
  std::string logPath;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const FixedIndex index;
  const std::string query = fuzz::writeInput("query.ini", data, size);
  const int count = qrn_indexer_query("index/", query.c_str());
  for (int i = 0; i < count && i < 3; ++i) {
    const char* locator = qrn_indexer_row("index/", static_cast<unsigned>(i));
    if (locator == nullptr) continue;
    const std::string text = locator;
    const size_t colon = text.find(':');
    const unsigned long long offset = std::stoull(text.substr(colon + 1));
    const int ordinal = std::stoi(text.substr(text.find(':', colon + 1) + 1));
    qrn_indexer_row_result(index.logPath.c_str(), offset, ordinal);
    qrn_indexer_row_export(index.logPath.c_str(), offset, ordinal);
  }
  return 0;
}
