// quern: the command-line host. It drives the library through its C exports
// only, as the appliance's reporting host does, and the log generator for
// sample data.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "demo.h"
#include "query.h"
#include "quern.h"
#include "qvloggen/options.h"
#include "qvloggen/qvloggen.h"
#include "runs.h"
#include "sample.h"
#include "terminal.h"

namespace {

using quern::qvloggen::Options;

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
               "  query DIR QUERYFILE [--format F] [--logs L]\n"
               "                  run a query file on index DIR: the count and the newest rows\n"
               "  query DIR [--user U] [--group PATH]... [--host A[-B]] [--serv S] [--app A]\n"
               "            [--private N] [--snap N] [--time T[-T]] [--result ALT]... [--limit N]\n"
               "            [--count] [--format F] [--logs L]\n"
               "                  the same with a query file written from the flags; all clauses\n"
               "                  must hold; repeated --group or --result are alternatives, \"+\"\n"
               "                  joins the phrases of one --result; T may stop early (2026/11/22\n"
               "                  is the whole day) and either end of T-T may be left out; --limit\n"
               "                  rows (default 20), --count none; F is table, tsv or json; the\n"
               "                  rows' logs are the *.qvlog files in L (default .) or the file L\n"
               "  row LOG OFFSET ORDINAL [--export]\n"
               "                  print the result (or export) row of a frame of the block at OFFSET\n"
               "  demo [DIR]      generate a sample log into DIR (default ./quern-demo), slice, index\n"
               "                  and query it, with the generator's counts beside the library's\n"
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

int gen(const std::vector<std::string>& args) {
  Options options;
  std::string dir = "qvlog-sample";
  std::string error;
  if (!quern::qvloggen::parseOptions(args, options, dir, error)) {
    std::fprintf(stderr, "quern gen: %s\n", error.c_str());
    return usage(stderr);
  }
  quern::cli::generateReporting(options, dir);
  return 0;
}

// The verbs after start-up; the exit code.
int run(const std::string& verb, const std::vector<std::string>& args, const quern::cli::Self& self) {
  using namespace quern::cli;
  if (verb == "gen") return gen(args);
  if (verb == "slice") return args.size() != 1 ? usage(stderr) : printSlices(args[0], false) < 0 ? 1 : 0;
  if (verb == "index") return args.empty() ? usage(stderr) : indexVerb(args, self);
  if (verb == "merge") return mergeVerb(args);
  if (verb == "demo") return args.size() > 1 ? usage(stderr) : demoVerb(args.empty() ? "quern-demo" : args[0], self);
  int code = -1;
  if (verb == "query") code = queryVerb(args);
  if (verb == "row") code = rowVerb(args);
  if (code == -1) std::fprintf(stderr, "quern: unknown verb %s\n", verb.c_str());
  return code == -1 || code == 2 ? usage(stderr) : code;
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
  quern::cli::prepareTerminal();
  try {
    return run(verb, args, self);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "quern %s: %s\n", verb.c_str(), failure.what());
    return 1;
  }
}
