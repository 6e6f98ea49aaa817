#include "codec/sfwahintersect.h"

namespace quern {

using namespace sfwah;

// Rows: the first front word is a zero fill, a one fill, a literal; columns
// the same for the second.
const RuleTable SFWAHIntersectRules::kTable = {
    {{false, Action::Z}, {false, Action::Z}, {false, Action::ZW}},
    {{true, Action::Z}, {false, Action::O}, {false, Action::P}},
    {{true, Action::ZW}, {true, Action::P}, {false, Action::Literals}},
};

uint32_t SFWAHIntersectRules::combine(uint32_t a, uint32_t b) {
  const uint32_t r = a & b;
  return (r & kGroupBits) == 0 ? 1 : r;
}

template class SFWAHOperator<SFWAHIntersectRules>;

}  // namespace quern
