#include "kinds/e1indexer.h"

#include <gtest/gtest.h>

#include "storage/closingblock.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::bytes;
using test::raises;
using test::TempDir;

std::string writeFile(E1Indexer& indexer, const std::string& path) {
  {
    COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
    indexer.write(&output);
  }
  return test::readFile(path);
}

void add(E1Indexer& indexer, const std::string& value) {
  indexer.add(value.data(), static_cast<uint32_t>(value.size()));
}

TEST(E1Indexer, ThreeValuesAndNoneByteForByte) {
  TempDir dir;
  E1Indexer indexer(nullptr);
  for (const char* value : {"A", "B", "A"}) add(indexer, value);
  const std::string file = writeFile(indexer, dir.file("f.e1"));
  const std::string expected =
      bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0xA0, 3, 0, 0, 0}) +   // A
      bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0x40, 3, 0, 0, 0}) +   // B
      bytes({1, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0}) +                  // table head
      bytes({1, 0, 0, 0, 0x41, 0, 0, 0, 0, 0, 0, 0, 0}) +            // row of A
      bytes({1, 0, 0, 0, 0x42, 0x10, 0, 0, 0, 0, 0, 0, 0});          // row of B
  ASSERT_EQ(file.size(), 70u + closing::kSize);
  EXPECT_EQ(file.substr(0, 70), expected);
  EXPECT_EQ(loadLE64(reinterpret_cast<const uint8_t*>(file.data()) + 70 + closing::kTableOffset), 32u);

  E1Indexer empty(nullptr);
  const std::string none = writeFile(empty, dir.file("empty.e1"));
  ASSERT_EQ(none.size(), 12u + closing::kSize) << "the table head alone, at offset 0";
  EXPECT_EQ(none.substr(0, 12), bytes({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(loadLE64(reinterpret_cast<const uint8_t*>(none.data()) + 12 + closing::kTableOffset), 0u);
}

TEST(E1Indexer, RefusalsLeaveTheIndexerAsItWas) {
  TempDir dir;
  // Alternating values store literal words at once.
  const auto feed = [](E1Indexer& target) {
    for (int i = 0; i < 200; ++i) add(target, i % 2 == 0 ? "x" : "y");
  };
  E1Indexer indexer(nullptr);
  feed(indexer);
  EXPECT_TRUE(raises([&] { indexer.add(nullptr, 4); }, 2, "invalid data or size(4)"));
  EXPECT_TRUE(raises([&] { indexer.add("x", 0); }, 2, "invalid data or size(0)"));
  EXPECT_EQ(indexer.recordCount(), 200u);
  EXPECT_TRUE(raises([&] { indexer.write(nullptr); }, 2, "invalid param(desc)"));
  EXPECT_GE(indexer.cacheBytes(), CMemCache::kMinChunk);

  CMemCache shared;
  E1Indexer sharing(&shared);
  feed(sharing);
  EXPECT_TRUE(raises([&] { (void)sharing.cacheBytes(); }, 1, "no memory cache owned"));
  EXPECT_GE(shared.totalBytes(), CMemCache::kMinChunk);
}

}  // namespace
}  // namespace quern
