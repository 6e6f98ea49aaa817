#include "codec/posintersect.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "base/cancel.h"
#include "support/poslists.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::Occurrences;

class POSIntersectTest : public ::testing::Test {
 protected:
  POSIntersectTest() { Canceler::setCurrent(&m_canceler); }
  ~POSIntersectTest() override { Canceler::setCurrent(nullptr); }

  // The phrase of `lists` (in order) over records cut into `segments`.
  test::Bits phrase(const std::vector<Occurrences>& lists, const std::vector<uint32_t>& segments) {
    const std::vector<test::StoredList> stored = test::writeLists(path(), lists);
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < stored.size(); ++i) words.push_back(i);
    return phrase(stored, words, segments);
  }
  // The phrase of the stored lists `words` (indices into `stored`).
  test::Bits phrase(const std::vector<test::StoredList>& stored, const std::vector<uint32_t>& words,
                    const std::vector<uint32_t>& segments) {
    std::vector<std::unique_ptr<POSVector>> opened;
    for (uint32_t word : words) opened.push_back(test::openList(path(), stored[word]));
    std::unique_ptr<SFWAHVector> result = POSIntersect(std::move(opened)).run(segments);
    EXPECT_EQ(result->chunks()->segmentWords().size(), segments.size());
    uint32_t total = 0;
    for (uint32_t count : segments) total += count;
    EXPECT_EQ(result->length(), total);
    return test::bitsOf(*result);
  }

  std::string path() const { return m_dir.file("lists"); }

  test::TempDir m_dir;
  Canceler m_canceler{1000};
};

TEST_F(POSIntersectTest, PhraseTestExamples) {
  const auto inOne = [&](std::vector<std::vector<uint32_t>> positions) -> bool {
    std::vector<Occurrences> lists;
    for (auto& p : positions) lists.push_back({{1, p}});
    return phrase(lists, {1})[0];
  };
  EXPECT_TRUE(inOne({{3, 8}, {9}})) << "p = 8";
  EXPECT_FALSE(inOne({{3}, {2}}));
  EXPECT_TRUE(inOne({{3}, {4}}));
  EXPECT_TRUE(inOne({{1, 2}, {1, 2}})) << "a word twice";
  EXPECT_FALSE(inOne({{1, 3}, {1, 3}})) << "twice, but not side by side";
  EXPECT_TRUE(inOne({{3}, {1, 4}, {2, 5}})) << "b c a b c";
  EXPECT_FALSE(inOne({{1}, {3}, {2}})) << "a c b";
}

TEST_F(POSIntersectTest, SegmentsOfTheResult) {
  const Occurrences a = {{2, {1}}, {4, {1}}, {7, {3}}}, b = {{4, {2}}, {5, {2}}, {7, {4}}};
  EXPECT_EQ(phrase({a, b}, {5, 5}), test::bitsWithOnes(10, {4, 7}));
  EXPECT_EQ(phrase({a}, {5, 0, 5}), test::bitsWithOnes(10, {2, 4, 7})) << "one word: every record";
  EXPECT_EQ(phrase({b, a}, {5, 5}), test::Bits(10)) << "no common record";
  EXPECT_EQ(phrase({}, {3}), test::Bits(3));
}

TEST_F(POSIntersectTest, CancelledRunsGiveWellFormedResults) {
  const std::string file = m_dir.file("cancel");
  test::writeFile(file, "");
  Canceler cancelled(1);
  cancelled.setPath(file);
  while (cancelled.IsCancelled() == 0) platform::sleepMilliseconds(1);
  Canceler::setCurrent(&cancelled);
  EXPECT_EQ(phrase({{{1, {1}}}}, {2, 3}), test::Bits(5));
  Canceler::setCurrent(nullptr);
  EXPECT_THROW(phrase({{{1, {1}}}}, {2}), std::logic_error) << "a run needs a canceler";
}

// Random records of words from a small vocabulary, phrases of one to four
// words taken from them (hits) or made up (mostly misses), over random
// segments, against a search of the records themselves.
TEST_F(POSIntersectTest, PhrasesAgreeWithTheRecords) {
  std::mt19937 random(73);
  for (int round = 0; round < 40; ++round) {
    const uint32_t vocabulary = 2 + random() % 6;
    std::vector<std::vector<uint32_t>> records(1 + random() % 120);
    for (auto& words : records) {
      words.resize(random() % 12);
      for (uint32_t& word : words) word = random() % vocabulary;
    }
    std::vector<Occurrences> lists(vocabulary);
    for (uint32_t r = 0; r < records.size(); ++r) {
      for (uint32_t k = 0; k < records[r].size(); ++k) lists[records[r][k]][r + 1].push_back(k + 1);
    }
    const std::vector<test::StoredList> stored = test::writeLists(path(), lists);
    std::vector<uint32_t> segments;
    for (uint32_t left = static_cast<uint32_t>(records.size()); left > 0;) {
      segments.push_back(std::min<uint32_t>(left, random() % 50));
      left -= segments.back();
    }
    for (int query = 0; query < 30; ++query) {
      std::vector<uint32_t> words(1 + random() % 4);
      const auto& source = records[random() % records.size()];
      const size_t from = source.size() > words.size() ? random() % (source.size() - words.size() + 1) : 0;
      for (size_t k = 0; k < words.size(); ++k) {
        words[k] = query % 2 == 0 && from + k < source.size() ? source[from + k] : random() % vocabulary;
      }
      test::Bits expected(records.size());
      for (size_t r = 0; r < records.size(); ++r) {
        const auto& text = records[r];
        expected[r] = std::search(text.begin(), text.end(), words.begin(), words.end()) != text.end();
      }
      bool missing = false;
      for (uint32_t word : words) missing = missing || lists[word].empty();
      if (missing) continue;  // a reader never opens a term it does not have
      EXPECT_EQ(phrase(stored, words, segments), expected) << "round " << round << " query " << query;
    }
  }
}

}  // namespace
}  // namespace quern
