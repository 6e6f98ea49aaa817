// The SFWAH word format: a stored word is a literal (top bit set, 31 bits of
// one group), a zero or one fill (a count of groups), or one of two compact
// words (LFL: literal, zero fill, literal; FLF: zero fill, literal, zero fill)
// with single-byte literals. These are the forms and the helpers every
// walker of the code shares.
#pragma once

#include <bit>
#include <cstdint>

namespace quern {

// The logical word forms and the helpers every walker of the code shares.
namespace sfwah {

constexpr uint32_t kLiteralBit = 0x80000000u;
constexpr uint32_t kGroupBits = 0x7FFFFFFFu;   // the 31 bits of one group
constexpr uint32_t kMaxCount = 0x1FFFFFFFu;    // the largest fill count
constexpr uint32_t kOneFill = 0x60000000u;     // top bits of a one fill
constexpr uint32_t kKindMask = 0xE0000000u;    // the top three bits
constexpr uint32_t kLFL = 0x20000000u;
constexpr uint32_t kFLF = 0x40000000u;
constexpr uint32_t kGroupSize = 31;
constexpr uint32_t kMaxTailLength = 30;

inline bool isLiteral(uint32_t word) { return (word & kLiteralBit) != 0; }
inline bool isZeroFill(uint32_t word) { return (word & kKindMask) == 0; }
inline bool isOneFill(uint32_t word) { return (word & kKindMask) == kOneFill; }
inline uint32_t fillCount(uint32_t word) { return word & kMaxCount; }
// A literal whose ones all lie in one byte, which a compact word can hold.
inline bool isSingleByte(uint32_t literal) {
  const uint32_t bits = literal & kGroupBits;
  return bits != 0 && (31 - std::countl_zero(bits)) / 8 == std::countr_zero(bits) / 8;
}

// Groups of 31 bits that a stored word stands for.
inline uint32_t groupsOf(uint32_t word) {
  const uint32_t top = word >> 29;
  if (top >= 4) return 1;
  if (top == 1) return 2 + ((word >> 8) & 0xFF);
  if (top == 2) return 1 + ((word >> 16) & 0xFF) + (word & 0xFF);
  return word & kMaxCount;
}

// Expands a stored word into its one to three logical words; returns how many.
inline uint32_t expandWord(uint32_t word, uint32_t* out) {
  switch (word & kKindMask) {
    case kLFL:  // literal, zero fill, literal
      out[0] = kLiteralBit | ((word >> 16) & 0xFF) << (8 * ((word >> 27) & 3));
      out[1] = (word >> 8) & 0xFF;
      out[2] = kLiteralBit | (word & 0xFF) << (8 * ((word >> 25) & 3));
      return 3;
    case kFLF:  // zero fill, literal, zero fill
      out[0] = (word >> 16) & 0xFF;
      out[1] = kLiteralBit | ((word >> 8) & 0xFF) << (8 * ((word >> 27) & 3));
      out[2] = word & 0xFF;
      return 3;
    default:
      out[0] = word;
      return 1;
  }
}

}  // namespace sfwah

}  // namespace quern
