#include "codec/sfwahencoder.h"

#include <gtest/gtest.h>

#include "support/sfwah.h"

namespace quern {
namespace {

using test::Bits;
using test::bitsWithOnes;
using test::raises;
using Words = std::vector<uint32_t>;

Words encode(const Bits& bits) { return test::storedWords(*test::makeVector({bits})->chunks()); }

// Puts logical words, then finishes: the stored words.
Words putAll(const Words& logical) {
  SFWAHVector vector(nullptr);
  for (uint32_t word : logical) vector.encoder()->putWord(word);
  vector.encoder()->finish();
  return test::storedWords(*vector.chunks());
}

TEST(SFWAHEncoder, WorkedExamplesAndUniformGroups) {
  Bits onesThenZeros(103, true);
  onesThenZeros[100] = onesThenZeros[101] = onesThenZeros[102] = false;
  const std::pair<Bits, Words> examples[] = {
      {bitsWithOnes(130, {1, 3, 100}), {0x3E500201, 0, 6}},
      {bitsWithOnes(200, {40, 41}), {0x50016004, 0, 14}},
      {bitsWithOnes(1100, {1000}), {0x50208002, 0, 15}},
      {Bits(100), {3, 0, 7}},
      {Bits(31), {1, 0, 0}},
      {Bits(), {0, 0}},
      {bitsWithOnes(5, {5}), {0x08000000, 5}},
      {bitsWithOnes(50, {5, 6, 7, 8, 9, 10, 11, 12, 13, 40}), {0x87FC0000, 0x00800000, 19}},
      {onesThenZeros, {0x60000003, 0xFE000000, 10}},
      // Uniform groups become fills, never literals, and merge.
      {Bits(31, true), {0x60000001, 0, 0}},
      {Bits(62, true), {0x60000002, 0, 0}},
      {Bits(62, false), {2, 0, 0}},
  };
  for (const auto& [bits, words] : examples) {
    EXPECT_EQ(encode(bits), words) << bits.size();
    EXPECT_EQ(test::referenceDecode(words), bits);
  }
}

TEST(SFWAHEncoder, StateMachineTransitions) {
  const uint32_t single = 0x80000100;  // byte 1 holds 0x01
  SFWAHVector vector(nullptr);
  SFWAHEncoder& encoder = *vector.encoder();
  encoder.putWord(255);
  EXPECT_EQ(encoder.state(), 1u);
  encoder.putWord(1);
  EXPECT_EQ(encoder.state(), 2u);
  encoder.putWord(single);
  EXPECT_EQ(encoder.state(), 3u) << "a large fill is stored before a literal";
  encoder.putWord(256);
  EXPECT_EQ(encoder.state(), 2u) << "literal then 256 groups: the literal goes plain";
  encoder.finish();
  EXPECT_EQ(test::storedWords(*vector.chunks()), (Words{256, single, 256, 0, 0}));

  // Full counts split at the largest count.
  EXPECT_EQ(putAll({0x1FFFFFFF, 5}), (Words{0x1FFFFFFF, 5, 0, 0}));
  EXPECT_EQ(putAll({0x7FFFFFFF, 0x60000002}), (Words{0x7FFFFFFF, 0x60000002, 0, 0}));

  // Fill, literal, fill of 256: 255 groups join the compact word.
  EXPECT_EQ(putAll({7, single, 256}), (Words{0x480701FF, 1, 0, 0}));
  EXPECT_EQ(putAll({7, single, 200, 100}), (Words{0x480701FF, 45, 0, 0}));
  // Literal, small fill, then nothing: no compact word.
  EXPECT_EQ(putAll({single, 4}), (Words{single, 4, 0, 0}));
  // Literal, fill, literal: the fill grows in place up to 255 groups.
  EXPECT_EQ(putAll({single, 4, 250, single}), (Words{0x2A01FE01, 0, 0}));
  EXPECT_EQ(putAll({single, 4, 251, single}), (Words{0x2A01FF01, 0, 0}));
  EXPECT_EQ(putAll({single, 200, 100, single}), (Words{single, 300, single, 0, 0}));
  // Byte index 3 with the largest value it can hold.
  EXPECT_EQ(putAll({0xFF000000, 2, 0x80000001}), (Words{0x387F0201, 0, 0}));
  // One fills never enter a compact word; a multi-byte literal ends any pattern.
  EXPECT_EQ(putAll({3, single, 0x60000001}), (Words{3, single, 0x60000001, 0, 0}));
  EXPECT_EQ(putAll({3, single, 2, 0x80000101}), (Words{0x48030102, 0x80000101, 0, 0}));
}

TEST(SFWAHEncoder, Failures) {
  SFWAHVector vector(nullptr);
  SFWAHWordCache cache;
  EXPECT_TRUE(raises([] { SFWAHEncoder encoder(nullptr); }, 2, "Invalid param(bitVector)"));
  EXPECT_TRUE(raises([&] { SFWAHEncoder encoder(&vector, 0, 0, 0, nullptr); }, 2, "Invalid param(cache)"));
  EXPECT_TRUE(raises([&] { vector.encoder()->appendOnes(0); }, 2, "invalid param ones(0)"));
  vector.encoder()->appendZeros(0);
  EXPECT_EQ(vector.encoder()->activeBits(), 0u);
  EXPECT_TRUE(raises([&] { SFWAHEncoder(&vector, 0, 0, 9, &cache).putWord(1); }, 1, "invalid state(9)"));
  cache.push(1);
  cache.push(2);
  cache.push(3);
  EXPECT_TRUE(raises([&] { cache.push(4); }, 1, "at most 3 words"));
  EXPECT_TRUE(raises([&] { cache.get(3); }, 1, "invalid index 3"));
  EXPECT_EQ(cache.pop(), 1u);
  EXPECT_EQ(cache.get(1), 3u);
  cache.clear();
  EXPECT_TRUE(raises([&] { cache.pop(); }, 1, "nothing to pop, size is zero"));
}

// Random streams: the reference decoder gives the bits back, and the same
// bits given one at a time or in runs of any cut give the same words.
TEST(SFWAHEncoder, ModelRoundTripAndCutIndependence) {
  std::mt19937 random(5);
  for (int round = 0; round < 600; ++round) {
    const uint32_t length = round < 200 ? (round / 2) * 31 + round % 3 - 1 + (round == 0) : random() % 40000;
    const Bits bits = test::randomBits(random, length);
    const Words words = encode(bits);
    ASSERT_EQ(test::referenceDecode(words), bits) << round;

    SFWAHVector byBit(nullptr);
    SFWAHVector byRun(nullptr);
    for (bool bit : bits) byBit.encoder()->appendBit(bit);
    for (uint32_t i = 0; i < length;) {
      uint32_t run = 1;
      while (i + run < length && bits[i + run] == bits[i] && run < random() % 200 + 1) ++run;
      if (bits[i]) {
        byRun.encoder()->appendOnes(run);
      } else {
        byRun.encoder()->appendZeros(run);
      }
      i += run;
    }
    byBit.encoder()->finish();
    byRun.encoder()->finish();
    ASSERT_EQ(test::storedWords(*byBit.chunks()), words) << round;
    ASSERT_EQ(test::storedWords(*byRun.chunks()), words) << round;
  }
}

// Logical words in many mixes, from plain literals nearly only to compact
// patterns nearly only, put in calls of any size: the same stored words as
// putting them one at a time, stretches copied whole or not.
TEST(SFWAHEncoder, PutWordsMatchesWordByWord) {
  std::mt19937 random(11);
  const auto draw = [&](uint32_t kind) -> uint32_t {
    const uint32_t byte = random() % 4;
    switch (kind) {
      case 0:  // a literal over two bytes at least
        return sfwah::kLiteralBit | 1u << (random() % 8) | 1u << (8 + random() % 23) | (random() & sfwah::kGroupBits);
      case 1:  // a single-byte literal
        return sfwah::kLiteralBit | ((random() % (byte == 3 ? 127 : 255) + 1) << (8 * byte));
      case 2:
        return 1 + random() % 255;
      case 3:
        return random() % 50 == 0 ? sfwah::kMaxCount - random() % 3 : 256 + random() % 2000;
      default:
        return sfwah::kOneFill | (1 + random() % 300);
    }
  };
  for (int round = 0; round < 400; ++round) {
    // Weights of the five kinds: plain literals weigh 1 to 40 against the rest.
    const uint32_t plain = 1 + random() % 40;
    const uint32_t length = round < 40 ? 58 + round % 12 + 64 * (round % 3) : random() % 3000;
    Words logical;
    for (uint32_t i = 0; i < length; ++i) {
      const uint32_t pick = random() % (plain + 4);
      logical.push_back(draw(pick < plain ? 0 : pick - plain + 1));
    }
    SFWAHVector vector(nullptr);
    for (uint32_t at = 0; at < length;) {
      const uint32_t count = std::min<uint32_t>(length - at, random() % 3 == 0 ? random() % 5 : random() % 700);
      vector.encoder()->putWords({logical.data() + at, count});
      at += count;
    }
    vector.encoder()->finish();
    ASSERT_EQ(test::storedWords(*vector.chunks()), putAll(logical)) << round;
  }
}

}  // namespace
}  // namespace quern
