// The searcher cache and the five query exports, on generated logs. The
// exports use the process's field table: every LogDir writes the same
// config.ini into the current directory, whichever test comes first.
#include "frame/searchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "intake/qvlogformat.h"
#include "platform/faults.h"
#include "quern.h"
#include "support/logdir.h"
#include "support/raises.h"
#include "support/smallindex.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using qvloggen::TruthFrame;

bool noCurrentCanceler() {
  try {
    Canceler::current();
  } catch (const std::logic_error&) {
    return true;
  }
  return false;
}

// One indexed log, copied to as many directories as a test wants.
class SearchersTest : public ::testing::Test {
 protected:
  SearchersTest() {
    ClearSearchers();
    m_index = m_log.index("base", 0, m_log.summary.bytes);
    test::writeFile("all.ini", "[filter]\ncancel = cancel\nlimit = 5\ntime = 0-9\n");
  }
  ~SearchersTest() override { ClearSearchers(); }

  std::string copyOf(const std::string& name) {
    // A source path without its separator: Windows copies no "base/".
    fs::copy("base", name, fs::copy_options::recursive);
    return name + "/";
  }

  test::LogDir m_log{21, 3, 24u << 10};
  std::string m_index;
};

TEST_F(SearchersTest, AFifthDirectoryEvictsTheSmallestPath) {
  for (const char* name : {"a", "b", "c", "d", "e"}) copyOf(name);
  for (const char* dir : {"c/", "a/", "d/", "b/"}) ASSERT_GT(qrn_indexer_query(dir, "all.ini"), 0) << qrn_indexer_error();
  EXPECT_NE(qrn_indexer_row("b/", 0), nullptr);
  EXPECT_THAT(CachedDirectories(), ElementsAre("a/", "b/", "c/", "d/"));
  ASSERT_GT(qrn_indexer_query("e/", "all.ini"), 0);
  EXPECT_THAT(CachedDirectories(), ElementsAre("b/", "c/", "d/", "e/")) << "the smallest key goes, not the oldest";
  EXPECT_EQ(qrn_indexer_row("a/", 0), nullptr) << "a new searcher for a, without the rows of before";
  EXPECT_THAT(CachedDirectories(), ElementsAre("a/", "c/", "d/", "e/"));
  EXPECT_NE(qrn_indexer_row("c/", 4), nullptr);
  EXPECT_EQ(qrn_indexer_row("c/", 5), nullptr);
  EXPECT_EQ(qrn_indexer_row(nullptr, 0), nullptr);
  // Paths are keys as given; both spellings open the directory.
  ClearSearchers();
  EXPECT_EQ(qrn_indexer_query("a", "all.ini"), qrn_indexer_query("a/", "all.ini"));
  EXPECT_THAT(CachedDirectories(), ElementsAre("a", "a/"));
  qrn_searcher_clear();
  EXPECT_TRUE(CachedDirectories().empty());
  qrn_searcher_clear();
}

TEST_F(SearchersTest, FailuresLeaveTheCacheAndNoCanceler) {
  for (const char* name : {"a", "b", "c", "d"}) copyOf(name);
  const std::string before = qrn_indexer_error();
  EXPECT_EQ(qrn_indexer_query(nullptr, "all.ini"), 0);
  EXPECT_EQ(qrn_indexer_query("a/", nullptr), 0);
  EXPECT_EQ(qrn_indexer_error(), before) << "a null argument is no failure";
  ASSERT_GT(qrn_indexer_query("a/", "all.ini"), 0);
  test::writeFile("bad.ini", "[filter]\ncancel = c\nlimit = 5\ntime = 0-9\nhost = nowhere\n");
  EXPECT_EQ(qrn_indexer_query("a/", "bad.ini"), -1);
  EXPECT_THAT(qrn_indexer_error(), HasSubstr(",invalid host address:nowhere"));
  EXPECT_TRUE(noCurrentCanceler()) << "the failed query's watcher is gone";
  EXPECT_EQ(qrn_indexer_row("a/", 0), nullptr) << "a failed query leaves no rows";
  for (const char* dir : {"b/", "c/", "d/"}) qrn_indexer_row(dir, 0);
  EXPECT_THAT(CachedDirectories(), ElementsAre("a/", "b/", "c/", "d/"));
  EXPECT_EQ(qrn_indexer_query("missing/", "all.ini"), -1);
  EXPECT_THAT(qrn_indexer_error(), HasSubstr("construct CDataReader fail"));
  EXPECT_THAT(CachedDirectories(), ElementsAre("b/", "c/", "d/")) << "only the eviction before it";
  // A directory without records answers 0 and doesn't read the query file.
  const test::SmallIndex empty({{"f", "e1"}}, {});
  EXPECT_EQ(qrn_indexer_query(empty.out.c_str(), "no such file"), 0);
  EXPECT_TRUE(noCurrentCanceler());
}

