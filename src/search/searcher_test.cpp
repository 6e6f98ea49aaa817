// Searcher on generated logs: counts, the newest ids and their rows against
// the generator's ground truth, and the frame fetch against a plain walk of
// the log, with the shipped configuration (`time` a Range field, `result`
// full text; phrases are held against the truth end to end in
// tests/search/query_test.cpp).
#include "search/search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <random>

#include "base/cancel.h"
#include "intake/collector.h"
#include "intake/framereader.h"
#include "qvloggen/vocabulary.h"
#include "storage/address.h"
#include "storage/crc.h"
#include "support/logdir.h"
#include "support/raises.h"
#include "support/smallindex.h"
#include "support/tracelog.h"

namespace quern {
namespace {

using qvloggen::TruthFrame;
using Match = std::function<bool(const TruthFrame&)>;

uint32_t crc32Of(std::string_view text) {
  static const CCrc crc;
  return crc.compute(text.data(), static_cast<uint32_t>(text.size()));
}

std::string addressBytes(const std::string& text) {
  uint8_t bytes[16];
  EXPECT_EQ(addressFromText(text.c_str(), bytes), 0) << text;
  return std::string(reinterpret_cast<char*>(bytes), 16);
}

class SearcherTest : public ::testing::Test {
 protected:
  SearcherTest() {
    for (const TruthFrame& frame : m_truth.frames) {
      if (frame.ordinal >= 0 && frameLayout(frame.type) != nullptr) m_records.push_back(&frame);
    }
    Canceler::setCurrent(&m_canceler);
  }
  ~SearcherTest() override { Canceler::setCurrent(nullptr); }

  // Runs a query of `keys` (cancel and time over all records added).
  uint32_t search(Searcher& searcher, const std::string& keys, uint32_t limit) {
    test::writeFile("query.ini", "[filter]\ncancel = cancel\nlimit = " + std::to_string(limit) + "\ntime = " +
                                     m_records.front()->time + "-" + m_records.back()->time + "\n" + keys);
    return searcher.search("query.ini");
  }

  // Queries of every clause against the truth.
  void expectTruth(Searcher& searcher);

  // The ids the truth gives for `match`, newest first.
  std::vector<uint32_t> expected(const Match& match) const {
    std::vector<uint32_t> ids;
    for (uint32_t id = static_cast<uint32_t>(m_records.size()); id >= 1; --id) {
      if (match(*m_records[id - 1])) ids.push_back(id);
    }
    return ids;
  }

