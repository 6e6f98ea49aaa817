// The walking frame shared by the three boolean operators. Both coded
// streams are walked at once, a logical word at a time, and the result goes
// word by word into the result's encoder, which re-compacts it. A table
// per operator gives the action by the kinds of the two front words. Busy
// segments, nearly a word per group, go group by group instead
// (codec/sfwahgroups.h); the stored words are the same either way.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "codec/sfwahcursor.h"
#include "codec/sfwahgroups.h"
#include "codec/sfwahvector.h"
#include "base/exception.h"

namespace quern {

namespace sfwah {

enum class Action : uint8_t {
  Z,        // two fills: the zero fill of the smaller count
  O,        // two fills: the one fill of the smaller count
  P,        // fill against literal: the literal as it stands
  ZW,       // fill against literal: one group of zeros
  OW,       // fill against literal: one group of ones
  N,        // fill against literal: the literal's complement
  Literals  // two literals: the operator's own rule
};

// Actions[first kind][second kind], kinds: 0 zero fill, 1 one fill, 2
// literal. The fill-against-literal actions expect the fill first; the
// operations being symmetric, the walk swaps the operands where needed.
using RuleTable = Action[3][3];

}  // namespace sfwah

// `Rules` gives: kModule (the name in failure texts), kTable, combine(a, b)
// for two literals and combineBits(a, b) for plain bits (two tails, or two
// groups).
template <class Rules>
class SFWAHOperator {
 public:
  // Takes both operands; null raises.
  SFWAHOperator(std::unique_ptr<SFWAHVector> first, std::unique_ptr<SFWAHVector> second)
      : m_first(std::move(first)), m_second(std::move(second)) {
    if (!m_first) fail(2, __LINE__, "invalid param(first)");
    if (!m_second) fail(2, __LINE__, "invalid param(second)");
  }
  // The one-call form: the operands are used up, the result is the caller's.
  static std::unique_ptr<SFWAHVector> of(std::unique_ptr<SFWAHVector> first, std::unique_ptr<SFWAHVector> second) {
    return SFWAHOperator(std::move(first), std::move(second)).run();
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
    // A text without arguments goes as one, so that no format is taken from a variable alone.
    if constexpr (sizeof...(Args) == 0) {
      raiseFailure(FailureSite{level, Rules::kModule, line}, "%s", format);
    } else {
      raiseFailure(FailureSite{level, Rules::kModule, line}, format, args...);
    }
  }
  // 2 for a literal, else the fill's kind by its second top bit.
  static uint32_t kindOf(uint32_t word) { return (word >> 31) * 2 + ((word >> 30) & ~(word >> 31) & 1); }
  void walk(SFWAHCursor* first, SFWAHCursor* second);
  template <int FirstKind, int SecondKind>
  void act(SFWAHCursor*& first, SFWAHCursor*& second, uint32_t a, uint32_t b, SFWAHEncoder& out);
  template <sfwah::Action action>
  static void lead(SFWAHCursor& other, uint32_t groups, SFWAHEncoder& out);
  void doAA();

  // A fill that decides its groups whatever the other side holds: its action
  // against a literal is ZW or OW (not P or N).
  static constexpr bool decides(int kind) {
    return kind < 2 && (Rules::kTable[kind][2] == sfwah::Action::ZW || Rules::kTable[kind][2] == sfwah::Action::OW);
  }
  // A walk takes every pair by the fill-against-literal column (see act);
  // this checks that the rest of the table agrees with it.
  static constexpr bool tableAgrees() {
    using namespace sfwah;
    for (int i = 0; i < 2; ++i) {
      if (Rules::kTable[2][i] != Rules::kTable[i][2]) return false;
      for (int j = 0; j < 2; ++j) {
        const bool swap = !decides(i) && decides(j);
        const int other = swap ? i : j;
        const Action lead = Rules::kTable[swap ? j : i][2];
        const int result = lead == Action::ZW ? 0 : lead == Action::OW ? 1 : lead == Action::P ? other : 1 - other;
        if ((Rules::kTable[i][j] == Action::O) != (result == 1)) return false;
      }
    }
    return Rules::kTable[2][2] == Action::Literals;
  }
  static_assert(tableAgrees(), "every pair must follow from the fill-against-literal rules");

