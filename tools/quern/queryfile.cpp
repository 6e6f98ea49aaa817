#include "queryfile.h"

#include <stdexcept>

namespace quern::cli {

namespace {

constexpr char kEarliest[] = "0000/00/00 00:00:00";
constexpr char kLatest[] = "9999/99/99 99:99:99";
constexpr uint32_t kMaxLimit = 10000000;

std::string filled(const std::string& time, const std::string& pattern) {
  return time.size() >= pattern.size() ? time : time + pattern.substr(time.size());
}

uint32_t parseNumber(const std::string& name, const std::string& text, uint32_t max) {
  if (text.empty() || text.size() > 8 || text.find_first_not_of("0123456789") != std::string::npos ||
      std::stoul(text) > max) {
    throw std::invalid_argument(name + " takes a number up to " + std::to_string(max));
  }
  return static_cast<uint32_t>(std::stoul(text));
}

// A whole number with an optional sign, as the library reads it.
std::string signedNumber(const std::string& name, const std::string& text) {
  const size_t digits = text.empty() || (text[0] != '-' && text[0] != '+') ? 0 : 1;
  if (text.size() == digits || text.size() > digits + 10 ||
      text.find_first_not_of("0123456789", digits) != std::string::npos) {
    throw std::invalid_argument(name + " takes a whole number");
  }
  return text;
}

std::string joined(const std::vector<std::string>& parts, char separator) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : std::string(1, separator)) + part;
  return text;
}

}  // namespace

QueryFlags parseQueryFlags(const std::vector<std::string>& args) {
  QueryFlags flags;
  bool countOnly = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& name = args[i];
    if (name == "--count") {
      countOnly = true;
      continue;
    }
    if (i + 1 == args.size()) throw std::invalid_argument(name + " needs a value");
    const std::string& value = args[++i];
    // A line end would end the clause, a TAB would split it.
    if (value.find_first_of("\t\r\n") != std::string::npos) {
      throw std::invalid_argument(name + " cannot hold a TAB or a line end");
    }
    if (name == "--user") flags.user = value;
    else if (name == "--group") flags.groups.push_back(value);
    else if (name == "--host") flags.host = value;
    else if (name == "--serv") flags.serv = value;
    else if (name == "--app") flags.app = value;
    else if (name == "--private") flags.privateMark = signedNumber(name, value);
    else if (name == "--snap") flags.snap = signedNumber(name, value);
    else if (name == "--time") flags.time = value;
    else if (name == "--result") flags.results.push_back(value);
    else if (name == "--limit") flags.limit = parseNumber(name, value, kMaxLimit);
    else throw std::invalid_argument("unknown flag " + name);
  }
  if (countOnly) flags.limit = 0;
  return flags;
}

std::string timeClause(const std::string& flag) {
  const size_t dash = flag.find('-');
  const std::string from = flag.substr(0, dash);
  const std::string to = dash == std::string::npos ? from : flag.substr(dash + 1);
  if (to.find('-') != std::string::npos) throw std::invalid_argument("--time takes T or T-T");
  return filled(from, kEarliest) + "-" + filled(to, kLatest);
}

std::vector<std::pair<std::string, std::string>> queryClauses(const QueryFlags& flags, const std::string& cancelPath) {
  std::vector<std::string> results;
  for (std::string result : flags.results) {
    for (char& c : result) c = c == '+' ? '\b' : c;
    results.push_back(result);
  }
  const std::pair<std::string, std::string> all[] = {
      {"cancel", cancelPath},           {"limit", std::to_string(flags.limit)},
      {"user", flags.user},             {"group", joined(flags.groups, '\t')},
      {"host", flags.host},             {"serv", flags.serv},
      {"app", flags.app},               {"private", flags.privateMark},
      {"time", timeClause(flags.time)}, {"result", joined(results, '\t')},
      {"snap", flags.snap},
  };
  std::vector<std::pair<std::string, std::string>> clauses;
  for (const auto& clause : all) {
    if (!clause.second.empty()) clauses.push_back(clause);
  }
  return clauses;
}

std::string queryFileText(const QueryFlags& flags, const std::string& cancelPath) {
  // "key = value": the library drops one blank on each side of "=", so a
  // value keeps blanks of its own at both ends.
  std::string text = "[filter]\n";
  for (const auto& [key, value] : queryClauses(flags, cancelPath)) text += key + " = " + value + "\n";
  return text;
}

}  // namespace quern::cli
