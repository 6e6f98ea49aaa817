// The generator and the slice list as the gen, slice and demo verbs print
// them.
#pragma once

#include <string>

#include "qvloggen/qvloggen.h"

namespace quern::cli {

// Generates a log with its INI files into `dir` and says what was written.
qvloggen::Summary generateReporting(const qvloggen::Options& options, const std::string& dir);

// Prints the slice texts of a log (with `quiet` the first three and the
// last); the number of blocks, or -1 after printing the library's error.
int printSlices(const std::string& log, bool quiet);

}  // namespace quern::cli
