// The search verbs of the command line, through the library's C exports:
// `quern query` runs a query file, or one it writes from flags, and prints
// the count and the newest rows; `quern row` prints one frame's row.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "answer.h"
#include "queryfile.h"

namespace quern::cli {

// A failure the library reported, with its text.
class LibraryFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Runs `flags` on `dir` through a temporary query file and gives the count
// and the rows. Throws LibraryFailure, or std::runtime_error when a row's log
// cannot be found.
Answer askFlags(const std::string& dir, const QueryFlags& flags, const std::string& logs);

// quern query DIR QUERYFILE [--format F] [--logs DIR]
// quern query DIR [flags] [--format F] [--logs DIR]
// The exit code: 0, 1 on failure, 2 on a wrong command line, 130 when
// interrupted.
int queryVerb(const std::vector<std::string>& args);

// quern row LOG OFFSET ORDINAL [--export]
int rowVerb(const std::vector<std::string>& args);

// Prints the count and the rows, a table cut to the terminal's width
// (COLUMNS, when set, stands for it).
void show(const Answer& answer, Format format);

}  // namespace quern::cli
