#include "codec/posvector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/poslists.h"
#include "support/raises.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::bytes;
using test::raises;

std::string le64(uint64_t value) { return std::string(reinterpret_cast<const char*>(&value), 8); }
std::string le32(uint32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); }

// The block of one list as the indexer writes it.
std::string blockOf(const test::Occurrences& list, const std::string& path) {
  test::writeLists(path, {list});
  return test::readFile(path);
}

TEST(POSVector, StreamsOfTheWorkedExamples) {
  test::TempDir dir;
  // Records 3, 3, 7 at positions 2, 5, 1.
  EXPECT_EQ(blockOf({{3, {2, 5}}, {7, {1}}}, dir.file("a")),
            bytes({3, 2, 4, 1}) + le64(4) + le32(7) + bytes({2, 3, 1}) + le64(3));
  // A term of record 5 only.
  EXPECT_EQ(blockOf({{5, {9}}}, dir.file("b")), bytes({5, 1}) + le64(2) + le32(5) + bytes({9}) + le64(1));

  POSVector vector(nullptr);
  vector.add(7, 1);
  EXPECT_TRUE(raises([&] { vector.add(3, 1); }, 1, "3 < 7"));
}

// Lists read back record by record, positions of some records skipped.
TEST(POSVector, AttachedListsWalkRecordsAndPositions) {
  test::TempDir dir;
  const std::string path = dir.file("lists");
  const test::Occurrences first = {{1, {1, 3}}, {4, {2}}, {9, {1, 2, 7, 300}}, {200, {5}}};
  const std::vector<test::StoredList> stored = test::writeLists(path, {{{2, {4}}}, first});
  auto list = test::openList(path, stored[1]);
  uint32_t reached = 0;
  EXPECT_TRUE(list->skipTo(0, &reached));
  EXPECT_EQ(reached, 1u) << "at least one pair is read";
  EXPECT_TRUE(list->skipTo(5, &reached));
  EXPECT_EQ(reached, 9u) << "records 4 and 9 passed, positions not read";
  ASSERT_TRUE(list->skipToCurrent());
  std::vector<uint32_t> positions;
  for (uint32_t p = 0; list->nextPosition(p);) positions.push_back(p);
  EXPECT_EQ(positions, (std::vector<uint32_t>{1, 2, 7, 300}));
  list->drain();
  EXPECT_TRUE(list->skipTo(9, &reached));
  EXPECT_EQ(reached, 200u);
  ASSERT_TRUE(list->skipToCurrent());
  uint32_t p = 0;
  EXPECT_TRUE(list->nextPosition(p));
  EXPECT_EQ(p, 5u);
  EXPECT_FALSE(list->skipTo(201, &reached)) << "the stream ends";
  EXPECT_TRUE(raises([&] { list->skipTo(1, nullptr); }, 2, "invalid param rids"));
}

// Long lists with gaps of one to three bytes and frequencies of one or two,
// walked to random targets: the record reached is the first at or past the
// target, and the positions read there are its own, whatever was skipped.
TEST(POSVector, SkipsToTargetsAgreeWithTheList) {
  test::TempDir dir;
  const std::string path = dir.file("lists");
  std::mt19937 random(47);
  for (int round = 0; round < 6; ++round) {
    test::Occurrences list;
    uint32_t record = 0;
    for (int i = 0; i < 3000; ++i) {
      const uint32_t bytes = 1 + random() % 3;
      record += 1 + random() % (bytes == 1 ? 127 : bytes == 2 ? 16000 : 100000);
      std::vector<uint32_t>& positions = list[record];
      positions.resize(random() % 8 == 0 ? 130 + random() % 20 : 1 + random() % 3);
      for (uint32_t k = 0; k < positions.size(); ++k) positions[k] = k * 2 + 1 + (random() % 2);
    }
    const std::vector<test::StoredList> stored = test::writeLists(path, {list});
    auto read = test::openList(path, stored[0]);
    // Now and then a record's positions are left unread: the next
    // alignment skips them with those of the records passed.
    for (uint32_t current = 0;;) {
      const uint32_t target = current + (random() % 2 == 0 ? 0 : static_cast<uint32_t>(random() % 400000));
      const auto expected = list.lower_bound(std::max(target, current + 1));
      uint32_t reached = 0;
      if (expected == list.end()) {
        EXPECT_FALSE(read->skipTo(target, &reached));
        break;
      }
      ASSERT_TRUE(read->skipTo(target, &reached));
      ASSERT_EQ(reached, expected->first);
      current = reached;
      if (random() % 3 == 0) continue;
      ASSERT_TRUE(read->skipToCurrent());
      for (uint32_t position : expected->second) {
        uint32_t p = 0;
        ASSERT_TRUE(read->nextPosition(p));
        ASSERT_EQ(p, position);
      }
      read->drain();
    }
  }
}

