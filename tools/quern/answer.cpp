#include "answer.h"

#include <algorithm>
#include <array>

#include "textwidth.h"

namespace quern::cli {

namespace {

enum Column : size_t { kTime = 0, kHost = 4, kText = 12 };

std::string countLine(const Answer& answer) {
  std::string line = std::to_string(answer.count) + (answer.count == 1 ? " record matches" : " records match");
  if (answer.partial) return line + " so far (interrupted: the count is partial)";
  if (answer.rows.empty()) return line;
  return line + (answer.rows.size() == 1 ? ", the newest:" : ", the newest " + std::to_string(answer.rows.size()) + ":");
}

void printTable(std::FILE* out, const Answer& answer, size_t width) {
  std::fprintf(out, "%s\n", countLine(answer).c_str());
  if (answer.rows.empty()) return;
  struct Shown {
    const char* title;
    size_t cap;
    std::string (*of)(const ShownRow&);
  };
  // Wide columns are capped so that the text keeps some room.
  static const std::array<Shown, 6> kShown = {{
      {"TIME", 28, [](const ShownRow& r) { return r.columns[kTime]; }},
      {"USER", 20, [](const ShownRow& r) { return r.user; }},
      {"GROUP", 28, [](const ShownRow& r) { return r.group; }},
      {"HOST", 39, [](const ShownRow& r) { return r.columns[kHost]; }},
      {"SERVICE", 16, [](const ShownRow& r) { return r.service; }},
      {"TEXT", 0, [](const ShownRow& r) { return r.columns[kText]; }},
  }};
  std::array<size_t, 6> widths{};
  for (size_t c = 0; c + 1 < kShown.size(); ++c) {
    widths[c] = displayWidth(kShown[c].title);
    for (const ShownRow& row : answer.rows) widths[c] = std::max(widths[c], displayWidth(kShown[c].of(row)));
    widths[c] = std::min(widths[c], kShown[c].cap);
  }
  // On a narrow terminal the group, the user and the service give way, to
  // some columns each, so that the text keeps room.
  constexpr size_t kTextRoom = 30;
  constexpr std::pair<size_t, size_t> kGiving[] = {{2, 10}, {1, 10}, {4, 8}};
  for (const auto& [column, least] : kGiving) {
    size_t used = kTextRoom;
    for (size_t c = 0; c + 1 < kShown.size(); ++c) used += widths[c] + 2;
    if (width == 0 || used <= width) break;
    widths[column] = std::min(widths[column], std::max(least, widths[column] - std::min(widths[column], used - width)));
  }
  const auto line = [&](auto cell) {
    std::string text;
    for (size_t c = 0; c + 1 < kShown.size(); ++c) text += fitToWidth(cell(c), widths[c]) + "  ";
    text += cell(kShown.size() - 1);
    if (width != 0) text = cutToWidth(text, width);
    text.erase(text.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", text.c_str());
  };
  line([](size_t c) { return std::string(kShown[c].title); });
  for (const ShownRow& row : answer.rows) {
    if (row.columns[kTime].empty()) {
      line([&](size_t c) { return c + 1 == kShown.size() ? "(no frame at " + row.locator + ")" : std::string(); });
    } else {
      line([&](size_t c) { return kShown[c].of(row); });
    }
  }
}

std::vector<std::string> cells(const ShownRow& row) {
  std::vector<std::string> cells = {row.locator, row.logFile};
  cells.insert(cells.end(), row.columns.begin(), row.columns.end());
  cells.insert(cells.end(), {row.user, row.group, row.service, row.app});
  return cells;
}

std::vector<std::string> cellNames() {
  std::vector<std::string> names = {"locator", "log_file"};
  names.insert(names.end(), std::begin(kRowColumns), std::end(kRowColumns));
  names.insert(names.end(), {"user", "group", "service", "app"});
  return names;
}

void printTsv(std::FILE* out, const Answer& answer) {
  std::fprintf(out, "count\t%lld\t%s\n", answer.count, answer.partial ? "partial" : "complete");
  const auto line = [&](const std::vector<std::string>& cells) {
    std::string text;
    for (const std::string& cell : cells) text += (text.empty() ? "" : "\t") + cell;
    std::fprintf(out, "%s\n", text.c_str());
  };
  line(cellNames());
  for (const ShownRow& row : answer.rows) line(cells(row));
}

std::string jsonString(const std::string& text) {
  std::string json = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (byte < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
      json += escaped;
    } else {
      json += c;
    }
  }
  return json + "\"";
}

void printJson(std::FILE* out, const Answer& answer) {
  std::fprintf(out, "{\"count\": %lld, \"partial\": %s, \"rows\": [", answer.count, answer.partial ? "true" : "false");
  const std::vector<std::string> names = cellNames();
  for (size_t r = 0; r < answer.rows.size(); ++r) {
    const std::vector<std::string> values = cells(answer.rows[r]);
    std::string object;
    for (size_t c = 0; c < names.size(); ++c) object += (c == 0 ? "" : ", ") + jsonString(names[c]) + ": " + jsonString(values[c]);
    std::fprintf(out, "%s\n  {%s}", r == 0 ? "" : ",", object.c_str());
  }
  std::fprintf(out, "%s]}\n", answer.rows.empty() ? "" : "\n");
}

}  // namespace

void printAnswer(std::FILE* out, const Answer& answer, Format format, size_t width) {
  switch (format) {
    case Format::Table: printTable(out, answer, width); break;
    case Format::Tsv: printTsv(out, answer); break;
    case Format::Json: printJson(out, answer); break;
  }
}

}  // namespace quern::cli
