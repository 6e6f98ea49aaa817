// Queries end to end through the C exports, held against the generator's
// ground truth: thousands of random query files (every key, alternatives,
// host ranges of both families, single times and ranges, limits from 0 to
// 10,000,000, and files the library must refuse) on directories indexed in
// one pass, in a pass per block, and in two halves merged, must give the
// brute-force count, the newest ids newest first as locators, and for each
// the row of its own frame. The directories have the shipped configuration:
// `result` clauses are phrases of words side by side (some from the records,
// some made up), joined by 0x08 (AND) and TAB (OR).
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>
#include <set>

#include "quern.h"
#include "qvloggen/truthquery.h"
#include "support/logdir.h"
#include "support/truthrow.h"

namespace quern {
namespace {

using qvloggen::QueryValues;
using qvloggen::TruthFrame;
using qvloggen::TruthRecord;

constexpr int kQueriesPerDirectory = 1000;

// Values to draw clauses from: what the records hold, once per record so
// that frequent values are drawn often, and what they don't.
struct Pools {
  std::vector<std::string> users, groups, hosts, hosts6, servs, apps, times;
};

Pools poolsOf(const std::vector<TruthRecord>& records) {
  Pools pools;
  for (const TruthRecord& record : records) {
    const TruthFrame& f = *record.frame;
    pools.users.push_back(f.user);
    (f.host.find(':') == std::string::npos ? pools.hosts : pools.hosts6).push_back(f.host);
    pools.servs.push_back(f.serv);
    pools.apps.push_back(f.app);
    pools.times.push_back(f.time);
    // Some upper part of the group path: a subtree.
    if (!f.groupPath.empty()) {
      const size_t levels = static_cast<size_t>(std::count(f.groupPath.begin(), f.groupPath.end(), '/'));
      size_t cut = 0;
      for (size_t k = 0; k <= (record.id % levels); ++k) cut = f.groupPath.find('/', cut + 1);
      pools.groups.push_back(f.groupPath.substr(0, cut));
    }
  }
  return pools;
}

class QueryFiles {
 public:
  QueryFiles(const std::vector<TruthRecord>& records, uint32_t seed)
      : m_records(records), m_pools(poolsOf(records)), m_random(seed) {}

  // The clauses of one query file, key in lower case and value. Most values
  // are those of one record, so that queries of many clauses still match.
  QueryValues draw() {
    const TruthRecord& r = m_records[below(static_cast<uint32_t>(m_records.size()))];
    const auto ofRecord = [&](const std::string& own, const std::vector<std::string>& pool) {
      return below(4) != 0 ? own : pick(pool);
    };
    QueryValues values;
    values["cancel"] = below(200) == 0 ? "" : "cancel-never-made";
    values["limit"] = limit();
    if (below(3) == 0) {
      values["user"] = below(12) == 0 ? pick({"nobody", "$\xE4\xB8\xB4\xE6\x97\xB6\xE7\x94\xA8\xE6\x88\xB7"})
                                      : ofRecord(r.frame->user, m_pools.users);
    }
    if (below(4) == 0) values["group"] = group(r);
    if (below(4) == 0) values["host"] = host(r);
    if (below(4) == 0) {
      values["serv"] = below(4) == 0 ? "\xE9\x82\xAE\xE4\xBB\xB6\xE6\x94\xB6\xE5\x8F\x91"
                                     : ofRecord(r.frame->serv, m_pools.servs);
    }
    if (below(5) == 0) values["app"] = ofRecord(r.frame->app, m_pools.apps);
    if (below(5) == 0) {
      values["private"] = below(2) == 0 ? std::to_string(r.frame->privateMark) : pick({"0", "1", " 2", "+1", "x"});
    }
    values["time"] = time(r);
    if (below(5) == 0) values["result"] = result(r);
    if (below(5) == 0) values["snap"] = pick({"0", "1", "5", "-1", "no"});
    return values;
  }

  // The file: keys in mixed case and any order, now and then a key twice
  // (the first counts) and a section that is not read.
  std::string text(const QueryValues& values) {
    std::vector<std::string> lines;
    for (const auto& [key, value] : values) {
      if (value.empty() && below(2) == 0) continue;
      std::string written = key;
      if (below(3) == 0) written[0] = static_cast<char>(written[0] - 'a' + 'A');
      lines.push_back(written + " = " + value + "\n");
      if (below(20) == 0) lines.push_back(key + " = " + pick(m_pools.users) + "\n");
    }
    std::shuffle(lines.begin(), lines.end(), m_random);
    // Duplicates must stand behind their first: they were pushed right after it.
    std::stable_sort(lines.begin(), lines.end(), [&](const std::string& a, const std::string& b) {
      return firstOf(a, values) && !firstOf(b, values);
    });
    std::string text = below(10) == 0 ? "[other]\nuser = nobody\ntime = 0\n" : "";
    text += "[filter]\n";
    for (const std::string& line : lines) text += line;
    return text;
  }