TEST_F(SearchersTest, RowExportsTrimThePathAndRefuseOffsetZero) {
  ASSERT_GT(qrn_indexer_query(m_index.c_str(), "all.ini"), 0);
  const std::string locator = qrn_indexer_row(m_index.c_str(), 0);
  const size_t colon = locator.find(':');
  const unsigned long long offset = std::stoull(locator.substr(colon + 1));
  const int ordinal = std::stoi(locator.substr(locator.find(':', colon + 1) + 1));
  const std::string path = m_log.summary.logPath;
  const std::string row = qrn_indexer_row_result(path.c_str(), offset, ordinal);
  EXPECT_THAT(row, HasSubstr("\t"));
  EXPECT_EQ(qrn_indexer_row_result((" \t" + path + "\r\n\v").c_str(), offset, ordinal), row);
  const std::string exported = qrn_indexer_row_export(path.c_str(), offset, ordinal);
  EXPECT_NE(exported, row);
  EXPECT_EQ(qrn_indexer_row_export(path.c_str(), offset, 100000), std::string()) << "no such frame: empty, not null";
  EXPECT_EQ(qrn_indexer_row_result(path.c_str(), 0, ordinal), nullptr);
  EXPECT_THAT(qrn_indexer_error(), ::testing::AllOf(::testing::StartsWith("search    :"),
                                                    ::testing::EndsWith("  ,error param")));
  EXPECT_EQ(qrn_indexer_row_export(nullptr, offset, ordinal), nullptr);
  qrn_searcher_clear();
  EXPECT_EQ(qrn_indexer_row_result(path.c_str(), offset, ordinal), row) << "rows need no searcher";
}

TEST_F(SearchersTest, ARepeatedQueryOpensOnlyItsQueryFile) {
  const std::string user = qvloggen::readTruth(m_log.summary.truthPath).frames.back().user;
  test::writeFile("many.ini", "[filter]\ncancel = c\nlimit = 20\ntime = 0-9\nuser = " + user +
                                  "\nhost = 0.0.0.0-255.255.255.255\nprivate = 0\n");
  const int count = qrn_indexer_query(m_index.c_str(), "many.ini");
  ASSERT_GT(count, 0);
  const std::string locator = qrn_indexer_row(m_index.c_str(), 0);
  const unsigned long long offset = std::stoull(locator.substr(locator.find(':') + 1));
  ASSERT_NE(qrn_indexer_row_result(m_log.summary.logPath.c_str(), offset, 0), nullptr);
  // Counted, never fired.
  platform::faults::arm(UINT64_MAX, platform::faults::Effect::Fail, static_cast<unsigned>(platform::faults::Op::Open));
  EXPECT_EQ(qrn_indexer_query(m_index.c_str(), "many.ini"), count);
  EXPECT_EQ(platform::faults::seen(), 1u);
  EXPECT_EQ(qrn_indexer_row(m_index.c_str(), 0), locator);
  EXPECT_NE(qrn_indexer_row_result(m_log.summary.logPath.c_str(), offset, 0), nullptr);
  EXPECT_EQ(platform::faults::seen(), 1u) << "rows of a log in hand open nothing";
  platform::faults::disarm();
}

