// What a query answers, as the command line prints it: the count, then the
// newest rows, as a table for people (cut to the terminal's width) or with
// every column in full for scripts (TSV, JSON). Formats in docs/query.md.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace quern::cli {

// The columns of the library's result row, in its order.
inline constexpr const char* kRowColumns[] = {"time",     "event_tag", "user_crc",    "group_crc",   "host",
                                              "peer",     "serv_crc",  "app_crc",     "snap",        "reserved",
                                              "attach_name", "attach_path", "text"};
inline constexpr size_t kRowColumnCount = sizeof kRowColumns / sizeof kRowColumns[0];

struct ShownRow {
  std::string locator;
  std::string logFile;
  // The result row split at TAB; all empty when the block has no such frame.
  std::vector<std::string> columns = std::vector<std::string>(kRowColumnCount);
  std::string user;
  std::string group;
  std::string service;
  std::string app;
};

struct Answer {
  long long count = 0;
  bool partial = false;  // interrupted: the count and rows are of what was found until then
  std::vector<ShownRow> rows;
};

enum class Format { Table, Tsv, Json };

// `width` 0 means no cut.
void printAnswer(std::FILE* out, const Answer& answer, Format format, size_t width);

}  // namespace quern::cli
