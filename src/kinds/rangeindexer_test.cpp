#include "kinds/rangeindexer.h"

#include <gtest/gtest.h>

#include "storage/closingblock.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::bytes;
using test::raises;
using test::TempDir;

std::string writeFile(RangeIndexer& indexer, const std::string& path) {
  {
    COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
    indexer.write(&output);
  }
  return test::readFile(path);
}

void add(RangeIndexer& indexer, const std::string& value) {
  indexer.add(value.data(), static_cast<uint32_t>(value.size()));
}

uint64_t tableOffset(const std::string& file) {
  return loadLE64(reinterpret_cast<const uint8_t*>(file.data()) + file.size() - closing::kSize +
                  closing::kTableOffset);
}

// b, a, c, b: a holds record 2, b records 1, 2 and 4, c all four.
TEST(RangeIndexer, FourValuesAndNoneByteForByte) {
  TempDir dir;
  RangeIndexer indexer(nullptr);
  for (const char* value : {"b", "a", "c", "b"}) add(indexer, value);
  EXPECT_EQ(indexer.valueCount(), 3u);
  const std::string file = writeFile(indexer, dir.file("f.range"));
  const std::string expected =
      bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0x40, 4, 0, 0, 0}) +  // a: 0100
      bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0xD0, 4, 0, 0, 0}) +  // b: 1101
      bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0xF0, 4, 0, 0, 0}) +  // c: 1111
      bytes({1, 0, 0, 0, 4, 0, 0, 0, 3, 0, 0, 0}) +                 // table head
      bytes({1, 0, 0, 0, 'a', 0, 0, 0, 0, 0, 0, 0, 0}) +
      bytes({1, 0, 0, 0, 'b', 0x10, 0, 0, 0, 0, 0, 0, 0}) +
      bytes({1, 0, 0, 0, 'c', 0x20, 0, 0, 0, 0, 0, 0, 0});
  ASSERT_EQ(file.size(), 99u + closing::kSize);
  EXPECT_EQ(file.substr(0, 99), expected);
  EXPECT_EQ(tableOffset(file), 48u);

  RangeIndexer empty(nullptr);
  const std::string none = writeFile(empty, dir.file("empty.range"));
  ASSERT_EQ(none.size(), 12u + closing::kSize) << "the table alone, at offset 0";
  EXPECT_EQ(none.substr(0, 12), bytes({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(tableOffset(none), 0u);
}

TEST(RangeIndexer, RefusalsLeaveTheIndexerAsItWas) {
  // Alternating values give every set a vector on the cache.
  const auto feed = [](RangeIndexer& target) {
    for (int i = 0; i < 200; ++i) add(target, i % 3 == 0 ? "x" : i % 3 == 1 ? "y" : "w");
  };
  RangeIndexer indexer(nullptr);
  feed(indexer);
  EXPECT_TRUE(raises([&] { indexer.add(nullptr, 4); }, 2, "invalid param data or size(4)"));
  EXPECT_TRUE(raises([&] { indexer.add("x", 0); }, 2, "invalid param data or size(0)"));
  EXPECT_EQ(indexer.recordCount(), 200u);
  EXPECT_TRUE(raises([&] { indexer.write(nullptr); }, 2, "invalid param(desc)"));
  EXPECT_GE(indexer.cacheBytes(), CMemCache::kMinChunk);

  CMemCache shared;
  RangeIndexer sharing(&shared);
  feed(sharing);
  EXPECT_TRUE(raises([&] { (void)sharing.cacheBytes(); }, 1, "no memory cache owned"));
  EXPECT_GE(shared.totalBytes(), CMemCache::kMinChunk);
}

}  // namespace
}  // namespace quern