TEST_F(SearchersTest, DamagedFieldFilesFailTheQueryWithAText) {
  std::mt19937 random(7);
  const std::string query = "[filter]\ncancel = c\nlimit = 50\ntime = 0-9\nuser = " +
                            qvloggen::readTruth(m_log.summary.truthPath).frames.front().user + "\n";
  test::writeFile("user.ini", query);
  const int intact = qrn_indexer_query(m_index.c_str(), "user.ini");
  ASSERT_GT(intact, 0);
  const std::string file = m_index + "user.e1";
  const std::string bytes = test::readFile(file);
  int failures = 0;
  for (int round = 0; round < 60; ++round) {
    const std::string dir = copyOf("damaged" + std::to_string(round));
    std::string damaged = bytes;
    if (round % 4 == 0) {
      damaged.resize(random() % bytes.size());
    } else {
      for (int flips = 0; flips < 1 + round % 3; ++flips) damaged[random() % damaged.size()] ^= 1 << random() % 8;
    }
    test::writeFile(dir + "user.e1", damaged);
    const int count = qrn_indexer_query(dir.c_str(), "user.ini");
    if (count < 0) {
      EXPECT_STRNE(qrn_indexer_error(), "") << round;
      ++failures;
    }
    for (int i = 0; i < 50; ++i) qrn_indexer_row(dir.c_str(), static_cast<unsigned>(i));
  }
  EXPECT_GT(failures, 10) << "truncations and checksums must refuse";
}

// A cancel file that exists when the query starts. The `group` clause names
// the top groups over and over, thousands of paths, so that parsing and
// uniting them runs long enough for the watcher, looking every millisecond,
// to see the file. The query then gives
// the union of the paths it has come to (the groups' records in any time),
// where the whole query gives only those of a short time window.
TEST(QueryCancel, GivesThePartialCountAndLeavesNoThread) {
  ClearSearchers();
  test::LogDir log(4, 6, 256u << 10);
  const std::string dir = log.index("long", 0, log.summary.bytes);
  const qvloggen::Truth truth = qvloggen::readTruth(log.summary.truthPath);
  std::vector<const TruthFrame*> records;
  for (const TruthFrame& frame : truth.frames) {
    if (frame.ordinal >= 0 && frameLayout(frame.type) != nullptr) records.push_back(&frame);
  }
  std::vector<std::string> tops;
  for (const TruthFrame* record : records) {
    const std::string top = record->groupPath.substr(0, record->groupPath.find('/', 1));
    if (!top.empty() && std::find(tops.begin(), tops.end(), top) == tops.end()) tops.push_back(top);
  }
  ASSERT_GE(tops.size(), 3u);
  // The counts of the unions of the first 1, 2, ... tops.
  std::set<uint32_t> unionCounts;
  uint32_t count = 0;
  for (const std::string& top : tops) {
    for (const TruthFrame* record : records) {
      count += record->groupPath == top || record->groupPath.starts_with(top + "/");
    }
    unionCounts.insert(count);
  }
  // As many as one line of the file holds (65,534 characters).
  std::string paths;
  for (size_t i = 0; paths.size() + tops[i % tops.size()].size() < 65000; ++i) {
    paths += tops[i % tops.size()] + "\t";
  }
  test::writeFile("query.ini", "[filter]\ncancel = stop\nlimit = 0\ngroup = " + paths + "\ntime = " +
                                   records[10]->time + "-" + records[12]->time + "\n");
  const uint32_t whole = RunQuery(dir.c_str(), "query.ini", 1);
  ASSERT_EQ(unionCounts.count(whole), 0u) << "a whole query must tell from a cancelled one";
  test::writeFile("stop", "");
  // A watcher that the machine's load kept from looking in time lets the
  // query end whole: it may, but not every time.
  int cancelled = 0;
  for (int run = 0; run < 5 && cancelled == 0; ++run) {
    const uint32_t partial = RunQuery(dir.c_str(), "query.ini", 1);
    EXPECT_TRUE(noCurrentCanceler());
    if (partial == whole) continue;
    EXPECT_EQ(unionCounts.count(partial), 1u) << partial;
    ++cancelled;
  }
  EXPECT_EQ(cancelled, 1) << "five queries ran to their end before the watcher looked";
  ClearSearchers();
}

}  // namespace
}  // namespace quern
