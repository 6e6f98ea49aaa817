// Bit counting for the counting walks. A baseline x86 or i686 build has no
// popcount instruction, so words are counted by arithmetic; the byte table
// gives, for each byte value, its set bits' offsets from the top bit (offset
// 0) down, for walks that put positions.
#pragma once

#include <array>
#include <cstdint>

#include "codec/sfwahwordcache.h"

namespace quern::sfwah {

struct ByteBits {
  uint8_t count = 0;
  uint8_t offsets[8] = {};
};

constexpr std::array<ByteBits, 256> makeByteTable() {
  std::array<ByteBits, 256> table{};
  for (uint32_t value = 0; value < 256; ++value) {
    for (uint32_t offset = 0; offset < 8; ++offset) {
      if (value & (0x80u >> offset)) table[value].offsets[table[value].count++] = static_cast<uint8_t>(offset);
    }
  }
  return table;
}

inline constexpr std::array<ByteBits, 256> kByteBits = makeByteTable();

// Set bits of a word, by halves, nibbles and bytes: no table loads and no
// library call on builds without a popcount instruction.
inline uint32_t onesIn32(uint32_t word) {
  word -= (word >> 1) & 0x55555555u;
  word = (word & 0x33333333u) + ((word >> 2) & 0x33333333u);
  word = (word + (word >> 4)) & 0x0F0F0F0Fu;
  return (word * 0x01010101u) >> 24;
}

// Set bits among the low 31 bits of a word.
inline uint32_t onesIn31(uint32_t word) { return onesIn32(word & kGroupBits); }

// By a stored word's top three bits, the bits that hold its ones: all 31
// of a literal, the literal bytes of a compact word, none of a fill.
inline constexpr uint32_t kOnesMaskByTop[8] = {0, 0xFF00FF, 0xFF00, 0, kGroupBits, kGroupBits, kGroupBits, kGroupBits};

// One bits of a stored word as it stands, with no branch: the kinds of a
// busy vector's words come in no order a branch could learn.
inline uint32_t onesInStored(uint32_t word) {
  const uint32_t top = word >> 29;
  const uint32_t fillOnes = fillCount(word) * kGroupSize & (0u - static_cast<uint32_t>(top == 3));
  return onesIn32(word & kOnesMaskByTop[top]) + fillOnes;
}

}  // namespace quern::sfwah
