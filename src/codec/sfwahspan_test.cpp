#include "codec/sfwahspan.h"

#include <gtest/gtest.h>

#include <random>

#include "codec/sfwahbytes.h"
#include "storage/endian.h"

namespace quern::sfwah {
namespace {

// Every way this processor has against plain sums of each stored word, on
// words of every kind, huge fills whose sums wrap included, at every length
// around the vector widths.
TEST(SFWAHSpan, EveryWayMatchesWordSums) {
  const std::vector<SpanWay> ways = spanWays();
  ASSERT_STREQ(ways.back().name, "word");
  std::mt19937 random(17);
  for (int round = 0; round < 300; ++round) {
    const uint32_t count = round < 40 ? static_cast<uint32_t>(round) : random() % 700;
    std::vector<uint8_t> data(4 * count + 1);
    // One byte in: chunk memory gives no alignment.
    uint8_t* words = data.data() + 1;
    uint32_t ones = 0;
    uint32_t bits = 0;
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t word = static_cast<uint32_t>(random());
      if (random() % 3 == 0) word &= 0x600000FFu | (random() % 20 == 0 ? kMaxCount : 0);  // short and huge fills
      storeLE32(words + 4 * i, word);
      ones += onesInStored(word);
      bits += groupsOf(word) * kGroupSize;
    }
    for (const SpanWay& way : ways) {
      ASSERT_EQ(way.ones(words, count), ones) << way.name << " " << round;
      const SpanSums sums = way.sums(words, count);
      ASSERT_EQ(sums.ones, ones) << way.name << " " << round;
      ASSERT_EQ(sums.bits, bits) << way.name << " " << round;
    }
  }
}

}  // namespace
}  // namespace quern::sfwah