  std::unique_ptr<SFWAHVector> m_first;
  std::unique_ptr<SFWAHVector> m_second;
  std::unique_ptr<SFWAHVector> m_result;
};

template <class Rules>
std::unique_ptr<SFWAHVector> SFWAHOperator<Rules>::run() {
  if (!m_result) m_result = std::make_unique<SFWAHVector>(nullptr);
  SFWAHChunks& firstChunks = *m_first->chunks();
  SFWAHChunks& secondChunks = *m_second->chunks();
  while (firstChunks.nextSegment() && secondChunks.nextSegment()) {
    if (preferGroups(firstChunks, secondChunks)) {
      const auto combine = [](uint32_t a, uint32_t b) { return Rules::combineBits(a, b); };
      if (!combineGroups(firstChunks, secondChunks, *m_result->encoder(), combine)) {
        fail(1, __LINE__, "nothing to pop, size is zero");
      }
      doAA();
      continue;
    }
    SFWAHCursor first(firstChunks);
    SFWAHCursor second(secondChunks);
    walk(&first, &second);
    doAA();
  }
  return std::move(m_result);
}

// One step per pair of front words, by the table, taken a whole fill at a
// time. Where a fill decides the result for all its groups, the other side's
// groups are passed over and the fill is put once: the encoder merges
// consecutive fills, so this stores the same words as putting one group at a
// time.
template <class Rules>
void SFWAHOperator<Rules>::walk(SFWAHCursor* first, SFWAHCursor* second) {
  SFWAHEncoder& out = *m_result->encoder();
  for (;;) {
    const bool firstReady = first->ready();
    if (firstReady != second->ready()) fail(1, __LINE__, "nothing to pop, size is zero");
    if (!firstReady) return;
    const uint32_t a = first->front();
    const uint32_t b = second->front();
    // One dispatch on both kinds: 0 zero fill, 1 one fill, 2 literal.
    switch (kindOf(a) * 3 + kindOf(b)) {
      case 0: act<0, 0>(first, second, a, b, out); break;
      case 1: act<0, 1>(first, second, a, b, out); break;
      case 2: act<0, 2>(first, second, a, b, out); break;
      case 3: act<1, 0>(first, second, a, b, out); break;
      case 4: act<1, 1>(first, second, a, b, out); break;
      case 5: act<1, 2>(first, second, a, b, out); break;
      case 6: act<2, 0>(first, second, a, b, out); break;
      case 7: act<2, 1>(first, second, a, b, out); break;
      default: act<2, 2>(first, second, a, b, out); break;
    }
  }
}

template <class Rules>
template <int FirstKind, int SecondKind>
void SFWAHOperator<Rules>::act(SFWAHCursor*& first, SFWAHCursor*& second, uint32_t a, uint32_t b,
                               SFWAHEncoder& out) {
  using namespace sfwah;
  // A fill's third top bit must match its kind; compact words never get here.
  if (FirstKind < 2 && (a >> 29 & 1) != FirstKind) fail(1, __LINE__, "invalid first word(%u)", a);
  if (SecondKind < 2 && (b >> 29 & 1) != SecondKind) fail(1, __LINE__, "invalid second word(%u)", b);
  if constexpr (FirstKind == 2 && SecondKind == 2) {
    // Literals tend to come in stretches on both sides: stay here for them.
    for (;;) {
      first->pop();
      second->pop();
      out.putWord(Rules::combine(a, b));
      if (!first->ready() || !second->ready()) break;
      a = first->front();
      b = second->front();
      if (!isLiteral(a & b)) break;
    }
  } else {
    // A fill leads: one that decides its groups before one that passes the
    // other side on (P or N), and a fill before a literal.
    constexpr bool swap = FirstKind == 2 || (!decides(FirstKind) && decides(SecondKind));
    constexpr int kind = swap ? SecondKind : FirstKind;
    constexpr Action action = Rules::kTable[kind][2];
    if constexpr (swap) {
      std::swap(first, second);
      std::swap(a, b);
    }
    first->pop();
    lead<action>(*second, fillCount(a), out);
  }
}

// The other side's next `groups` groups under a leading fill: passed over
// when the fill decides them, else put as they stand (P) or complemented (N).
template <class Rules>
template <sfwah::Action action>
void SFWAHOperator<Rules>::lead(SFWAHCursor& other, uint32_t groups, SFWAHEncoder& out) {
  using namespace sfwah;
  if constexpr (action == Action::ZW || action == Action::OW) {
    if (other.skipGroups(groups) != 0) fail(1, __LINE__, "nothing to pop, size is zero");
    out.putWord(action == Action::ZW ? groups : kOneFill | groups);
  } else {
    constexpr uint32_t flip = action == Action::N ? kOneFill : 0;
    while (groups != 0) {
      if (!other.ready()) fail(1, __LINE__, "nothing to pop, size is zero");
      uint32_t& word = other.front();
      if (isLiteral(word)) {
        out.putWord(action == Action::P ? word : ~word | kLiteralBit);
        other.pop();
        --groups;
        continue;
      }
      const uint32_t count = fillCount(word);
      const uint32_t n = count < groups ? count : groups;
      out.putWord(((word & kOneFill) ^ flip) | n);
      if (n == count) {
        other.pop();
      } else {
        word -= n;
      }
      groups -= n;
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
  const uint32_t tail = Rules::combineBits(firstTail, secondTail);
  SFWAHEncoder& encoder = *m_result->encoder();
  for (uint32_t i = 0; i < firstLength; ++i) encoder.appendBit(tail >> (31 - i) & 1);
  encoder.finish();
  m_result->chunks()->closeSegment();
}

}  // namespace quern
