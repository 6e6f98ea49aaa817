// Test helpers of the index set: the bits of a loaded vector, segment after
// segment, through the codec's reference decoder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codec/sfwahtesting.h"

namespace quern::test {

// All bits of `vector`, its segments one behind the other.
inline Bits vectorBits(SFWAHVector& vector) {
  const std::vector<uint32_t> words = storedWords(*vector.chunks());
  Bits bits;
  size_t at = 0;
  for (uint32_t count : vector.chunks()->segmentWords()) {
    const Bits segment = referenceDecode(std::vector<uint32_t>(words.begin() + at, words.begin() + at + count));
    bits.insert(bits.end(), segment.begin(), segment.end());
    at += count;
  }
  return bits;
}

inline std::string bytes(std::initializer_list<uint8_t> list) { return std::string(list.begin(), list.end()); }

}  // namespace quern::test
