#include "codec/sfwahoperator.h"

#include <gtest/gtest.h>

#include "codec/sfwahintersect.h"
#include "codec/sfwahunion.h"
#include "codec/sfwahxor.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::Bits;
using test::bitsWithOnes;
using test::raises;
using Words = std::vector<uint32_t>;
using Segments = std::vector<Bits>;

enum class Op { And, Or, Xor };

std::unique_ptr<SFWAHVector> apply(Op op, std::unique_ptr<SFWAHVector> a, std::unique_ptr<SFWAHVector> b) {
  switch (op) {
    case Op::And:
      return SFWAHIntersect::of(std::move(a), std::move(b));
    case Op::Or:
      return SFWAHUnion::of(std::move(a), std::move(b));
    default:
      return SFWAHXor::of(std::move(a), std::move(b));
  }
}

Segments model(Op op, const Segments& a, const Segments& b) {
  Segments out = a;
  for (size_t s = 0; s < a.size(); ++s) {
    for (size_t i = 0; i < a[s].size(); ++i) {
      out[s][i] = op == Op::And ? a[s][i] && b[s][i] : op == Op::Or ? a[s][i] || b[s][i] : a[s][i] != b[s][i];
    }
  }
  return out;
}

Words words(const std::unique_ptr<SFWAHVector>& vector) { return test::storedWords(*vector->chunks()); }

TEST(SFWAHOperator, IntersectionExample) {
  auto first = test::makeVector({bitsWithOnes(130, {1, 3, 100})});
  auto second = test::makeVector({bitsWithOnes(130, {3, 40})});
  EXPECT_EQ(words(second), (Words{0x90000000, 0x80400000, 2, 0, 6}));
  auto result = apply(Op::And, std::move(first), std::move(second));
  EXPECT_EQ(words(result), (Words{0x90000000, 3, 0, 6}));
}

// Random pairs of many shapes and segment layouts, empty and full ones
// among them, so results of one fill too: the result's stored words are
// those of encoding the model's bits directly (the encoder's own model test
// proves those words decode to the bits).
TEST(SFWAHOperator, ModelAgreement) {
  std::mt19937 random(7);
  test::TempDir dir;
  for (int round = 0; round < 900; ++round) {
    Segments a, b;
    const uint32_t segments = random() % 4;
    for (uint32_t s = 0; s < segments; ++s) {
      const uint32_t length = round % 3 == 0 ? (random() % 300) * 31 + random() % 3 : random() % 12000;
      a.push_back(test::randomBits(random, length));
      b.push_back(round % 17 == 0 ? a.back() : test::randomBits(random, length));
    }
    const Op op = static_cast<Op>(round % 3);
    auto left = test::makeVector(a);
    if (round % 5 == 0) left = test::reload(*left, dir.file("left"));
    const Segments expected = model(op, a, b);
    auto result = apply(op, std::move(left), test::makeVector(b));
    const auto want = test::makeVector(expected);
    ASSERT_EQ(words(result), words(want)) << round;
    ASSERT_EQ(result->chunks()->segmentWords(), want->chunks()->segmentWords()) << round;
  }
}

// Bits of a busy segment, near a stored word per group: stretches of mixed
// groups, of short runs, of single-byte groups between short gaps (compact
// words), and now and then a fill long enough to cross a window.
Bits busyBits(std::mt19937& random, uint32_t length) {
  const auto draw = [&](uint32_t low, uint32_t high) { return std::uniform_int_distribution<uint32_t>(low, high)(random); };
  Bits bits(length);
  uint32_t at = 0;
  const auto put = [&](uint32_t count, bool one) {
    for (uint32_t end = std::min<uint32_t>(at + count, bits.size()); at < end; ++at) bits[at] = one;
  };
  while (at < bits.size()) {
    const uint32_t kind = draw(0, 19);
    if (kind < 10) {
      for (uint32_t i = 0; i < 31 * 200; ++i) put(1, draw(0, 1));
    } else if (kind < 15) {
      for (uint32_t i = 0; i < 40; ++i) put(draw(1, 127), true), put(draw(1, 383), false);
    } else if (kind < 19) {
      for (uint32_t i = 0; i < 50; ++i) put(31 * draw(1, 3) + 23 - 8 * draw(0, 2), false), put(draw(1, 8), true);
    } else {
      put(31 * draw(17, 600), draw(0, 1));
    }
  }
  return bits;
}

