// quern: the command-line host. It drives the library through its C exports
// only, as the appliance's reporting host does, and the log generator for
// sample data.
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "qvloggen/options.h"
#include "quern.h"
#include "qvloggen/qvloggen.h"
#include "runs.h"
#include "summary.h"
#include "qvloggen/truth.h"

namespace {

using quern::qvloggen::Options;
using quern::qvloggen::Summary;

int usage(FILE* out) {
  std::fprintf(out,
               "usage: quern [--log FILE] VERB [ARGS]\n"
               "  gen [options]   write a generated qvlog file with its INI files\n"
               "  slice LOG       list the blocks of a qvlog file as begin,end,sliceTag\n"
               "  index RUNFILE   run the library's index run file\n"
               "  index --in LOG --out DIR [--begin N] [--end N] [--memory N[K|M|G]] [--cache N]\n"
               "                  [--parts N] [--jobs N]\n"
               "                  index LOG (from the current directory's config.ini and groups.ini)\n"
               "                  in parts of about 256 MiB, N child processes at a time, then merge\n"
               "  merge MERGEFILE run the library's merge input file\n"
               "  merge --out DIR INPUT...  merge index directories into DIR\n"
               "  demo [DIR]      generate a sample log into DIR (default ./quern-demo), slice and index it\n"
               "  help            this text\n"
               "  --log FILE      write the library's trace log to FILE\n"
               "gen options:\n%s",
               quern::qvloggen::optionsHelp());
  return out == stdout ? 0 : 2;
}

int failed(const char* what) {
  std::fprintf(stderr, "quern: %s failed: %s\n", what, qrn_indexer_error());
  return 1;
}

// Prints the slice texts; the number of blocks, or -1 after printing the error.
int slice(const std::string& log, bool quiet) {
  const int count = qrn_indexer_slice(log.c_str());
  if (count < 0) {
    failed("slice");
    return -1;
  }
  for (int i = 0; i < count; ++i) {
    const char* text = qrn_indexer_block(static_cast<unsigned>(i));
    if (!quiet || i < 3 || i + 1 == count) std::printf("%s\n", text);
    if (quiet && i == 3 && count > 4) std::printf("...\n");
  }
  return count;
}

Summary generateReporting(const Options& options, const std::string& dir) {
  const Summary summary = quern::qvloggen::generate(options, dir);
  std::printf("generated %s: %llu bytes, %llu blocks, %llu frames (%llu hidden)\n", summary.logPath.c_str(),
              static_cast<unsigned long long>(summary.bytes),
              static_cast<unsigned long long>(summary.blocks.size()),
              static_cast<unsigned long long>(summary.frames), static_cast<unsigned long long>(summary.hidden));
  std::printf("wrote %s/groups.ini, %s/resource.ini, %s/config.ini%s%s\n", dir.c_str(), dir.c_str(), dir.c_str(),
              summary.truthPath.empty() ? "" : " and the sidecar ", summary.truthPath.c_str());
  return summary;
}

int gen(const std::vector<std::string>& args) {
  Options options;
  std::string dir = "qvlog-sample";
  std::string error;
  if (!quern::qvloggen::parseOptions(args, options, dir, error)) {
    std::fprintf(stderr, "quern gen: %s\n", error.c_str());
    return usage(stderr);
  }
  generateReporting(options, dir);
  return 0;
}

// Frames the sidecar says make a record: visible frames of types 2, 7, 8, 9, 10.
uint64_t truthRecords(const std::string& truthPath) {
  uint64_t records = 0;
  for (const auto& frame : quern::qvloggen::readTruth(truthPath).frames) {
    const bool recordType = frame.type == 2 || (frame.type >= 7 && frame.type <= 10);
    records += frame.ordinal >= 0 && recordType;
  }
  return records;
}

int demo(const std::vector<std::string>& args, const quern::cli::Self& self) {
  if (args.size() > 1) return usage(stderr);
  const std::string dir = args.empty() ? "quern-demo" : args[0];
  Options options;
  options.bytes = 8u << 20;
  std::printf("== 1. generating a sample log (seed %llu)\n", static_cast<unsigned long long>(options.seed));
  const Summary summary = generateReporting(options, dir);
  std::printf("== 2. slicing %s into blocks (begin,end,sliceTag)\n", summary.logPath.c_str());
  const int count = slice(summary.logPath, true);
  if (count < 0) return 1;
  std::printf("%d blocks; the generator wrote %llu\n", count, static_cast<unsigned long long>(summary.blocks.size()));
  if (static_cast<size_t>(count) != summary.blocks.size()) return 1;

  // The library reads config.ini and groups.ini from the current directory.
  // Until the full-text kind is in the library, result is indexed as e1.
  std::filesystem::current_path(dir);
  std::ofstream("config.ini", std::ios::binary) << quern::qvloggen::configIni(true);
  const std::string log = std::filesystem::path(summary.logPath).filename().string();
  std::printf("== 3. indexing %s in two parts, merged into index/\n", log.c_str());
  if (quern::cli::indexVerb({"--in", log, "--out", "index", "--parts", "2"}, self) != 0) return 1;
  std::printf("== 4. the index\n");
  const quern::cli::IndexSummary index = quern::cli::summarize("index");
  quern::cli::printSummary("index", index, true);
  const uint64_t expected = truthRecords(std::filesystem::path(summary.truthPath).filename().string());
  std::printf("%llu records; the sidecar holds %llu frames that make one\n",
              static_cast<unsigned long long>(index.records), static_cast<unsigned long long>(expected));
  return index.records == expected ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  quern::cli::Self self;
  // Children are started from wherever the parent stands, so a path to this
  // program is made absolute; a bare name is left to the shell's search.
  self.program = argv[0];
  if (self.program.find_first_of("/\\") != std::string::npos) {
    self.program = std::filesystem::absolute(self.program).string();
  }
  std::string& logPath = self.logPath;
  if (args.size() >= 2 && args[0] == "--log") {
    logPath = std::filesystem::absolute(args[1]).string();
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.empty()) return usage(stderr);
  const std::string verb = args[0];
  args.erase(args.begin());
  if (verb == "help" || verb == "--help" || verb == "-h") return usage(stdout);
  if (qrn_indexer_init(logPath.empty() ? nullptr : logPath.c_str(), -1) != 0) return failed("init");
  try {
    if (verb == "gen") return gen(args);
    if (verb == "slice") {
      if (args.size() != 1) return usage(stderr);
      return slice(args[0], false) < 0 ? 1 : 0;
    }
    if (verb == "index") return args.empty() ? usage(stderr) : quern::cli::indexVerb(args, self);
    if (verb == "merge") return quern::cli::mergeVerb(args);
    if (verb == "demo") return demo(args, self);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "quern %s: %s\n", verb.c_str(), failure.what());
    return 1;
  }
  std::fprintf(stderr, "quern: unknown verb %s\n", verb.c_str());
  return usage(stderr);
}
