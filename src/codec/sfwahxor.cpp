#include "codec/sfwahxor.h"

namespace quern {

using namespace sfwah;

uint32_t SFWAHXorRules::combine(uint32_t a, uint32_t b) {
  const uint32_t r = (a ^ b) | kLiteralBit;
  if ((r & kGroupBits) == kGroupBits) return kOneFill | 1;
  return (r & kGroupBits) == 0 ? 1 : r;
}

template class SFWAHOperator<SFWAHXorRules>;

}  // namespace quern
