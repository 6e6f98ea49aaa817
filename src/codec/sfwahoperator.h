// The walking frame shared by the three boolean operators. Both coded
// streams are walked at once, a logical word at a time, and every step puts
// one logical word into the result's encoder, which re-compacts it. A table
// per operator says, by the kinds of the two front words, whether to swap
// the operands first and which action to take. All three operations are
// symmetric, so a swap never changes the result.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "codec/sfwahvector.h"
#include "frame/exception.h"

namespace quern {

namespace sfwah {

enum Kind : uint8_t { kZeroFill = 0, kOneFillKind = 1, kLiteral = 2 };

enum class Action : uint8_t {
  Z,        // two fills: the zero fill of the smaller count
  O,        // two fills: the one fill of the smaller count
  P,        // fill against literal: the literal as it stands
  ZW,       // fill against literal: one group of zeros
  OW,       // fill against literal: one group of ones
  N,        // fill against literal: the literal's complement
  Literals  // two literals: the operator's own rule
};

struct Rule {
  bool swap;
  Action action;
};

// Rules[first kind][second kind].
using RuleTable = Rule[3][3];

}  // namespace sfwah

// `Rules` gives: kModule (the name in failure texts), kTable, and
// combine(a, b) for two literals and combineTail(a, b) for two tails.
template <class Rules>
class SFWAHOperator {
 public:
  // Takes ownership of both operands; null raises.
  SFWAHOperator(SFWAHVector* first, SFWAHVector* second) : m_first(first), m_second(second) {
    if (first == nullptr) fail(2, __LINE__, "invalid param(first)");
    if (second == nullptr) fail(2, __LINE__, "invalid param(second)");
  }
  virtual ~SFWAHOperator() = default;
  SFWAHOperator(const SFWAHOperator&) = delete;
  SFWAHOperator& operator=(const SFWAHOperator&) = delete;

  // The combined set, with the operands' segments; the caller owns it. The
  // operands are walked to their end.
  std::unique_ptr<SFWAHVector> run();

 private:
  template <typename... Args>
  [[noreturn]] static void fail(int32_t level, int32_t line, const char* format, Args... args) {
    raiseFailure(FailureSite{level, Rules::kModule, line}, format, args...);
  }
  void step();
  void doAA();
  void put(uint32_t word) { m_result->encoder()->putWord(word); }

  std::unique_ptr<SFWAHVector> m_first;
  std::unique_ptr<SFWAHVector> m_second;
  SFWAHWordCache m_caches[2];
  SFWAHWordCache* m_firstCache = &m_caches[0];
  SFWAHWordCache* m_secondCache = &m_caches[1];
  std::unique_ptr<SFWAHVector> m_result;
};

template <class Rules>
std::unique_ptr<SFWAHVector> SFWAHOperator<Rules>::run() {
  if (!m_result) m_result = std::make_unique<SFWAHVector>(nullptr);
  while (m_first->chunks()->nextSegment() && m_second->chunks()->nextSegment()) {
    while (m_first->chunks()->hasWords() || !m_firstCache->empty() || m_second->chunks()->hasWords() ||
           !m_secondCache->empty()) {
      step();
    }
    doAA();
  }
  return std::move(m_result);
}

template <class Rules>
void SFWAHOperator<Rules>::step() {
  using namespace sfwah;
  if (m_firstCache->empty() && m_first->chunks()->hasWords()) m_first->decodeWord(*m_firstCache);
  if (m_secondCache->empty() && m_second->chunks()->hasWords()) m_second->decodeWord(*m_secondCache);
  const auto kindOf = [](uint32_t word) -> int {
    if (isLiteral(word)) return kLiteral;
    if (isZeroFill(word)) return kZeroFill;
    return isOneFill(word) ? kOneFillKind : -1;
  };
  const int firstKind = kindOf(m_firstCache->front());
  if (firstKind < 0) fail(1, __LINE__, "invalid first word(%u)", m_firstCache->front());
  const int secondKind = kindOf(m_secondCache->front());
  if (secondKind < 0) fail(1, __LINE__, "invalid second word(%u)", m_secondCache->front());
  const Rule rule = Rules::kTable[firstKind][secondKind];
  if (rule.swap) {
    std::swap(m_first, m_second);
    std::swap(m_firstCache, m_secondCache);
  }
  SFWAHWordCache& first = *m_firstCache;
  SFWAHWordCache& second = *m_secondCache;
  switch (rule.action) {
    case Action::Z:
    case Action::O: {
      const uint32_t a = fillCount(first.front());
      const uint32_t b = fillCount(second.front());
      const uint32_t n = a < b ? a : b;
      put(rule.action == Action::Z ? n : kOneFill | n);
      first.reduceFill(n);
      second.reduceFill(n);
      break;
    }
    case Action::P:
      put(second.pop());
      first.reduceFill(1);
      break;
    case Action::ZW:
    case Action::OW:
      put(rule.action == Action::ZW ? 1 : kOneFill | 1);
      first.reduceFill(1);
      second.pop();
      break;
    case Action::N:
      put(~second.pop() | kLiteralBit);
      first.reduceFill(1);
      break;
    case Action::Literals: {
      const uint32_t a = first.pop();
      put(Rules::combine(a, second.pop()));
      break;
    }
  }
}

template <class Rules>
void SFWAHOperator<Rules>::doAA() {
  uint32_t firstTail = 0;
  uint32_t secondTail = 0;
  const uint32_t firstLength = m_first->chunks()->readTail(firstTail);
  const uint32_t secondLength = m_second->chunks()->readTail(secondTail);
  if (firstLength != secondLength) fail(1, __LINE__, "doAA fail, %u != %u", firstLength, secondLength);
  const uint32_t tail = Rules::combineTail(firstTail, secondTail);
  SFWAHEncoder& encoder = *m_result->encoder();
  for (uint32_t i = 0; i < firstLength; ++i) encoder.appendBit(tail >> (31 - i) & 1);
  encoder.finish();
  m_result->chunks()->closeSegment();
}

}  // namespace quern
