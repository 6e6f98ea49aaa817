// SFWAHUnion: the union of two sets of one index, computed on the compressed
// words. The operands are owned and used up; the result belongs to the caller.
#pragma once

#include "codec/sfwahoperator.h"

namespace quern {

struct SFWAHUnionRules {
  static constexpr const char* kModule = "sfwahunion";
  // Rows: the first front word is a zero fill, a one fill, a literal; columns
  // the same for the second.
  static constexpr sfwah::RuleTable kTable = {
      {{false, sfwah::Action::Z}, {false, sfwah::Action::O}, {false, sfwah::Action::P}},
      {{true, sfwah::Action::O}, {false, sfwah::Action::O}, {false, sfwah::Action::OW}},
      {{true, sfwah::Action::P}, {true, sfwah::Action::OW}, {false, sfwah::Action::Literals}},
  };
  static uint32_t combine(uint32_t a, uint32_t b);
  static uint32_t combineTail(uint32_t a, uint32_t b) { return a | b; }
};

extern template class SFWAHOperator<SFWAHUnionRules>;

class SFWAHUnion final : public SFWAHOperator<SFWAHUnionRules> {
 public:
  using SFWAHOperator<SFWAHUnionRules>::SFWAHOperator;
};

}  // namespace quern
