#include "demo.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <span>
#include <string_view>

#include "logfiles.h"
#include "query.h"
#include "qvloggen/truthquery.h"
#include "qvloggen/vocabulary.h"
#include "runs.h"
#include "sample.h"
#include "summary.h"

namespace quern::cli {

namespace {

using qvloggen::TruthRecord;

struct DemoQuery {
  std::string note;
  std::vector<std::string> flags;
};

// The most frequent key among the records, the first of equals.
template <typename KeyOf>
std::string mostFrequent(const std::vector<TruthRecord>& records, KeyOf keyOf) {
  std::map<std::string, size_t> counts;
  for (const TruthRecord& record : records) {
    const std::string key = keyOf(record);
    if (!key.empty()) ++counts[key];
  }
  const auto best = std::max_element(counts.begin(), counts.end(),
                                     [](const auto& a, const auto& b) { return a.second < b.second; });
  return best == counts.end() ? std::string() : best->first;
}

// The two neighbouring words that the most records hold, among words that
// `keep` takes, as a phrase.
template <typename Keep>
std::string commonPhrase(const std::vector<TruthRecord>& records, Keep keep) {
  std::map<std::string, size_t> counts;
  for (const TruthRecord& record : records) {
    std::set<std::string> pairs;
    for (size_t k = 0; k + 1 < record.words.size(); ++k) {
      if (keep(record.words[k]) && keep(record.words[k + 1])) pairs.insert(record.words[k] + " " + record.words[k + 1]);
    }
    for (const std::string& pair : pairs) ++counts[pair];
  }
  const auto best = std::max_element(counts.begin(), counts.end(),
                                     [](const auto& a, const auto& b) { return a.second < b.second; });
  return best == counts.end() ? std::string() : best->first;
}

// Questions that this log can answer, with values taken from it.
std::vector<DemoQuery> demoQueries(const std::vector<TruthRecord>& records) {
  const std::string user = mostFrequent(records, [](const TruthRecord& r) { return r.frame->user; });
  // The middle half of the log's time, to the minute.
  const std::string from = records[records.size() / 4].frame->time.substr(0, 16);
  const std::string to = records[records.size() * 3 / 4].frame->time.substr(0, 16);
  const std::string top = mostFrequent(records, [](const TruthRecord& r) {
    const std::string& path = r.frame->groupPath;
    return path.empty() ? std::string() : path.substr(0, path.find('/', 1));
  });
  const std::string net = mostFrequent(records, [](const TruthRecord& r) {
    const std::string& host = r.frame->host;
    const size_t second = host.find('.', host.find('.') + 1);
    return host.find(':') != std::string::npos || second == std::string::npos ? std::string() : host.substr(0, second);
  });
  const std::string mail(qvloggen::kResMailRecvSend);
  const std::span<const std::string_view> english = qvloggen::englishWords();
  const std::string phrase = commonPhrase(records, [&](const std::string& word) {
    return std::find(english.begin(), english.end(), word) != english.end();
  });
  // The generator's Chinese words are cut into their characters.
  const auto han = [](const std::string& word) { return static_cast<unsigned char>(word[0]) >= 0xE3; };
  const std::string chinese = commonPhrase(records, han);
  // The Chinese phrase most often found beside the English one.
  std::vector<TruthRecord> holding;
  const std::vector<std::string> words = qvloggen::truthWords(phrase);
  for (const TruthRecord& record : records) {
    if (std::search(record.words.begin(), record.words.end(), words.begin(), words.end()) != record.words.end()) {
      holding.push_back(record);
    }
  }
  const std::string alongside = commonPhrase(holding, han);
  return {
      {"a user in a time window", {"--user", user, "--time", from + "-" + to}},
      {"a group and everything under it", {"--group", top}},
      {"an address range", {"--host", net + ".0.0-" + net + ".255.255"}},
      {"mail: the service " + std::string(qvloggen::kResMail) + ", or web mail over " +
           std::string(qvloggen::kResHttpApp),
       {"--serv", mail}},
      {"the phrase \"" + phrase + "\" in the searchable text", {"--result", phrase}},
      {"the Chinese phrase " + chinese + ", its two characters side by side", {"--result", chinese}},
      {"either phrase (TAB between alternatives)", {"--result", phrase, "--result", chinese}},
      {"\"" + phrase + "\" and " + alongside + " in one record (0x08 between them)",
       {"--result", phrase + "+" + alongside}},
  };
}

std::string commandLine(const std::vector<std::string>& flags) {
  std::string line = "quern query index";
  for (const std::string& flag : flags) {
    line += flag.find(' ') == std::string::npos ? " " + flag : " \"" + flag + "\"";
  }
  return line;
}

// The records the sidecar says the query finds, by id.
std::vector<uint32_t> sidecarMatches(const std::vector<TruthRecord>& records, const QueryFlags& flags) {
  qvloggen::QueryValues values;
  for (const auto& [key, value] : queryClauses(flags, "cancel")) values[key] = value;
  return qvloggen::truthMatches(records, values).value_or(std::vector<uint32_t>());
}

// Runs the queries, each count beside the sidecar's, and shows the newest
// rows of the first; false when the library and the sidecar disagree.
bool runQueries(const std::vector<TruthRecord>& records, const std::string& log) {
  constexpr uint32_t kRows = 5;
  bool agree = true;
  const std::vector<DemoQuery> queries = demoQueries(records);
  std::printf("== 5. queries, each count beside the one the generator's sidecar gives\n");
  for (const DemoQuery& query : queries) {
    QueryFlags flags = parseQueryFlags(query.flags);
    flags.limit = 0;
    const Answer answer = askFlags("index", flags, log);
    const uint64_t expected = sidecarMatches(records, flags).size();
    agree = agree && static_cast<uint64_t>(answer.count) == expected;
    std::printf("$ %s --count\n  %s: %lld records; the sidecar: %llu\n", commandLine(query.flags).c_str(),
                query.note.c_str(), answer.count, static_cast<unsigned long long>(expected));
  }
  std::printf("== 6. the newest %u rows of the first\n$ %s --limit %u\n", kRows,
              commandLine(queries[0].flags).c_str(), kRows);
  QueryFlags flags = parseQueryFlags(queries[0].flags);
  flags.limit = kRows;
  const Answer answer = askFlags("index", flags, log);
  show(answer, Format::Table);
  // The sidecar's newest matches must be these rows, newest first.
  const std::vector<uint32_t> matches = sidecarMatches(records, flags);
  const uint32_t number = logNumber(std::filesystem::path(log).filename().string());
  agree = agree && answer.rows.size() == std::min<size_t>(kRows, matches.size());
  for (size_t i = 0; i < answer.rows.size() && agree; ++i) {
    const TruthRecord& record = records[matches[matches.size() - 1 - i] - 1];
    agree = agree && answer.rows[i].locator == qvloggen::truthLocator(record, number);
  }
  std::printf("%s\n", agree ? "every count and row agrees with the sidecar" : "THE SIDECAR DISAGREES");
  return agree;
}

}  // namespace

int demoVerb(const std::string& dir, const Self& self) {
  qvloggen::Options options;
  options.bytes = 8u << 20;
  std::printf("== 1. generating a sample log (seed %llu)\n", static_cast<unsigned long long>(options.seed));
  const qvloggen::Summary summary = generateReporting(options, dir);
  std::printf("== 2. slicing %s into blocks (begin,end,sliceTag)\n", summary.logPath.c_str());
  const int count = printSlices(summary.logPath, true);
  if (count < 0) return 1;
  std::printf("%d blocks; the generator wrote %llu\n", count, static_cast<unsigned long long>(summary.blocks.size()));
  if (static_cast<size_t>(count) != summary.blocks.size()) return 1;

  // The library reads config.ini and groups.ini from the current directory,
  // where the generator wrote the shipped configuration.
  std::filesystem::current_path(dir);
  const std::string log = std::filesystem::path(summary.logPath).filename().string();
  std::printf("== 3. indexing %s in two parts, merged into index/\n", log.c_str());
  if (indexVerb({"--in", log, "--out", "index", "--parts", "2"}, self) != 0) return 1;
  std::printf("== 4. the index\n");
  const IndexSummary index = summarize("index");
  printSummary("index", index, true);
  const qvloggen::Truth truth = qvloggen::readTruth(std::filesystem::path(summary.truthPath).filename().string());
  const std::vector<TruthRecord> records = qvloggen::truthRecords(truth);
  std::printf("%llu records; the sidecar holds %llu frames that make one\n",
              static_cast<unsigned long long>(index.records), static_cast<unsigned long long>(records.size()));
  if (index.records != records.size()) return 1;
  return runQueries(records, log) ? 0 : 1;
}

}  // namespace quern::cli
