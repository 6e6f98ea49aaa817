// The tuning constants of the SFWAH code, in one place. None of them changes
// a stored word: they trade memory and branches for speed.
#pragma once

#include <cstdint>

namespace quern::sfwah {

// Bytes of the first chunk of a vector's stored words; later chunks double.
constexpr uint32_t kChunkBytes = 0x80;

// Groups a window of the group way holds at least, unless the segment ends first.
constexpr uint32_t kGroupWindow = 8192;
// Room past the window: one compact word brings at most 511 groups, and
// a fill of up to 16 groups is written as 16 copies whatever its count.
constexpr uint32_t kGroupSlack = 1024;
// The most groups per stored word (the mean of the two sides) at which busy
// segments go group by group, for all three operators: measured on run sets
// of 1.6 to 20 groups per word, the group way is ahead up to about 5.5.
constexpr uint32_t kGroupWayLimit = 5;

// Top selection sums blocks of this many stored words in one pass, and walks
// the block that may hold the newest in pieces of this many.
constexpr uint32_t kTopBlockWords = 256;
constexpr uint32_t kTopPieceWords = 32;

}  // namespace quern::sfwah
