#include "codec/sfwahunion.h"

namespace quern {

using namespace sfwah;

// Rows: the first front word is a zero fill, a one fill, a literal; columns
// the same for the second.
const RuleTable SFWAHUnionRules::kTable = {
    {{false, Action::Z}, {false, Action::O}, {false, Action::P}},
    {{true, Action::O}, {false, Action::O}, {false, Action::OW}},
    {{true, Action::P}, {true, Action::OW}, {false, Action::Literals}},
};

uint32_t SFWAHUnionRules::combine(uint32_t a, uint32_t b) {
  const uint32_t r = a | b;
  return (r & kGroupBits) == kGroupBits ? (kOneFill | 1) : r;
}

template class SFWAHOperator<SFWAHUnionRules>;

}  // namespace quern
