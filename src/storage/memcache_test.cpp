#include "storage/memcache.h"

#include <gtest/gtest.h>

namespace quern {
namespace {

TEST(MemCache, ChunkSizes) {
  CMemCache cache;
  cache.alloc(1);
  EXPECT_EQ(cache.totalBytes(), 0x100000u);
  cache.clear();
  EXPECT_EQ(cache.totalBytes(), 0u);
  cache.alloc(0x100000);
  EXPECT_EQ(cache.totalBytes(), 0x100000u);
  cache.alloc(1);  // the first chunk is full
  EXPECT_EQ(cache.totalBytes(), 0x200000u);
  cache.alloc(0x100001);
  EXPECT_EQ(cache.totalBytes(), 0x300001u) << "a larger block gets a chunk of its own size";

  CMemCache small(64);
  small.alloc(100);
  small.alloc(10);
  EXPECT_EQ(small.totalBytes(), 164u) << "a smaller minimum";

  CMemCache growing(64, 16);
  for (uint32_t fill : {16u, 31u, 63u}) {
    growing.alloc(fill);  // the chunk made for the byte before, filled
    growing.alloc(1);     // a new chunk, twice the last, up to the minimum
  }
  EXPECT_EQ(growing.totalBytes(), 16u + 32u + 64u + 64u) << "chunks double from the first up to the minimum";
}

TEST(MemCache, FirstFitFromTheOldestChunkAndRewind) {
  CMemCache cache;
  uint8_t* a = cache.alloc(0x100000 - 16);  // chunk A, 16 bytes left
  uint8_t* b = cache.alloc(100);            // does not fit A: chunk B
  EXPECT_EQ(cache.alloc(16), a + 0x100000 - 16) << "fits A's remainder though B is newer";
  EXPECT_EQ(cache.alloc(3), b + 100) << "blocks follow each other without alignment";
  EXPECT_NE(cache.alloc(0), nullptr);
  EXPECT_EQ(cache.totalBytes(), 0x200000u);

  cache.rewind();
  EXPECT_EQ(cache.alloc(0x100000), a) << "the oldest chunk is empty again";
  cache.alloc(100);  // fits the second chunk: nothing new
  EXPECT_EQ(cache.totalBytes(), 0x200000u);
}

}  // namespace
}  // namespace quern