 private:
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(m_random() % n); }
  std::string pick(const std::vector<std::string>& values) { return values[below(static_cast<uint32_t>(values.size()))]; }

  // Whether a line holds a key's own value, not a duplicate.
  static bool firstOf(const std::string& line, const QueryValues& values) {
    const size_t equals = line.find(" = ");
    std::string key = line.substr(0, equals);
    key[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(key[0])));
    const auto found = values.find(key);
    return found != values.end() && line.substr(equals + 3, line.size() - equals - 4) == found->second;
  }

  std::string limit() {
    // The largest limit costs the library a ring of that many ids: seldom.
    if (below(40) == 0) return "10000000";
    switch (below(8)) {
      case 0: return "0";
      case 1: return "1";
      case 2: case 3: return std::to_string(5000 + below(5000));  // above any count here
      case 4: return below(4) == 0 ? pick({"", "10000001", "-1", "abc"}) : "3";
      default: return std::to_string(2 + below(60));
    }
  }

  std::string group(const TruthRecord& r) {
    if (below(15) == 0) return pick({"/", "//", "\t", "/Nowhere"});
    std::string value;
    for (uint32_t n = 1 + (below(3) == 0); n > 0; --n) {
      std::string path = n == 1 && !r.frame->groupPath.empty() && below(2) == 0 ? r.frame->groupPath : pick(m_pools.groups);
      if (below(4) == 0) path.erase(0, 1);  // no leading "/"
      if (below(6) == 0) path.insert(path.find('/', 1) == std::string::npos ? path.size() : path.find('/', 1), "//");
      value += (value.empty() ? "" : "\t") + path;
    }
    return value;
  }

  std::string host(const TruthRecord& r) {
    const std::string& a = r.frame->host;
    switch (below(10)) {
      case 0: return pick({"-", "10.0.0.300", "not-an-address", a + "-", "-" + a});
      case 1: case 2: case 3: return below(4) == 0 ? pick(m_pools.hosts) : a;
      default: {
        // Ranges within one family and across the two, both ways round.
        const bool six = a.find(':') != std::string::npos;
        const std::string b = below(4) == 0 ? pick(six ? m_pools.hosts : m_pools.hosts6) : pick(six ? m_pools.hosts6 : m_pools.hosts);
        return below(5) == 0 ? b + "-" + a : std::min(a, b) + "-" + std::max(a, b);
      }
    }
  }

  std::string time(const TruthRecord& r) {
    if (below(150) == 0) return pick({"", "-"});
    const std::string& a = r.frame->time;
    if (below(4) == 0) return a;
    const std::string b = below(6) == 0 ? pick({"0", "9", "2026/11/22 10"}) : pick(m_pools.times);
    return below(8) == 0 ? b + "-" + a : std::min(a, b) + "-" + std::max(a, b) + (below(10) == 0 ? "-x" : "");
  }

  // Up to three alternatives of one or two phrases, mostly of the record's
  // own words; now and then values with no word or no phrase.
  std::string result(const TruthRecord& r) {
    if (below(12) == 0) return pick({"\t\t", "\b\b\tnothing", "[mirtoks]", "... , !"});
    std::string value;
    for (uint32_t n = 1 + below(3); n > 0; --n) {
      const TruthRecord& other = m_records[below(static_cast<uint32_t>(m_records.size()))];
      std::string alternative = phrase(n == 1 && below(3) != 0 ? r : other);
      if (below(4) == 0) alternative += "\b" + phrase(below(2) == 0 ? r : other);
      value += (value.empty() ? "" : "\t") + alternative;
    }
    return value;
  }

  // One to four words side by side in `r`, in any case, between blanks or
  // punctuation; now and then a word no record holds.
  std::string phrase(const TruthRecord& r) {
    if (r.words.empty() || below(10) == 0) return pick({"zebra", "budget zebra", "\xE4\xBC\x9A zebra"});
    const size_t length = std::min<size_t>(1 + below(4), r.words.size());
    const size_t from = below(static_cast<uint32_t>(r.words.size() - length + 1));
    std::string text;
    for (size_t k = from; k < from + length; ++k) {
      std::string word = r.words[k];
      if (below(3) == 0) {
        for (char& c : word) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      }
      text += (text.empty() ? "" : pick({" ", " ", ", ", "-"})) + word;
    }
    return text;
  }

  const std::vector<TruthRecord>& m_records;
  const Pools m_pools;
  std::mt19937 m_random;
};

class QueryTruthTest : public ::testing::Test {
 protected:
  // The log and its sidecar, once per process; each test indexes the
  // directory it asks.
  static void SetUpTestSuite() {
    s_log = new test::LogDir(11, 16, 48u << 10);
    ASSERT_EQ(qrn_indexer_init(nullptr, 0), 0);
    s_truth = new qvloggen::Truth(qvloggen::readTruth(s_log->summary.truthPath));
    s_records = new std::vector<TruthRecord>(qvloggen::truthRecords(*s_truth));
  }

  static void TearDownTestSuite() {
    qrn_searcher_clear();
    delete s_records;
    delete s_truth;
    delete s_log;
  }

