#include "codec/sfwahtop.h"

#include <gtest/gtest.h>

#include "codec/sfwahcount.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::Bits;
using test::bitsWithOnes;
using test::raises;
using Positions = std::vector<uint32_t>;

// Runs the top selection and drains the queue.
Positions top(SFWAHVector& vector, uint32_t nTop, uint32_t& total) {
  std::unique_ptr<CRingQueue> queue = SFWAHTop(&vector, nTop).run(&total);
  Positions positions;
  while (queue->size() != 0) positions.push_back(queue->pop());
  return positions;
}

TEST(SFWAHTop, Examples) {
  auto ones = test::makeVector({bitsWithOnes(130, {1, 3, 100})});
  uint32_t total = 0;
  EXPECT_EQ(top(*ones, 2, total), (Positions{100, 3}));
  EXPECT_EQ(total, 3u);
  ones->chunks()->rewind();
  EXPECT_EQ(top(*ones, 10, total), (Positions{100, 3, 1}));

  auto fill = test::makeVector({Bits(62, true)});
  EXPECT_EQ(top(*fill, 3, total), (Positions{62, 61, 60}));
  EXPECT_EQ(total, 62u);

  auto empty = test::makeVector({Bits(500)});
  EXPECT_EQ(top(*empty, 5, total), Positions{});
  EXPECT_EQ(total, 0u);

  auto segments = test::makeVector({bitsWithOnes(40, {40}), bitsWithOnes(9, {1})});
  EXPECT_EQ(top(*segments, 5, total), (Positions{41, 40}));

  CRingQueue ring(2);
  for (uint32_t value : {1, 2, 3}) ring.put(value);
  ring.setSize(5);
  EXPECT_EQ(ring.size(), 2u);
  EXPECT_EQ(ring.pop(), 3u);
  EXPECT_EQ(ring.pop(), 2u);
  EXPECT_TRUE(raises([&] { ring.pop(); }, 1, "nothing to pop, size is zero"));
}

TEST(SFWAHTop, Failures) {
  SFWAHVector vector(nullptr);
  EXPECT_TRUE(raises([] { SFWAHCount counter(nullptr); }, 2, "invalid param(bits)"));
  EXPECT_TRUE(raises([] { SFWAHTop selection(nullptr, 1); }, 2, "invalid param(bits)"));
  EXPECT_TRUE(raises([&] { SFWAHTop selection(&vector, 0); }, 2, "invalid param(nTop)"));
  EXPECT_TRUE(raises([&] { SFWAHTop(&vector, 1).run(nullptr); }, 2, "invalid param(total)"));
  EXPECT_TRUE(raises([] { CRingQueue ring(0); }, 2, "invalid param maxSize(0)"));
}

// Count and top against the positions of the plain bits, across segments.
TEST(SFWAHTop, ModelAgreement) {
  test::TempDir dir;
  std::mt19937 random(13);
  for (int round = 0; round < 800; ++round) {
    std::vector<Bits> segments(random() % 4);
    Positions ones;
    uint32_t base = 0;
    for (Bits& bits : segments) {
      bits = test::randomBits(random, random() % (round % 8 == 1 ? 60000 : 12000));
      for (uint32_t i = 0; i < bits.size(); ++i) {
        if (bits[i]) ones.push_back(base + i + 1);
      }
      base += static_cast<uint32_t>(bits.size());
    }
    // Built vectors are read in chunks of 32 words, loaded ones in one run.
    auto vector = test::makeVector(segments);
    if (round % 2 == 1) vector = test::reload(*vector, dir.file("v"));
    ASSERT_EQ(vector->count(), ones.size()) << round;
    vector->chunks()->rewind();
    const uint32_t nTop = round % 4 == 0 ? 1 : static_cast<uint32_t>(random() % 3000 + 1);
    uint32_t total = 0;
    const Positions got = top(*vector, nTop, total);
    ASSERT_EQ(total, ones.size()) << round;
    const Positions expected(ones.rbegin(), ones.rbegin() + std::min<size_t>(nTop, ones.size()));
    ASSERT_EQ(got, expected) << round;
  }
}

}  // namespace
}  // namespace quern
