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
      {sfwah::Action::Z, sfwah::Action::O, sfwah::Action::P},
      {sfwah::Action::O, sfwah::Action::O, sfwah::Action::OW},
      {sfwah::Action::P, sfwah::Action::OW, sfwah::Action::Literals},
  };
  static uint32_t combine(uint32_t a, uint32_t b);
  static uint32_t combineBits(uint32_t a, uint32_t b) { return a | b; }
};

extern template class SFWAHOperator<SFWAHUnionRules>;

class SFWAHUnion final : public SFWAHOperator<SFWAHUnionRules> {
 public:
  using SFWAHOperator<SFWAHUnionRules>::SFWAHOperator;
};

}  // namespace quern
