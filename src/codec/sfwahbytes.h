// The byte table of the counting walks: for each byte value, how many bits
// are set and their offsets from the top bit (offset 0) down. Counting goes
// through it rather than a popcount instruction, which a baseline x86 or
// i686 build lacks.
#pragma once

#include <array>
#include <cstdint>

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

// Set bits among the low 31 bits of a word.
inline uint32_t onesIn31(uint32_t word) {
  return kByteBits[word & 0xFF].count + kByteBits[(word >> 8) & 0xFF].count + kByteBits[(word >> 16) & 0xFF].count +
         kByteBits[(word >> 24) & 0x7F].count;
}

}  // namespace quern::sfwah
