// SFWAHIntersect: the intersection of two sets of one index, computed on the compressed
// words. The operands are owned and used up; the result belongs to the caller.
#pragma once

#include "codec/sfwahoperator.h"

namespace quern {

struct SFWAHIntersectRules {
  static constexpr const char* kModule = "sfwahintersect";
  // Rows: the first front word is a zero fill, a one fill, a literal; columns
  // the same for the second.
  static constexpr sfwah::RuleTable kTable = {
      {sfwah::Action::Z, sfwah::Action::Z, sfwah::Action::ZW},
      {sfwah::Action::Z, sfwah::Action::O, sfwah::Action::P},
      {sfwah::Action::ZW, sfwah::Action::P, sfwah::Action::Literals},
  };
  static uint32_t combine(uint32_t a, uint32_t b);
  static uint32_t combineBits(uint32_t a, uint32_t b) { return a & b; }
};

extern template class SFWAHOperator<SFWAHIntersectRules>;

class SFWAHIntersect final : public SFWAHOperator<SFWAHIntersectRules> {
 public:
  using SFWAHOperator<SFWAHIntersectRules>::SFWAHOperator;
};

}  // namespace quern
