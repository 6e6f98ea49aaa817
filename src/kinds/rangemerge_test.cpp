#include "kinds/rangemerge.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/suspend.h"
#include "storage/closingblock.h"
#include "support/rangemodel.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::raises;
using test::Values;

class RangeMergeTest : public ::testing::Test {
 protected:
  RangeMergeTest() { Suspender::setCurrent(&m_suspender); }
  ~RangeMergeTest() override { Suspender::setCurrent(nullptr); }

  std::string file(const std::string& name) const { return m_dir.file(name); }

  // Merges the files in this order into `target`, as the index merge does:
  // each reader opened, closed, then inserted.
  void mergeFiles(const std::vector<std::string>& sources, const std::string& target) {
    std::vector<std::unique_ptr<RangeIndexReader>> readers;
    RangeMerger merger(static_cast<uint32_t>(sources.size()));
    for (const std::string& source : sources) {
      readers.push_back(std::make_unique<RangeIndexReader>(source.c_str()));
      readers.back()->close();
      merger.insert(readers.back().get());
    }
    COutputDesc out(std::make_unique<CFileOutput>(target.c_str()));
    merger.merge(&out);
  }

  // Every value of `path` against the model over `records`.
  void expectModel(const std::string& path, const Values& records, size_t segments) {
    RangeIndexReader merged(path.c_str());
    const std::set<std::string> values = test::distinct(records);
    ASSERT_EQ(merged.recordCounts().size(), segments);
    ASSERT_EQ(merged.valueCount(), values.size());
    uint32_t index = 0;
    for (const std::string& value : values) {
      ASSERT_EQ(merged.value(index++), value);
      auto set = merged.search(value.data(), static_cast<uint32_t>(value.size()));
      ASSERT_NE(set, nullptr);
      EXPECT_EQ(set->chunks()->segmentWords().size(), segments);
      EXPECT_EQ(test::bitsOf(*set), test::cumulativeBits(records, value)) << "value " << value;
    }
  }

  test::TempDir m_dir;
  Suspender m_suspender{1, 1};  // never named a file: never suspends
};

TEST_F(RangeMergeTest, WorkedExampleAndNoSourceByteForByte) {
  test::writeRangeFile({"10", "20", "10"}, file("s0.range"));
  test::writeRangeFile({"15", "30"}, file("s1.range"));
  mergeFiles({file("s0.range"), file("s1.range")}, file("m.range"));
  std::string expected;
  const auto u32 = [&](std::initializer_list<uint32_t> words) {
    for (uint32_t v : words) expected += std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
  };
  const auto row = [&](const char* value, uint32_t offset) {
    u32({2});
    expected += value;
    u32({offset, 0});
  };
  u32({2, 2, 2, 0xA0000000, 3, 0x00000000, 2});  // 10: 101 | 00, no value at or below 10
  u32({2, 2, 2, 0xA0000000, 3, 0x80000000, 2});  // 15: 101 (the set of 10) | 10
  u32({2, 2, 2, 0xE0000000, 3, 0x80000000, 2});  // 20: 111 | 10 (the set of 15)
  u32({2, 2, 2, 0xE0000000, 3, 0xC0000000, 2});  // 30: 111 (the set of 20) | 11
  u32({2, 3, 2, 4});
  row("10", 0);
  row("15", 28);
  row("20", 56);
  row("30", 84);
  const std::string merged = test::readFile(file("m.range"));
  ASSERT_EQ(merged.size(), 184u + closing::kSize);
  EXPECT_EQ(merged.substr(0, 184), expected);
  EXPECT_EQ(loadLE64(reinterpret_cast<const uint8_t*>(merged.data()) + 184 + closing::kTableOffset), 112u);

  mergeFiles({}, file("none.range"));
  const std::string none = test::readFile(file("none.range"));
  ASSERT_EQ(none.size(), 8u + closing::kSize) << "no source: an empty table and the closing block";
  EXPECT_EQ(none.substr(0, 8), std::string(8, '\0'));
  EXPECT_EQ(RangeIndexReader(file("none.range").c_str()).valueCount(), 0u);
}

// A source without values is refused at its insert and leaves nothing in
// the merger, which still merges the sources it took.
TEST_F(RangeMergeTest, SourceWithoutValuesIsRefused) {
  test::writeRangeFile({"b", "a"}, file("s0.range"));
  test::writeRangeFile({}, file("empty.range"));
  RangeIndexReader source(file("s0.range").c_str());
  RangeIndexReader empty(file("empty.range").c_str());
  RangeMerger merger(2);
  merger.insert(&source);
  EXPECT_TRUE(raises([&] { merger.insert(&empty); }, 1, "no records for range index 1"));
  {
    COutputDesc out(std::make_unique<CFileOutput>(file("m.range").c_str()));
    merger.merge(&out);
  }
  expectModel(file("m.range"), {"b", "a"}, 1);

  RangeIndexMerger engine(1);
  EXPECT_TRUE(raises([&] { engine.add(nullptr); }, 2, "Invalid param"));
  engine.add(std::make_unique<RangeIndexMergeEntry>(&source, 0));
  const std::string full = test::failureText([&] { engine.add(std::make_unique<RangeIndexMergeEntry>(&source, 1)); });
  EXPECT_NE(full.find("m_merger insert fail, "), std::string::npos) << full;
  EXPECT_NE(full.find("put error, the queue is full!"), std::string::npos) << full;
  EXPECT_EQ(engine.size(), 1u);
}

// Random sources of every shape against the model over the concatenated
// records: merged once, then merged again with a fresh source.
TEST_F(RangeMergeTest, MergesMatchTheModel) {
  std::mt19937 random(43);
  for (int round = 0; round < 8; ++round) {
    const uint32_t sourceCount = 1 + random() % 3;
    std::vector<std::string> paths;
    Values all;
    for (uint32_t s = 0; s <= sourceCount; ++s) {
      // One shape for all sources of a round now and then, so that they share values.
      const uint32_t shape = round % 2 == 0 ? round % 7 : random() % 7;
      const Values records = test::valueStream(random, shape, 1 + random() % 400);
      paths.push_back(file("s" + std::to_string(s) + ".range"));
      test::writeRangeFile(records, paths.back());
      all.insert(all.end(), records.begin(), records.end());
    }
    mergeFiles(std::vector<std::string>(paths.begin(), paths.end() - 1), file("m1.range"));
    mergeFiles({file("m1.range"), paths.back()}, file("m2.range"));
    expectModel(file("m2.range"), all, sourceCount + 1);
  }
}

}  // namespace
}  // namespace quern
