#include "codec/sfwahxor.h"

namespace quern {

using namespace sfwah;

// Rows: the first front word is a zero fill, a one fill, a literal; columns
// the same for the second.
const RuleTable SFWAHXorRules::kTable = {
    {{false, Action::Z}, {false, Action::O}, {false, Action::P}},
    {{true, Action::O}, {false, Action::Z}, {false, Action::N}},
    {{true, Action::P}, {true, Action::N}, {false, Action::Literals}},
};

uint32_t SFWAHXorRules::combine(uint32_t a, uint32_t b) {
  const uint32_t r = (a ^ b) | kLiteralBit;
  if ((r & kGroupBits) == kGroupBits) return kOneFill | 1;
  return (r & kGroupBits) == 0 ? 1 : r;
}

template class SFWAHOperator<SFWAHXorRules>;

}  // namespace quern
