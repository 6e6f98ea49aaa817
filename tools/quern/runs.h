// The index and merge verbs of the CLI: each takes the library's run file
// as is, or flags from which it writes one. Both run in the current
// directory, where the library finds config.ini and groups.ini.
#pragma once

#include <string>
#include <vector>

namespace quern::cli {

// How a child of this program is started: the program and its global flags.
struct Self {
  std::string program;
  std::string logPath;  // the trace log, "" for none
};

// quern index RUNFILE
// quern index --in LOG --out DIR [--begin N] [--end N] [--memory N[K|M|G]]
//             [--cache N] [--parts N] [--jobs N]
// Returns the exit code: 0, 1 on failure, 2 on a wrong command line.
int indexVerb(const std::vector<std::string>& args, const Self& self);

// quern merge MERGEFILE
// quern merge --out DIR INPUT...
int mergeVerb(const std::vector<std::string>& args);

// The library's run (mode "-i" or "-m") of one run file; false after
// printing the library's error.
bool runLibrary(const char* mode, const std::string& runFile);

}  // namespace quern::cli