// Busy segments: several windows of the group way, fills and compact words
// across their ends, one side sparse now and then.
TEST(SFWAHOperator, BusyModelAgreement) {
  std::mt19937 random(11);
  for (int round = 0; round < 12; ++round) {
    Segments a, b;
    for (int s = 0; s <= round / 2 % 2; ++s) {
      const uint32_t length = 31 * (20000 + random() % 20000) + random() % 31;
      a.push_back(busyBits(random, length));
      b.push_back(round % 4 == 2 ? test::randomBits(random, length) : busyBits(random, length));
    }
    const Op op = round % 2 == 0 ? Op::And : round % 4 == 1 ? Op::Or : Op::Xor;
    auto left = test::makeVector(a);
    auto right = test::makeVector(b);
    left->chunks()->nextSegment();
    right->chunks()->nextSegment();
    ASSERT_TRUE(preferGroups(*left->chunks(), *right->chunks())) << round;
    left->chunks()->rewind();
    right->chunks()->rewind();
    auto result = apply(op, std::move(left), std::move(right));
    ASSERT_EQ(words(result), words(test::makeVector(model(op, a, b)))) << round;
  }
  // A busy start, then fills of billions of records on both sides, cut
  // differently: passed as fill words, not written out group by group.
  const Bits start = busyBits(random, 31 * 40000);
  const auto longTail = [&](const Bits& bits, uint32_t cut) {
    auto vector = std::make_unique<SFWAHVector>(nullptr);
    for (const bool bit : bits) vector->encoder()->appendBit(bit);
    vector->encoder()->appendZeros(cut);
    for (int i = 0; i < 40; ++i) vector->encoder()->appendZeros(0xF0000000u);
    vector->encoder()->appendZeros(0xF0000000u - cut);
    vector->encoder()->finish();
    vector->chunks()->closeSegment();
    return vector;
  };
  const Bits other = busyBits(random, start.size());
  for (const Op op : {Op::And, Op::Or, Op::Xor}) {
    const Bits both = model(op, {start}, {other})[0];
    auto result = apply(op, longTail(start, 31 * 5000), longTail(other, 31 * 77777));
    EXPECT_EQ(words(result), words(longTail(both, 0)));
  }
  EXPECT_THROW(apply(Op::And, test::makeVector({busyBits(random, 900000)}), test::makeVector({busyBits(random, 930000)})),
               std::logic_error);
}

TEST(SFWAHOperator, MismatchedOperands) {
  EXPECT_TRUE(raises([] { SFWAHIntersect(nullptr, std::make_unique<SFWAHVector>(nullptr)); }, 2, "invalid param(first)"));
  EXPECT_TRUE(raises([] { SFWAHUnion(std::make_unique<SFWAHVector>(nullptr), nullptr); }, 2, "invalid param(second)"));
  EXPECT_TRUE(raises([] { apply(Op::Xor, test::makeVector({Bits(36)}), test::makeVector({Bits(37)})); }, 1,
                     "doAA fail, 5 != 6"));
  EXPECT_THROW(apply(Op::And, test::makeVector({Bits(100)}), test::makeVector({Bits(300)})), std::logic_error);
  // Unequal segment counts: the run stops with the shorter operand.
  auto result = apply(Op::Or, test::makeVector({bitsWithOnes(10, {2})}), test::makeVector({Bits(10), Bits(10)}));
  EXPECT_EQ(words(result), (Words{0x40000000, 10}));
  EXPECT_EQ(apply(Op::And, test::makeVector({}), test::makeVector({}))->chunks()->segmentWords().size(), 0u);
}

}  // namespace
}  // namespace quern
