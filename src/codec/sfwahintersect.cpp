#include "codec/sfwahintersect.h"

namespace quern {

using namespace sfwah;

uint32_t SFWAHIntersectRules::combine(uint32_t a, uint32_t b) {
  const uint32_t r = a & b;
  return (r & kGroupBits) == 0 ? 1 : r;
}

template class SFWAHOperator<SFWAHIntersectRules>;

}  // namespace quern