  test::LogDir m_log{11, 6, 48u << 10};
  qvloggen::Truth m_truth = qvloggen::readTruth(m_log.summary.truthPath);
  std::vector<const TruthFrame*> m_records;
  Canceler m_canceler;
};

// On one pass, and on one pass per block merged back into one directory.
TEST_F(SearcherTest, CountsAndNewestIdsFollowTheTruth) {
  for (const char* limit : {"4000000000", "0"}) {
    Searcher searcher(m_log.index(std::string("counts") + limit, 0, m_log.summary.bytes, limit), *m_log.fields);
    expectTruth(searcher);
  }
}

void SearcherTest::expectTruth(Searcher& searcher) {
  const TruthFrame& some = *m_records[m_records.size() / 3];
  const TruthFrame& grouped = **std::find_if(m_records.begin(), m_records.end(), [](const TruthFrame* frame) {
    return std::count(frame->groupPath.begin(), frame->groupPath.end(), '/') >= 2;
  });
  const std::string top = grouped.groupPath.substr(0, grouped.groupPath.find('/', 1));
  const std::string low = addressBytes("10.0.0.0");
  const std::string high = addressBytes("10.255.255.255");
  const std::pair<std::string, Match> cases[] = {
      {"user = " + some.user, [&](const TruthFrame& f) { return f.user == some.user; }},
      {"group = " + top + "\t" + grouped.groupPath,
       [&](const TruthFrame& f) { return f.groupPath == top || f.groupPath.starts_with(top + "/"); }},
      {"host = " + some.host, [&](const TruthFrame& f) { return f.host == some.host; }},
      {"host = 10.0.0.0-10.255.255.255",
       [&](const TruthFrame& f) {
         const std::string host = addressBytes(f.host);
         return host >= low && host <= high;
       }},
      {"serv = " + std::string(qvloggen::kResMailRecvSend),
       [](const TruthFrame& f) {
         return (f.servCrc == crc32Of(qvloggen::kResHttpApp) && f.appCrc == crc32Of(qvloggen::kResWebMail)) ||
                f.servCrc == crc32Of(qvloggen::kResMail);
       }},
      {"serv = " + some.serv + "\napp = " + some.app,
       [&](const TruthFrame& f) { return f.serv == some.serv && f.app == some.app; }},
      {"private = 0\nsnap = 1", [](const TruthFrame& f) { return f.privateMark == 0 && !f.snap.empty(); }},
      {"user = nobody", [](const TruthFrame&) { return false; }},
  };
  for (const auto& [keys, match] : cases) {
    const std::vector<uint32_t> ids = expected(match);
    if (keys != "user = nobody") {
      EXPECT_GT(ids.size(), 3u) << "a case that cuts no result: " << keys;
    }
    EXPECT_EQ(search(searcher, keys, 3), ids.size()) << keys;
    EXPECT_EQ(searcher.results(), std::vector<uint32_t>(ids.begin(), ids.begin() + std::min<size_t>(3, ids.size())))
        << keys;
    EXPECT_EQ(search(searcher, keys, 0), ids.size()) << keys;
    EXPECT_TRUE(searcher.results().empty()) << "limit 0 is a count only";
    EXPECT_EQ(search(searcher, keys, Searcher::kMaxLimit), ids.size()) << keys;
    EXPECT_EQ(searcher.results(), ids) << keys;
  }
  // A time window of one stretch of records.
  const std::string& from = m_records[10]->time;
  const std::string& to = m_records[40]->time;
  test::writeFile("window.ini", "[filter]\ncancel = c\nlimit = 100\ntime = " + from + "-" + to + "\n");
  EXPECT_EQ(searcher.search("window.ini"),
            expected([&](const TruthFrame& f) { return f.time >= from && f.time <= to; }).size());
}

TEST_F(SearcherTest, RowsGiveLocatorsOfTheResultsOnly) {
  const std::string dir = m_log.index("rows", 0, m_log.summary.bytes);
  Searcher searcher(dir, *m_log.fields);
  const test::TraceLog log;
  ASSERT_GT(search(searcher, "", 5), 5u);
  std::map<uint64_t, uint32_t> firstOfBlock;
  for (uint32_t id = 1; id <= m_records.size(); ++id) firstOfBlock.try_emplace(m_records[id - 1]->blockOffset, id);
  for (uint32_t index = 0; index < 5; ++index) {
    const uint32_t id = static_cast<uint32_t>(m_records.size()) - index;
    const TruthFrame& frame = *m_records[id - 1];
    EXPECT_EQ(searcher.row(index), "0:" + std::to_string(frame.blockOffset) + ":" +
                                       std::to_string(id - firstOfBlock[frame.blockOffset]));
  }
  EXPECT_EQ(searcher.row(5), "");
  EXPECT_TRUE(log.has("index is invalid, larger than m_results.size"));
  // A failing query drops the rows of the one before.
  test::writeFile("bad.ini", "[filter]\ncancel = c\nlimit = 5\n");
  EXPECT_TRUE(test::raises([&] { searcher.search("bad.ini"); }, 2, "search time is empty"));
  EXPECT_TRUE(searcher.results().empty());
  EXPECT_EQ(searcher.row(0), "");
}

TEST_F(SearcherTest, DirectoriesWithoutRecordsOrSummary) {
  const test::TraceLog log;
  const test::SmallIndex empty({{"f", "e1"}}, {});
  EXPECT_EQ(Searcher(empty.out, *empty.fields).search("no such query file"), 0u) << "the query file isn't read";
  EXPECT_TRUE(log.has("record count is 0, return"));
  // A path without its separator gets one.
  std::string bare = empty.out;
  bare.pop_back();
  EXPECT_EQ(Searcher(bare, *empty.fields).search("missing"), 0u);
  std::filesystem::remove(empty.out + "index.desc");
  EXPECT_THAT(test::failureText([&] { Searcher(empty.out, *empty.fields); }),
              ::testing::AllOf(::testing::StartsWith("search "), ::testing::HasSubstr(",construct Searcher fail, "),
                               ::testing::HasSubstr(",load index summary failed")));
  std::filesystem::remove(empty.out + "store.di");
  EXPECT_THAT(test::failureText([&] { Searcher(empty.out, *empty.fields); }),
              ::testing::AllOf(::testing::HasSubstr("construct CDataReader fail"),
                               ::testing::Not(::testing::HasSubstr("construct Searcher"))));
}

// ---- frames -----------------------------------------------------------------

class FetchFrameTest : public SearcherTest {
 protected:
  FetchFrameTest() {
    // Every row, by a plain walk of the whole log.
    CQvlogReader reader(m_log.summary.logPath.c_str());
    LogBlockHeader header;
    uint64_t offset = kFileHeaderSize;
    static const CFrameReader rows;
    while (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
      FrameHeader frame;
      while (const uint8_t* body = nextRecordFrame(*frames, frame)) {
        m_rows[offset].push_back({rows.Row(&frame, body, 0), rows.Row(&frame, body, 1)});
      }
      offset += kBlockHeaderSize + header.blockSize;
    }
  }
  std::string fetch(uint64_t offset, int32_t ordinal, int exportRow = 0) {
    return Searcher::fetchFrame(exportRow, m_log.summary.logPath.c_str(), offset, ordinal);
  }

