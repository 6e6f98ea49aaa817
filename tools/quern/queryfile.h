// The query file that `quern query DIR [flags]` writes for the library:
// one clause per flag in section [filter], values as the library takes
// them. Syntax of the flags in docs/query.md.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quern::cli {

struct QueryFlags {
  std::string user;
  std::vector<std::string> groups;   // one path each; they are alternatives
  std::string host;
  std::string serv;
  std::string app;
  std::string privateMark;
  std::string snap;
  std::string time;                  // "T", "T-T", "T-", "-T", or empty for all time
  std::vector<std::string> results;  // alternatives; "+" joins the phrases of one
  uint32_t limit = 20;
};

// Reads the flags that follow DIR. Throws std::invalid_argument naming
// what is wrong.
QueryFlags parseQueryFlags(const std::vector<std::string>& args);

// The time clause for a --time value: each end filled out from the earliest
// ("0000/00/00 00:00:00") or the latest ("9999/99/99 99:99:99") text of the
// stored form, so that "2026/11/22" means the whole day and an open end no
// bound.
std::string timeClause(const std::string& flag);

// The clauses of the query file in its order, key and value; keys with an
// empty value are left out.
std::vector<std::pair<std::string, std::string>> queryClauses(const QueryFlags& flags, const std::string& cancelPath);

// The whole query file, with `cancelPath` as its cancel file.
std::string queryFileText(const QueryFlags& flags, const std::string& cancelPath);

}  // namespace quern::cli
