#include "query.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "interrupt.h"
#include "ini.h"
#include "logfiles.h"
#include "names.h"
#include "quern.h"
#include "terminal.h"

namespace quern::cli {

namespace fs = std::filesystem;

namespace {

constexpr int kInterruptedExit = 130;

// Where the rows' log files are found (a directory or one log file) and how
// the answer is printed.
struct Presentation {
  std::string logs = ".";
  Format format = Format::Table;
};

// What a query needs besides its file.
struct Asking {
  std::string cancelPath;  // touched on Ctrl-C
  uint64_t limit = 0;      // rows the query file asks for
  std::string user;        // shown for rows whose user has no name
  std::string logs;
};

// The library's text, after what failed when that is more than the query.
[[noreturn]] void libraryFailed(const std::string& what) {
  throw LibraryFailure(what.empty() ? qrn_indexer_error() : what + ": " + qrn_indexer_error());
}

std::vector<std::string> splitRow(const std::string& text) {
  std::vector<std::string> columns(kRowColumnCount);
  if (text.empty()) return columns;
  size_t start = 0;
  for (size_t c = 0; c < kRowColumnCount; ++c) {
    // The last column takes the rest.
    const size_t stop = c + 1 == kRowColumnCount ? std::string::npos : text.find('\t', start);
    columns[c] = text.substr(start, stop == std::string::npos ? std::string::npos : stop - start);
    if (stop == std::string::npos) break;
    start = stop + 1;
  }
  return columns;
}

// The locators first, then the rows: a row fetch keeps its block between
// calls, and finding the logs reads nothing of the library's.
std::vector<ShownRow> fetchRows(const std::string& dir, uint64_t wanted, const Asking& asking) {
  std::vector<ShownRow> rows;
  for (uint64_t i = 0; i < wanted; ++i) {
    const char* locator = qrn_indexer_row(dir.c_str(), static_cast<unsigned>(i));
    if (locator == nullptr) libraryFailed("row " + std::to_string(i));
    rows.emplace_back().locator = locator;
  }
  if (rows.empty()) return rows;
  const LogFiles logs(asking.logs);
  const Names names("groups.ini", "names.ini");
  for (ShownRow& row : rows) {
    const auto locator = parseLocator(row.locator);
    if (!locator) throw std::runtime_error("not a locator: " + row.locator);
    row.logFile = logs.path(locator->log);
    const char* text = qrn_indexer_row_result(row.logFile.c_str(), locator->offset, static_cast<int>(locator->ordinal));
    if (text == nullptr) libraryFailed("row " + row.locator + " of " + row.logFile);
    row.columns = splitRow(text);
    row.user = names.user(row.columns[2]);
    if (row.user == row.columns[2] && !asking.user.empty()) row.user = asking.user;
    row.group = names.group(row.columns[3]);
    row.service = names.service(row.columns[6]);
    row.app = names.app(row.columns[7]);
  }
  return rows;
}

Answer ask(const std::string& dir, const std::string& queryFile, const Asking& asking) {
  Answer answer;
  {
    const CancelOnInterrupt cancel(asking.cancelPath);
    answer.count = qrn_indexer_query(dir.c_str(), queryFile.c_str());
    answer.partial = cancel.interrupted();
  }
  if (answer.count < 0) libraryFailed("");
  answer.rows = fetchRows(dir, std::min<uint64_t>(static_cast<uint64_t>(answer.count), asking.limit), asking);
  return answer;
}

// A name no other query of this machine uses at the same time.
fs::path temporaryBase() {
  std::random_device device;
  std::mt19937_64 random(device() ^ static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
  char name[40];
  std::snprintf(name, sizeof name, "quern-query-%016llx", static_cast<unsigned long long>(random()));
  return fs::temp_directory_path() / name;
}

void writeText(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
}

int usageError(const std::string& verb, const std::string& problem) {
  std::fprintf(stderr, "quern %s: %s\n", verb.c_str(), problem.c_str());
  return 2;
}

// Takes --format and --logs out of `args`.
Presentation takePresentation(std::vector<std::string>& args) {
  Presentation presentation;
  for (size_t i = 0; i < args.size();) {
    if (args[i] != "--format" && args[i] != "--logs") {
      i += args[i].rfind("--", 0) == 0 && args[i] != "--count" ? 2 : 1;
      continue;
    }
    if (i + 1 == args.size()) throw std::invalid_argument(args[i] + " needs a value");
    const std::string value = args[i + 1];
    if (args[i] == "--logs") {
      presentation.logs = value;
    } else if (value == "table" || value == "tsv" || value == "json") {
      presentation.format = value == "table" ? Format::Table : value == "tsv" ? Format::Tsv : Format::Json;
    } else {
      throw std::invalid_argument("--format takes table, tsv or json");
    }
    args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
  }
  return presentation;
}

// The cancel path and the limit of a host's query file, as far as they can
// be read; the library reads the file itself and words what is wrong.
Asking askingOf(const std::string& queryFile, const std::string& logs) {
  const Ini ini(queryFile);
  Asking asking;
  asking.cancelPath = ini.value("filter", "cancel");
  asking.limit = std::strtoul(ini.value("filter", "limit").c_str(), nullptr, 10);
  asking.user = ini.value("filter", "user");
  asking.logs = logs;
  return asking;
}

}  // namespace

Answer askFlags(const std::string& dir, const QueryFlags& flags, const std::string& logs) {
  const fs::path base = temporaryBase();
  const fs::path queryFile = base.string() + ".ini";
  Asking asking;
  asking.cancelPath = base.string() + ".cancel";
  asking.limit = flags.limit;
  asking.user = flags.user;
  asking.logs = logs;
  writeText(queryFile, queryFileText(flags, asking.cancelPath));
  struct Remove {
    fs::path path;
    ~Remove() {
      std::error_code ignored;
      fs::remove(path, ignored);
    }
  } remove{queryFile};
  return ask(dir, queryFile.string(), asking);
}

void show(const Answer& answer, Format format) {
  size_t width = terminalColumns();
  if (const char* columns = std::getenv("COLUMNS"); columns != nullptr && std::atoi(columns) > 0) {
    width = static_cast<size_t>(std::atoi(columns));
  }
  printAnswer(stdout, answer, format, width);
}

int queryVerb(const std::vector<std::string>& args) {
  if (args.empty()) return usageError("query", "DIR is missing");
  std::vector<std::string> rest(args.begin() + 1, args.end());
  Presentation presentation;
  QueryFlags flags;
  const bool byFile = !rest.empty() && rest[0].rfind("--", 0) != 0;
  try {
    presentation = takePresentation(rest);
    if (byFile && rest.size() != 1) throw std::invalid_argument("QUERYFILE takes no flags but --format and --logs");
    if (!byFile) flags = parseQueryFlags(rest);
  } catch (const std::invalid_argument& problem) {
    return usageError("query", problem.what());
  }
  try {
    const Answer answer = byFile ? ask(args[0], rest[0], askingOf(rest[0], presentation.logs))
                                 : askFlags(args[0], flags, presentation.logs);
    show(answer, presentation.format);
    return answer.partial ? kInterruptedExit : 0;
  } catch (const std::runtime_error& failure) {
    std::fprintf(stderr, "quern query: %s\n", failure.what());
    return 1;
  }
}

int rowVerb(const std::vector<std::string>& args) {
  const bool exportRow = args.size() == 4 && args[3] == "--export";
  if (args.size() != 3 && !exportRow) return usageError("row", "LOG OFFSET ORDINAL [--export]");
  const auto number = [](const std::string& text) {
    return !text.empty() && text.size() <= 19 && text.find_first_not_of("0123456789") == std::string::npos;
  };
  if (!number(args[1]) || !number(args[2]) || std::stoull(args[2]) > INT32_MAX) {
    return usageError("row", "OFFSET and ORDINAL are numbers");
  }
  const unsigned long long offset = std::stoull(args[1]);
  const int ordinal = static_cast<int>(std::stoul(args[2]));
  const char* row = exportRow ? qrn_indexer_row_export(args[0].c_str(), offset, ordinal)
                              : qrn_indexer_row_result(args[0].c_str(), offset, ordinal);
  if (row == nullptr) {
    std::fprintf(stderr, "quern row: %s\n", qrn_indexer_error());
    return 1;
  }
  if (*row == '\0') {
    std::fprintf(stderr, "quern row: the block at %s has no frame %s\n", args[1].c_str(), args[2].c_str());
    return 1;
  }
  std::printf("%s\n", row);
  return 0;
}

}  // namespace quern::cli
