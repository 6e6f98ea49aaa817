// The (delta, frequency) pairs of a record stream summed eight bytes at a
// time, for walks that pass many records towards a far target: no value is
// decoded on its own, so no step waits for the length of the value before.
// Holds for words whose values take one or two bytes, which is nearly every
// word of a list (a delta of two bytes spans up to 16,383 records).
#pragma once

#include <cstdint>

namespace quern {

struct POSPairSums {
  uint32_t bytes;          // of the whole pairs summed, from the word's start
  uint32_t deltas;         // their deltas added up
  uint32_t frequencies;    // their frequencies added up
};

// Sums the whole pairs of `word` (eight stream bytes, little-endian, the
// first byte starting a pair). False, and nothing summed, when a value in it
// takes more than two bytes or no pair ends in it. A walk takes such sums
// only while the target lies beyond them, so it ends on a pair of its own
// and needs no frequency of a single pair from here.
[[gnu::always_inline]] inline bool sumPairs(uint64_t word, POSPairSums& sums) {
  constexpr uint64_t kLow = 0x0101010101010101ull;
  const uint64_t ends = ~word >> 7 & kLow;  // bit 0 of a byte: a value ends there
  const uint64_t more = ~ends & kLow;       // a value goes on behind the byte
  if ((more & more >> 8) != 0) return false;
  // Parity of the values ended before each byte: even bytes belong to deltas.
  uint64_t parity = ends << 8;
  parity ^= parity << 8;
  parity ^= parity << 16;
  parity ^= parity << 32;
  const uint64_t frequencyEnds = ends & parity;
  if (frequencyEnds == 0) return false;
  // Bytes up to the last frequency's end.
  const int last = 63 - __builtin_clzll(frequencyEnds);
  const uint64_t taken = last == 56 ? ~0ull : (uint64_t{1} << (last + 8)) - 1;
  // A value is its first byte's low bits plus 128 times its second's: the
  // two kinds of byte are summed in 16-bit lanes, the second ones shifted,
  // and the lanes added up by one multiplication. At most four second bytes
  // fit a word, so a class's sum stays below 65,536.
  const uint64_t seconds = (more << 8) * 0xFF;
  const uint64_t low = word & 0x7F7F7F7F7F7F7F7Full & taken;
  const auto lanes = [](uint64_t bytes) {
    return (bytes & 0x00FF00FF00FF00FFull) + (bytes >> 8 & 0x00FF00FF00FF00FFull);
  };
  const auto value = [&](uint64_t bytes) {
    return static_cast<uint32_t>((lanes(bytes & ~seconds) + (lanes(bytes & seconds) << 7)) * 0x0001000100010001ull >>
                                 48);
  };
  const uint64_t deltaBytes = (~parity & kLow) * 0xFF;
  sums.deltas = value(low & deltaBytes);
  sums.frequencies = value(low & ~deltaBytes);
  sums.bytes = static_cast<uint32_t>(last / 8 + 1);
  return true;
}

}  // namespace quern
