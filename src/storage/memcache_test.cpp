#include "storage/memcache.h"

#include <gtest/gtest.h>

namespace quern {
namespace {

TEST(MemCache, ChunkSizes) {
  CMemCache cache;
  EXPECT_EQ(cache.totalBytes(), 0u);
  cache.alloc(1);
  EXPECT_EQ(cache.totalBytes(), 0x100000u);

  CMemCache exact;
  exact.alloc(0x100000);
  EXPECT_EQ(exact.totalBytes(), 0x100000u);
  exact.alloc(1);  // the first chunk is full
  EXPECT_EQ(exact.totalBytes(), 0x200000u);

  CMemCache large;
  large.alloc(0x100001);
  EXPECT_EQ(large.totalBytes(), 0x100001u);

  CMemCache small(64);
  small.alloc(100);
  EXPECT_EQ(small.totalBytes(), 100u) << "a smaller minimum gives a block its own size";
  small.alloc(10);
  EXPECT_EQ(small.totalBytes(), 164u);
}

TEST(MemCache, FirstFitFromTheOldestChunkAndContiguousBlocks) {
  CMemCache cache;
  uint8_t* a = cache.alloc(0x100000 - 16);  // chunk A, 16 bytes left
  uint8_t* b = cache.alloc(100);            // does not fit A: chunk B
  EXPECT_EQ(cache.totalBytes(), 0x200000u);
  uint8_t* c = cache.alloc(16);  // fits A's remainder though B is newer
  EXPECT_EQ(c, a + 0x100000 - 16);
  uint8_t* d = cache.alloc(3);
  EXPECT_EQ(d, b + 100) << "blocks follow each other without alignment";
  uint8_t* zero = cache.alloc(0);
  EXPECT_NE(zero, nullptr);
  EXPECT_EQ(cache.totalBytes(), 0x200000u);
}

TEST(MemCache, RewindReusesTheChunksFromTheStart) {
  CMemCache cache;
  uint8_t* first = cache.alloc(0x100000 - 8);
  cache.alloc(100);  // a second chunk
  cache.rewind();
  EXPECT_EQ(cache.totalBytes(), 0x200000u);
  EXPECT_EQ(cache.alloc(0x100000), first) << "the oldest chunk is empty again";
  cache.alloc(100);  // fits the second chunk: nothing new
  EXPECT_EQ(cache.totalBytes(), 0x200000u);
}

TEST(MemCache, ClearReleasesEverything) {
  CMemCache cache;
  cache.clear();
  EXPECT_EQ(cache.totalBytes(), 0u);
  cache.alloc(10);
  cache.alloc(0x300000);
  cache.clear();
  EXPECT_EQ(cache.totalBytes(), 0u);
  cache.alloc(1);
  EXPECT_EQ(cache.totalBytes(), 0x100000u);
}

}  // namespace
}  // namespace quern
