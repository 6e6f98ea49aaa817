#include "kinds/e1merge.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "base/suspend.h"
#include "kinds/e1indexer.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

// Records as their values; one E1 file from them.
void writeSource(const std::string& path, const std::vector<std::string>& values) {
  E1Indexer indexer(nullptr);
  for (const std::string& value : values) indexer.add(value.data(), static_cast<uint32_t>(value.size()));
  COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
  indexer.write(&out);
}

void mergeFiles(const std::vector<std::string>& sources, const std::string& target) {
  std::vector<std::unique_ptr<E1IndexReader>> readers;
  E1Merger merger(static_cast<uint32_t>(sources.size()));
  for (const std::string& source : sources) {
    readers.push_back(std::make_unique<E1IndexReader>(source.c_str()));
    readers.back()->close();
    merger.insert(readers.back().get());
  }
  COutputDesc out(std::make_unique<CFileOutput>(target.c_str()));
  merger.merge(&out);
}

class E1MergeTest : public ::testing::Test {
 protected:
  E1MergeTest() { Suspender::setCurrent(&m_suspender); }
  ~E1MergeTest() override { Suspender::setCurrent(nullptr); }
  test::TempDir m_dir;
  Suspender m_suspender{1, 1};  // never named a file: never suspends
};

TEST_F(E1MergeTest, WorkedExampleAndNoSourceByteForByte) {
  writeSource(m_dir.file("s0.e1"), {"A", "B", "A"});
  writeSource(m_dir.file("s1.e1"), {"B", "B"});
  mergeFiles({m_dir.file("s0.e1"), m_dir.file("s1.e1")}, m_dir.file("m.e1"));
  std::string expected;
  const auto u32 = [&](std::initializer_list<uint32_t> words) {
    for (uint32_t v : words) {
      expected += std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    }
  };
  u32({2, 2, 2, 0xA0000000, 3, 0, 2, 2, 2, 2, 0x40000000, 3, 0xC0000000, 2, 2, 3, 2, 2, 1});
  expected += 'A';
  u32({0, 0, 1});
  expected += 'B';
  u32({0x1C, 0});
  const std::string file = test::readFile(m_dir.file("m.e1"));
  ASSERT_EQ(file.size(), 98u + 1024u);
  EXPECT_EQ(file.substr(0, 98), expected);

  E1IndexReader merged(m_dir.file("m.e1").c_str());
  EXPECT_EQ(merged.recordCounts(), (std::vector<uint32_t>{3, 2}));

  mergeFiles({}, m_dir.file("none.e1"));
  const std::string none = test::readFile(m_dir.file("none.e1"));
  ASSERT_EQ(none.size(), 8u + 1024u) << "no source: an empty table and the closing block";
  EXPECT_EQ(none.substr(0, 8), std::string(8, '\0'));
  EXPECT_EQ(E1IndexReader(m_dir.file("none.e1").c_str()).termCount(), 0u);
}

// Random sources against a map of term to bits, merged once and merged again
// with a fresh file: every term's records, and segments that add up.
TEST_F(E1MergeTest, MergesMatchTheModel) {
  std::mt19937 random(29);
  for (int round = 0; round < 6; ++round) {
    const uint32_t sourceCount = 1 + random() % 5;
    std::vector<std::string> paths;
    std::vector<std::string> all;  // every record's value, in merged order
    for (uint32_t s = 0; s <= sourceCount; ++s) {
      std::vector<std::string> values(1 + random() % 300);
      const uint32_t vocabulary = 1 + random() % 12;
      for (std::string& value : values) {
        value = std::string(1 + random() % 3, static_cast<char>('a' + random() % vocabulary));
        if (random() % 10 == 0) value += '\xF0';  // a byte above 0x7F sorts last
      }
      paths.push_back(m_dir.file("s" + std::to_string(s) + ".e1"));
      writeSource(paths.back(), values);
      all.insert(all.end(), values.begin(), values.end());
    }
    // Sources 0..n-1 first, then the result with the extra source n.
    mergeFiles(std::vector<std::string>(paths.begin(), paths.end() - 1), m_dir.file("m1.e1"));
    mergeFiles({m_dir.file("m1.e1"), paths.back()}, m_dir.file("m2.e1"));

    std::map<std::string, test::Bits> model;
    for (size_t r = 0; r < all.size(); ++r) model.try_emplace(all[r], all.size()).first->second[r] = true;
    E1IndexReader merged(m_dir.file("m2.e1").c_str());
    ASSERT_EQ(merged.recordCounts().size(), sourceCount + 1u) << "merged-of-merged keeps its segments";
    ASSERT_EQ(merged.termCount(), model.size());
    uint32_t index = 0;
    for (const auto& [term, bits] : model) {
      EXPECT_EQ(merged.term(index++), term);
      auto vector = merged.search(term.data(), static_cast<uint32_t>(term.size()));
      ASSERT_NE(vector, nullptr);
      EXPECT_EQ(vector->chunks()->segmentWords().size(), sourceCount + 1u);
      EXPECT_EQ(test::bitsOf(*vector), bits) << "term " << term << " round " << round;
    }
  }
}

}  // namespace
}  // namespace quern
