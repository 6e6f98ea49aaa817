// A filter with a fixed answer for the tests of the filter tree: it counts
// its evaluations and may run an action (a cancel, say) while evaluated.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "search/filter.h"
#include "support/sfwah.h"

namespace quern::test {

class FixedFilter : public Filter {
 public:
  // No bits: the filter finds nothing (null).
  FixedFilter(std::optional<Bits> bits, int& evaluations, std::function<void()> action = {})
      : m_bits(std::move(bits)), m_evaluations(evaluations), m_action(std::move(action)) {}

  std::unique_ptr<SFWAHVector> evaluate() override {
    ++m_evaluations;
    if (m_action) m_action();
    return m_bits ? makeVector({*m_bits}) : nullptr;
  }

 private:
  std::optional<Bits> m_bits;
  int& m_evaluations;
  std::function<void()> m_action;
};

// The bits of a filter's answer; empty for null.
inline Bits answer(Filter& filter) {
  std::unique_ptr<SFWAHVector> set = filter.evaluate();
  return set ? bitsOf(*set) : Bits();
}

}  // namespace quern::test