// Sources {2, 5} and {1} with the second's base 10: deltas 2, 3, then
// 10 + 1 - 5 = 6; then a base that makes the seam's value two bytes long.
TEST(POSVector, MergeRewritesOnlyTheFirstDelta) {
  test::TempDir dir;
  const std::string sources = dir.file("sources");
  const std::vector<test::StoredList> stored =
      test::writeLists(sources, {{{2, {1}}, {5, {3, 4}}}, {{1, {2}}}, {{3, {6}}}});
  const std::string merged = dir.file("merged");
  {
    COutputDesc out(std::make_unique<CFileOutput>(merged.c_str()));
    POSVector counter(nullptr);
    const uint32_t bases[] = {0, 10, 200};
    // Blocks lie one behind the other.
    for (size_t i = 0; i < stored.size(); ++i) {
      const int64_t start = i == 0 ? 0 : stored[i - 1].positionEnd;
      counter.mergeRecords(&out, test::descriptorAt(sources, 0).get(), start, stored[i].recordEnd, bases[i]);
    }
    counter.writeRecordTrailer(&out);
    for (const test::StoredList& list : stored) {
      counter.mergePositions(&out, test::descriptorAt(sources, 0).get(), list.recordEnd, list.positionEnd);
    }
    counter.writePositionTrailer(&out);
  }
  EXPECT_EQ(test::readFile(merged), bytes({2, 1, 3, 2, 6, 1, 0xC0, 0x01, 1}) + le64(9) + le32(203) +
                                        bytes({1, 3, 1, 2, 6}) + le64(5));
}

// Streams longer than a merge reads in one piece: the merged list reads back
// as the sources' records moved up, one source after the other.
TEST(POSVector, LongStreamsMergeAsTheyRead) {
  test::TempDir dir;
  const std::string sources = dir.file("sources");
  std::mt19937 random(5);
  // Long, short, long.
  std::vector<test::Occurrences> lists(3);
  for (size_t s = 0; s < lists.size(); ++s) {
    uint32_t record = 0;
    for (int i = 0; i < (s == 1 ? 5 : 40000); ++i) {
      record += 1 + static_cast<uint32_t>(random() % 300);
      lists[s][record] = {1 + static_cast<uint32_t>(random() % 200), 300 + static_cast<uint32_t>(random() % 50)};
    }
  }
  const std::vector<test::StoredList> stored = test::writeLists(sources, lists);
  const std::string merged = dir.file("merged");
  const uint32_t bases[] = {0, 20000000, 30000000};
  {
    COutputDesc out(std::make_unique<CFileOutput>(merged.c_str()));
    POSVector counter(nullptr);
    auto records = test::descriptorAt(sources, 0);
    auto positions = test::descriptorAt(sources, 0);
    for (size_t i = 0; i < stored.size(); ++i) {
      counter.mergeRecords(&out, records.get(), i == 0 ? 0 : stored[i - 1].positionEnd, stored[i].recordEnd, bases[i]);
    }
    counter.writeRecordTrailer(&out);
    for (const test::StoredList& list : stored) {
      counter.mergePositions(&out, positions.get(), list.recordEnd, list.positionEnd);
    }
    counter.writePositionTrailer(&out);
  }
  const std::string bytes = test::readFile(merged);
  const auto list = test::openList(merged, {static_cast<int64_t>(bytes.size()) - 8 - static_cast<int64_t>(
                                                loadLE64(bytes.data() + bytes.size() - 8)), static_cast<int64_t>(bytes.size())});
  uint32_t reached = 0;
  for (size_t i = 0; i < lists.size(); ++i) {
    for (const auto& [record, positions] : lists[i]) {
      ASSERT_TRUE(list->skipTo(reached + 1, &reached));
      ASSERT_EQ(reached, record + bases[i]);
      ASSERT_TRUE(list->skipToCurrent());
      for (uint32_t position : positions) {
        uint32_t p = 0;
        ASSERT_TRUE(list->nextPosition(p));
        ASSERT_EQ(p, position);
      }
      list->drain();
    }
  }
  EXPECT_FALSE(list->skipTo(reached + 1, &reached));
}

TEST(POSVector, LengthsThatDoNotFitAreRefused) {
  test::TempDir dir;
  const std::string path = dir.file("lists");
  const test::StoredList stored = test::writeLists(path, {{{3, {1}}}})[0];
  std::string block = test::readFile(path);
  block.replace(2, 8, le64(3));  // R of 3 bytes in front of a 2-byte stream
  test::writeFile(path, block);
  EXPECT_TRUE(raises([&] { test::openList(path, stored); }, 2, "stream of 3 bytes ends at 2 in " + path));
  // A merge takes the length from the block's bounds and holds the trailer to it.
  COutputDesc out(std::make_unique<CFileOutput>(dir.file("merged").c_str()));
  POSVector counter(nullptr);
  EXPECT_TRUE(raises([&] { counter.mergeRecords(&out, test::descriptorAt(path, 0).get(), 0, stored.recordEnd, 0); },
                     2, "stream of 3 bytes ends at 2 in " + path));
}

}  // namespace
}  // namespace quern