  std::map<uint64_t, std::vector<std::pair<std::string, std::string>>> m_rows;
};

TEST_F(FetchFrameTest, AnyOrderOfFetchesGivesEachFramesRow) {
  std::mt19937 random(3);
  ASSERT_GE(m_rows.size(), 4u);
  for (const auto& [offset, rows] : m_rows) {
    ASSERT_GE(rows.size(), 6u);
    for (int32_t ordinal : {5, 3, 0, 0, 3, 5}) EXPECT_EQ(fetch(offset, ordinal), rows[ordinal].first);
  }
  std::vector<std::pair<uint64_t, int32_t>> all;
  for (const auto& [offset, rows] : m_rows) {
    for (int32_t i = 0; i < static_cast<int32_t>(rows.size()); ++i) all.emplace_back(offset, i);
  }
  for (int round = 0; round < 400; ++round) {
    // Mostly near the last fetch, as a host pages through results.
    const auto [offset, ordinal] = all[round % 3 == 0 ? random() % all.size() : (round * 7 + random() % 3) % all.size()];
    const int exportRow = static_cast<int>(random() % 2);
    const auto& row = m_rows[offset][ordinal];
    ASSERT_EQ(fetch(offset, ordinal, exportRow), exportRow == 0 ? row.first : row.second) << offset << ":" << ordinal;
  }
}

TEST_F(FetchFrameTest, BlocksAreReadAgainWhenTheBuffersChangedOrTheLogDid) {
  const uint64_t first = m_rows.begin()->first;
  const uint64_t second = std::next(m_rows.begin())->first;
  EXPECT_EQ(fetch(first, 5), m_rows[first][5].first);
  {
    // Another reader's block replaces the frames in the shared buffers.
    CQvlogReader other(m_log.summary.logPath.c_str());
    other.Open();
    other.input()->seek(static_cast<int64_t>(second));
    LogBlockHeader header;
    ASSERT_NE(other.ReadBlock(&header, 1), nullptr);
  }
  EXPECT_EQ(fetch(first, 3), m_rows[first][3].first);
  const std::string copy = m_log.dir.file("copy.qvlog");
  std::filesystem::copy_file(m_log.summary.logPath, copy);
  EXPECT_EQ(Searcher::fetchFrame(0, copy.c_str(), second, 1), m_rows[second][1].first);
  EXPECT_EQ(fetch(second, 0), m_rows[second][0].first);
  EXPECT_EQ(fetch(1, 2), m_rows[kFileHeaderSize][2].first) << "an offset inside the file head reads the first block";
}

TEST_F(FetchFrameTest, RefusalsAndMissingFrames) {
  const test::TraceLog log;
  const uint64_t first = m_rows.begin()->first;
  EXPECT_EQ(fetch(first, static_cast<int32_t>(m_rows[first].size())), "");
  EXPECT_TRUE(log.has("not found frame in dat"));
  EXPECT_EQ(fetch(first, 0), m_rows[first][0].first) << "the block stays usable";
  EXPECT_TRUE(test::raises([&] { fetch(0, 1); }, 2, "error param"));
  EXPECT_TRUE(test::raises([&] { fetch(first, -1); }, 2, "error param"));
  EXPECT_TRUE(test::raises([&] { Searcher::fetchFrame(0, nullptr, first, 1); }, 2, "error param"));
  EXPECT_TRUE(test::raises([&] { fetch(m_log.summary.bytes, 0); }, 2, "logs is null"));
  EXPECT_TRUE(test::raises([&] { fetch(first + 1, 0); }, 2, "logs is null")) << "no block starts there";
  EXPECT_EQ(fetch(first, 1), m_rows[first][1].first);
  EXPECT_THAT(test::failureText([&] { Searcher::fetchFrame(0, "no such log", first, 0); }),
              ::testing::HasSubstr("open file no such log failed"));
}

}  // namespace
}  // namespace quern
