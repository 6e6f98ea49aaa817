#include "codec/sfwahgroups.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/exception.h"
#include "storage/endian.h"

namespace quern {

using namespace sfwah;

namespace {

using GroupLanes = uint32_t __attribute__((vector_size(16)));

void putFour(uint32_t* at, uint32_t value) {
  const GroupLanes lanes = {value, value, value, value};
  std::memcpy(at, &lanes, sizeof lanes);
}

// Every literal and every fill of up to 16 groups is written as sixteen
// copies: four stores cost less than a branch on the count, which short runs
// leave unpredictable.
void putSixteen(uint32_t* at, uint32_t value) {
  putFour(at, value);
  putFour(at + 4, value);
  putFour(at + 8, value);
  putFour(at + 12, value);
}

// Bit i of `empty` and of `full` for groups[i] == 0 and == all ones.
void markRuns(const uint32_t* groups, uint32_t count, uint32_t& empty, uint32_t& full) {
  empty = 0;
  full = 0;
#if defined(__SSE2__)
  if (count == 32) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi32(static_cast<int>(kGroupBits));
    for (uint32_t q = 0; q < 8; ++q) {
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(groups + 4 * q));
      empty |= static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(x, zero)))) << (4 * q);
      full |= static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(x, ones)))) << (4 * q);
    }
    return;
  }
#endif
  for (uint32_t i = 0; i < count; ++i) {
    empty |= static_cast<uint32_t>(groups[i] == 0) << i;
    full |= static_cast<uint32_t>(groups[i] == kGroupBits) << i;
  }
}

// Writes `count` groups as literals to `to`, which may lie at or before them.
void markLiterals(const uint32_t* groups, uint32_t* to, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) to[i] = groups[i] | kLiteralBit;
}

}  // namespace

SFWAHGroupReader::SFWAHGroupReader(SFWAHChunks& chunks) : m_chunks(chunks) {
  try {
    m_groups.resize(sfwah::kGroupWindow + sfwah::kGroupSlack);
  } catch (...) {
    QRN_RAISE(2, "alloc groups failed");
  }
}

uint32_t SFWAHGroupReader::fill() {
  uint32_t* groups = m_groups.data();
  uint32_t at = m_kept;
  if (m_pendingCount != 0) {
    const uint32_t count = m_pendingCount;
    m_pendingCount = 0;
    at = putLongFill(at, m_pendingValue, count);
  }
  // The read position lives in locals here: the loop stores nothing but groups.
  const uint8_t* data = m_data;
  const uint8_t* end = m_end;
  while (at < sfwah::kGroupWindow) {
    if (data == end && !m_chunks.takeCodedSpan(data, end)) break;
    const uint32_t word = loadLE32(data);
    data += 4;
    if (((word >> 29) - 1) < 2) {
      at = putCompact(at, word);
      continue;
    }
    // A literal, a zero fill or a one fill, told apart by masks.
    const uint32_t literal = 0u - (word >> 31);
    const uint32_t ones = 0u - ((word >> 29) & 1);
    const uint32_t value = (word & kGroupBits & literal) | (kGroupBits & ones & ~literal);
    const uint32_t count = (1 & literal) | (fillCount(word) & ~literal);
    putSixteen(groups + at, value);
    if (count > 16) {
      at = putLongFill(at, value, count);
      continue;
    }
    at += count;
  }
  m_data = data;
  m_end = end;
  return at;
}

uint32_t SFWAHGroupReader::putLongFill(uint32_t at, uint32_t value, uint32_t count) {
  const uint32_t room = sfwah::kGroupWindow > at ? sfwah::kGroupWindow - at : 0;
  const uint32_t now = count < room ? count : room;
  std::fill_n(m_groups.data() + at, now, value);
  if (now < count) {
    m_pendingValue = value;
    m_pendingCount = count - now;
  }
  return at + now;
}

uint32_t SFWAHGroupReader::putCompact(uint32_t at, uint32_t word) {
  uint32_t words[3];
  expandWord(word, words);
  for (const uint32_t logical : words) {
    if (isLiteral(logical)) {
      m_groups[at++] = logical & kGroupBits;
    } else {
      std::fill_n(m_groups.data() + at, logical, 0u);
      at += logical;
    }
  }
  return at;
}

