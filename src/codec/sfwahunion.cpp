#include "codec/sfwahunion.h"

namespace quern {

using namespace sfwah;

uint32_t SFWAHUnionRules::combine(uint32_t a, uint32_t b) {
  const uint32_t r = a | b;
  return (r & kGroupBits) == kGroupBits ? (kOneFill | 1) : r;
}

template class SFWAHOperator<SFWAHUnionRules>;

}  // namespace quern
