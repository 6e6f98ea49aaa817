// What an index directory holds, as the CLI prints it: the record count of
// its index.desc and its files with their sizes.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quern::cli {

struct IndexSummary {
  uint64_t records = 0;
  uint64_t bytes = 0;
  std::vector<std::pair<std::string, uint64_t>> files;  // name, size; sorted by name
};

// Reads `dir`; throws std::runtime_error when it has no readable index.desc.
IndexSummary summarize(const std::string& dir);

// "DIR: R records in F files, B bytes", with one line per file when `files`.
void printSummary(const std::string& dir, const IndexSummary& summary, bool files);

}  // namespace quern::cli
