// SFWAHXor: the exclusive or (the records in exactly one) of two sets of one index, computed on the compressed
// words. The operands are owned and used up; the result belongs to the caller.
#pragma once

#include "codec/sfwahoperator.h"

namespace quern {

struct SFWAHXorRules {
  static constexpr const char* kModule = "sfwahxor";
  // Rows: the first front word is a zero fill, a one fill, a literal; columns
  // the same for the second.
  static constexpr sfwah::RuleTable kTable = {
      {sfwah::Action::Z, sfwah::Action::O, sfwah::Action::P},
      {sfwah::Action::O, sfwah::Action::Z, sfwah::Action::N},
      {sfwah::Action::P, sfwah::Action::N, sfwah::Action::Literals},
  };
  static uint32_t combine(uint32_t a, uint32_t b);
  static uint32_t combineBits(uint32_t a, uint32_t b) { return a ^ b; }
};

extern template class SFWAHOperator<SFWAHXorRules>;

class SFWAHXor final : public SFWAHOperator<SFWAHXorRules> {
 public:
  using SFWAHOperator<SFWAHXorRules>::SFWAHOperator;
};

}  // namespace quern
