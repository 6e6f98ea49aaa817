// The group way of combining two busy segments, where most groups are a
// stored word of their own and the word walk spends most of its time
// deciding, pair after pair, which side leads. Here both sides are written
// out window by window as plain arrays of 31-bit groups, combined four
// groups at a time, and the result is put back through the encoder in runs.
// It stores a group more than once per word, so it pays only where words
// are nearly as many as groups; `preferGroups` draws that line.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "codec/sfwahchunks.h"
#include "codec/sfwahencoder.h"
#include "codec/sfwahtuning.h"
#include "base/exception.h"

namespace quern {

class SFWAHGroupReader {
 public:
  // Reads the coded words of the segment at `chunks`' read position.
  explicit SFWAHGroupReader(SFWAHChunks& chunks);
  SFWAHGroupReader(const SFWAHGroupReader&) = delete;
  SFWAHGroupReader& operator=(const SFWAHGroupReader&) = delete;

  // Writes out the next groups after those kept by `consume`; returns how
  // many the array holds: at least sfwah::kGroupWindow, fewer only at the segment's end.
  uint32_t fill();
  const uint32_t* groups() const { return m_groups.data(); }
  // Drops the first `used` of the `held` groups and keeps the rest.
  void consume(uint32_t used, uint32_t held);
  // The groups of a long fill that the next window starts with (0 when it
  // starts otherwise), and their value.
  uint32_t pendingFill(uint32_t& value) const {
    value = m_pendingValue;
    return m_kept == 0 ? m_pendingCount : 0;
  }
  // Passes over `n` groups of that fill without writing them out.
  void skipFill(uint32_t n) { m_pendingCount -= n; }

 private:
  // Writes a fill of `count` groups of `value` from `at` up to the window's
  // end and keeps the rest for the next window; returns the new end.
  uint32_t putLongFill(uint32_t at, uint32_t value, uint32_t count);
  uint32_t putCompact(uint32_t at, uint32_t word);

  SFWAHChunks& m_chunks;
  std::vector<uint32_t> m_groups;
  const uint8_t* m_data = nullptr;
  const uint8_t* m_end = nullptr;
  uint32_t m_kept = 0;
  uint32_t m_pendingValue = 0;
  uint32_t m_pendingCount = 0;
};

// Puts `count` groups through `out`: a run of empty or of full groups as
// one fill, every other group as a literal. The encoder merges a run cut by
// a window's end, so the stored words are those of putting group by group.
// The logical words are gathered over the groups, which are lost.
void putGroups(std::span<uint32_t> groups, SFWAHEncoder& out);

// True when the segments at both read positions have at most
// sfwah::kGroupWayLimit groups per stored word, judged by the first side's first
// words. Both read positions stay where they are.
bool preferGroups(SFWAHChunks& first, SFWAHChunks& second);

// Combines the segments at both read positions group by group into `out`,
// up to their closing words. False when one side's groups end before the
// other's.
template <typename Combine>
bool combineGroups(SFWAHChunks& first, SFWAHChunks& second, SFWAHEncoder& out, Combine combine) {
  SFWAHGroupReader a(first);
  SFWAHGroupReader b(second);
  std::vector<uint32_t> result;
  try {
    result.resize(sfwah::kGroupWindow + sfwah::kGroupSlack);
  } catch (...) {
    QRN_RAISE(2, "alloc groups failed");
  }
  for (;;) {
    // Where both sides stand in long fills, their overlap is one fill word:
    // no group of it is written out, so a long quiet stretch costs no more
    // than in the walk.
    uint32_t valueA = 0;
    uint32_t valueB = 0;
    const uint32_t fillA = a.pendingFill(valueA);
    const uint32_t fillB = b.pendingFill(valueB);
    if (fillA != 0 && fillB != 0) {
      const uint32_t n = fillA < fillB ? fillA : fillB;
      a.skipFill(n);
      b.skipFill(n);
      out.putWord((combine(valueA, valueB) & sfwah::kOneFill) | n);
      continue;
    }
    const uint32_t heldA = a.fill();
    const uint32_t heldB = b.fill();
    const uint32_t n = heldA < heldB ? heldA : heldB;
    if (n == 0) return heldA == heldB;
    const uint32_t* x = a.groups();
    const uint32_t* y = b.groups();
    // Four at a time, which the compiler turns into one vector operation; the
    // arrays have room past `n`, and what lies there is not read back.
    for (uint32_t i = 0; i < n; i += 4) {
      uint32_t u[4];
      uint32_t v[4];
      std::memcpy(u, x + i, sizeof u);
      std::memcpy(v, y + i, sizeof v);
      for (uint32_t j = 0; j < 4; ++j) u[j] = combine(u[j], v[j]);
      std::memcpy(result.data() + i, u, sizeof u);
    }
    a.consume(n, heldA);
    b.consume(n, heldB);
    putGroups({result.data(), n}, out);
  }
}

}  // namespace quern