void SFWAHGroupReader::consume(uint32_t used, uint32_t held) {
  std::memmove(m_groups.data(), m_groups.data() + used, 4 * (held - used));
  m_kept = held - used;
}

void putGroups(std::span<uint32_t> span, SFWAHEncoder& out) {
  uint32_t* groups = span.data();
  const auto count = static_cast<uint32_t>(span.size());
  if (count == 0) return;
  // Blocks of 32 groups: a bit per group where a word starts (every literal,
  // the first group of each run, a run carried over from the block before
  // included). A word is finished when the next start shows where it ends:
  // a fill takes the groups up to it, a literal stays as it is. Word k goes
  // where group k was: every group it could still need lies past it.
  uint32_t* const words = groups;
  uint32_t* at = words;
  const auto wordOf = [](uint32_t group) {
    const uint32_t literal = 0u - static_cast<uint32_t>(group != 0 && group != kGroupBits);
    return ((group | kLiteralBit) & literal) | (group & kOneFill & ~literal);
  };
  // The word begun at `start`, ended by the next start at `next`.
  const auto finished = [](uint32_t word, uint32_t start, uint32_t next) {
    return word + ((next - start) & ((word >> 31) - 1));
  };
  uint32_t word = wordOf(groups[0]);
  uint32_t start = 0;
  uint32_t emptyBefore = 0;
  uint32_t fullBefore = 0;
  for (uint32_t base = 0; base < count; base += 32) {
    const uint32_t n = count - base < 32 ? count - base : 32;
    uint32_t empty = 0;
    uint32_t full = 0;
    markRuns(groups + base, n, empty, full);
    const uint32_t literals = ~(empty | full) & (n == 32 ? ~0u : (1u << n) - 1);
    uint32_t starts = literals | (empty & ~(empty << 1 | emptyBefore)) | (full & ~(full << 1 | fullBefore));
    if (base == 0) starts &= ~1u;
    emptyBefore = empty >> 31;
    fullBefore = full >> 31;
    if (literals == ~0u && base != 0) {
      // A block of literals only, the common block of a busy union: each
      // group is its word.
      *at++ = finished(word, start, base);
      markLiterals(groups + base, at, 31);
      at += 31;
      word = groups[base + 31] | kLiteralBit;
      start = base + 31;
      continue;
    }
    while (starts != 0) {
      const uint32_t i = static_cast<uint32_t>(std::countr_zero(starts));
      starts &= starts - 1;
      *at++ = finished(word, start, base + i);
      word = wordOf(groups[base + i]);
      start = base + i;
    }
  }
  *at++ = finished(word, start, count);
  out.putWords({words, at});
}

bool preferGroups(SFWAHChunks& first, SFWAHChunks& second) {
  const uint64_t words = uint64_t{first.segmentLength()} + second.segmentLength();
  // Small segments take the walk: the windows' set-up would cost more than it saves.
  if (2 * words < sfwah::kGroupWindow) return false;
  // The groups of the first side's first 1,024 words stand for the whole
  // segment, so that the choice costs at most that much reading.
  const SFWAHChunks::ReadMark mark = first.readMark();
  uint64_t groups = 0;
  uint64_t sampled = 0;
  const uint8_t* data = nullptr;
  for (uint32_t n = first.takeCodedWords(data); n != 0 && sampled < 1024; n = first.takeCodedWords(data)) {
    const uint32_t take = n < 1024 - sampled ? n : static_cast<uint32_t>(1024 - sampled);
    for (const uint8_t* end = data + 4 * take; data != end; data += 4) groups += groupsOf(loadLE32(data));
    sampled += take;
  }
  first.restoreMark(mark);
  // Both sides hold the same groups: twice the first side's over the words
  // of both. Divided, not multiplied out, since huge fills in a damaged image
  // would overflow the product.
  return sampled != 0 && 2 * groups <= uint64_t{sfwah::kGroupWayLimit} * words * sampled / first.segmentLength();
}

}  // namespace quern