  static bool run(const char* mode, const std::string& file) {
    std::string program = "test";
    std::string modeText = mode;
    std::string path = file;
    char* argv[] = {program.data(), modeText.data(), path.data(), nullptr};
    return qrn_indexer_run(3, argv) == 0;
  }

  static void index(const std::string& dir, uint64_t begin, uint64_t end, const std::string& memory) {
    std::filesystem::create_directory(dir);
    test::writeFile(dir + ".run", "[In]\npath=" + s_log->summary.logPath + "\nbegin=" + std::to_string(begin) +
                                      "\nend=" + std::to_string(end) + "\n[Out]\ndir=" + dir +
                                      "\n[Global]\nmaxIndexMemory=" + memory + "\n");
    ASSERT_TRUE(run("-i", dir + ".run")) << qrn_indexer_error();
  }

  // Runs the file on `dir` and checks the count, the locators and the rows
  // against the sidecar.
  void check(const std::string& dir, const QueryValues& values, const std::string& file) {
    const auto expected = qvloggen::truthMatches(*s_records, values);
    const int count = qrn_indexer_query(dir.c_str(), file.c_str());
    if (!expected) {
      ASSERT_EQ(count, -1) << file;
      EXPECT_EQ(qrn_indexer_row(dir.c_str(), 0), nullptr) << "a refused query leaves no rows";
      ++m_refused;
      return;
    }
    ASSERT_EQ(count, static_cast<int>(expected->size())) << file << qrn_indexer_error();
    const size_t rows = std::min<size_t>(expected->size(), std::strtoul(values.at("limit").c_str(), nullptr, 10));
    std::vector<std::string> locators;
    for (size_t i = 0; i < rows; ++i) {
      const char* locator = qrn_indexer_row(dir.c_str(), static_cast<unsigned>(i));
      ASSERT_NE(locator, nullptr) << file << " row " << i;
      const TruthRecord& record = (*s_records)[(*expected)[expected->size() - 1 - i] - 1];
      ASSERT_EQ(locator, qvloggen::truthLocator(record, 0)) << file << " row " << i;
      locators.push_back(locator);
    }
    EXPECT_EQ(qrn_indexer_row(dir.c_str(), static_cast<unsigned>(rows)), nullptr) << "no row past the newest";
    // The frames after all locators, newest first as a host reads them.
    for (size_t i = 0; i < rows; ++i) {
      const TruthRecord& record = (*s_records)[(*expected)[expected->size() - 1 - i] - 1];
      const char* row = qrn_indexer_row_export(s_log->summary.logPath.c_str(), record.blockOffset,
                                               static_cast<int>(record.ordinal));
      ASSERT_NE(row, nullptr) << qrn_indexer_error();
      ASSERT_EQ(row, test::exportRow(*record.frame)) << file << " row " << i;
    }
    m_rows += rows;
    m_matched += !expected->empty();
  }

  // Both halves of the log indexed apart, then merged by the library.
  static void mergeHalves(const std::string& dir) {
    const uint64_t half = s_log->summary.blocks[7].offset;
    index("a", 0, half - 1, "4000000000");
    index("b", half, s_log->summary.bytes, "4000000000");
    test::writeFile("merge.ini", "[In]\ncount=2\ni0=a/\ni1=b/\n[Out]\npath=" + dir + "/\n");
    std::filesystem::create_directory(dir);
    ASSERT_TRUE(run("-m", "merge.ini")) << qrn_indexer_error();
  }

  void randomQueries(const std::string& dir, uint32_t seed) {
    QueryFiles files(*s_records, seed);
    for (int q = 0; q < kQueriesPerDirectory && !HasFatalFailure(); ++q) {
      const QueryValues values = files.draw();
      test::writeFile("query.ini", files.text(values));
      check(dir, values, "query.ini");
    }
    // The mix must reach every outcome, or the test proves little.
    EXPECT_GT(m_refused, kQueriesPerDirectory / 50);
    EXPECT_GT(m_matched, kQueriesPerDirectory / 4);
    EXPECT_GT(m_rows, 5u * kQueriesPerDirectory);
  }

  static test::LogDir* s_log;
  static qvloggen::Truth* s_truth;
  static std::vector<TruthRecord>* s_records;
  int m_refused = 0;
  int m_matched = 0;
  size_t m_rows = 0;
};

test::LogDir* QueryTruthTest::s_log = nullptr;
qvloggen::Truth* QueryTruthTest::s_truth = nullptr;
std::vector<TruthRecord>* QueryTruthTest::s_records = nullptr;

TEST_F(QueryTruthTest, OnePass) {
  index("one", 0, s_log->summary.bytes, "4000000000");
  randomQueries("one", 1);
}

TEST_F(QueryTruthTest, PassPerBlock) {
  index("passes", 0, s_log->summary.bytes, "0");
  randomQueries("passes", 2);
}

TEST_F(QueryTruthTest, MergedHalves) {
  mergeHalves("merged");
  randomQueries("merged", 3);
}

}  // namespace
}  // namespace quern
