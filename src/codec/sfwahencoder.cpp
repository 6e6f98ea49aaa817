#include "codec/sfwahencoder.h"

#include <bit>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "codec/sfwahvector.h"
#include "base/exception.h"

namespace quern {

using namespace sfwah;

namespace {

// Byte index (0 to 3) of a single-byte literal's one non-zero byte.
uint32_t byteIndex(uint32_t literal) { return static_cast<uint32_t>(std::countr_zero(literal & kGroupBits)) / 8; }

uint32_t byteValue(uint32_t literal) { return ((literal & kGroupBits) >> (8 * byteIndex(literal))) & 0xFF; }

uint32_t makeLFL(uint32_t first, uint32_t fill, uint32_t last) {
  return kLFL | byteIndex(first) << 27 | byteIndex(last) << 25 | byteValue(first) << 16 | fill << 8 | byteValue(last);
}

uint32_t makeFLF(uint32_t fill1, uint32_t literal, uint32_t fill2) {
  return kFLF | byteIndex(literal) << 27 | fill1 << 16 | byteValue(literal) << 8 | fill2;
}

// One bit per word, for up to 64 words, of each kind of word that matters
// to the compact forms.
struct WordKinds {
  uint64_t plain = 0;      // a literal that joins no compact word
  uint64_t single = 0;     // a single-byte literal
  uint64_t shortZero = 0;  // a zero fill of fewer than 256 groups
  uint64_t zero = 0;
  uint64_t one = 0;
};

WordKinds kindsOf(const uint32_t* words, uint32_t count) {
  WordKinds kinds;
  uint32_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  const __m128i groupBits = _mm_set1_epi32(static_cast<int>(kGroupBits));
  const __m128i kindMask = _mm_set1_epi32(static_cast<int>(kKindMask));
  const __m128i oneFill = _mm_set1_epi32(static_cast<int>(kOneFill));
  const __m128i countHigh = _mm_set1_epi32(static_cast<int>(0xFFFFFF00u));
  const __m128i notByte0 = _mm_set1_epi32(static_cast<int>(0x7FFFFF00u));
  const __m128i notByte1 = _mm_set1_epi32(static_cast<int>(0x7FFF00FFu));
  const __m128i notByte2 = _mm_set1_epi32(static_cast<int>(0x7F00FFFFu));
  const __m128i notByte3 = _mm_set1_epi32(static_cast<int>(0x00FFFFFFu));
  const auto bitsOf = [](__m128i lanes) { return static_cast<uint64_t>(_mm_movemask_ps(_mm_castsi128_ps(lanes))); };
  for (; i + 4 <= count; i += 4) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(words + i));
    const __m128i literal = _mm_srai_epi32(x, 31);
    const __m128i bits = _mm_and_si128(x, groupBits);
    const __m128i oneByte = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(bits, notByte0), zero),
                     _mm_cmpeq_epi32(_mm_and_si128(bits, notByte1), zero)),
        _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(bits, notByte2), zero),
                     _mm_cmpeq_epi32(_mm_and_si128(bits, notByte3), zero)));
    const __m128i single = _mm_andnot_si128(_mm_cmpeq_epi32(bits, zero), _mm_and_si128(oneByte, literal));
    const __m128i kind = _mm_and_si128(x, kindMask);
    kinds.plain |= bitsOf(_mm_andnot_si128(single, literal)) << i;
    kinds.single |= bitsOf(single) << i;
    kinds.shortZero |= bitsOf(_mm_cmpeq_epi32(_mm_and_si128(x, countHigh), zero)) << i;
    kinds.zero |= bitsOf(_mm_cmpeq_epi32(kind, zero)) << i;
    kinds.one |= bitsOf(_mm_cmpeq_epi32(kind, oneFill)) << i;
  }
#endif
  for (; i < count; ++i) {
    const uint32_t word = words[i];
    const bool single = isLiteral(word) && isSingleByte(word);
    kinds.plain |= static_cast<uint64_t>(isLiteral(word) && !single) << i;
    kinds.single |= static_cast<uint64_t>(single) << i;
    kinds.shortZero |= static_cast<uint64_t>((word & 0xFFFFFF00u) == 0) << i;
    kinds.zero |= static_cast<uint64_t>(isZeroFill(word)) << i;
    kinds.one |= static_cast<uint64_t>(isOneFill(word)) << i;
  }
  return kinds;
}

// The bits of words `shift` places on: those of `marks`, then of `next`.
uint64_t ahead(uint64_t marks, uint64_t next, uint32_t shift) { return marks >> shift | next << (64 - shift); }

// The first marked word at or after `from`, or `end` when none is before it.
uint32_t nextMark(const std::vector<uint64_t>& marks, uint32_t from, uint32_t end) {
  for (uint32_t entry = from / 64; 64 * entry < end; ++entry) {
    uint64_t bits = marks[entry];
    if (entry == from / 64) bits &= ~uint64_t{0} << (from % 64);
    if (bits == 0) continue;
    const uint32_t at = 64 * entry + static_cast<uint32_t>(std::countr_zero(bits));
    return at < end ? at : end;
  }
  return end;
}

}  // namespace

SFWAHEncoder::SFWAHEncoder(SFWAHVector* vector) { setVector(vector); }

SFWAHEncoder::SFWAHEncoder(SFWAHVector* vector, uint32_t activeWord, uint32_t activeBits, uint32_t state,
                           const SFWAHWordCache* cache)
    : m_activeWord(activeWord), m_activeBits(activeBits), m_state(state) {
  setVector(vector);
  if (cache == nullptr) QRN_RAISE(2, "Invalid param(cache)");
  for (uint32_t i = 0; i < cache->size(); ++i) m_cache.push(cache->get(i));
}

void SFWAHEncoder::setVector(SFWAHVector* vector) {
  if (vector == nullptr) QRN_RAISE(2, "Invalid param(bitVector)");
  m_vector = vector;
  m_out = vector->chunks();
}

void SFWAHEncoder::appendBit(uint32_t bit) {
  m_activeWord = m_activeWord * 2 + (bit & 1);
  if (++m_activeBits < kGroupSize) return;
  const uint32_t group = m_activeWord;
  m_activeWord = 0;
  m_activeBits = 0;
  if (group == 0) {
    putWord(1);
  } else if (group == kGroupBits) {
    putWord(kOneFill | 1);
  } else {
    putWord(group | kLiteralBit);
  }
}

void SFWAHEncoder::fillActive(uint32_t count, uint32_t bit) {
  if (count == 0) return;
  // All but the last bit at once; the last goes through appendBit, which
  // puts the group when it is full.
  const uint32_t shift = count - 1;
  m_activeWord = m_activeWord << shift | (bit != 0 ? (1u << shift) - 1 : 0);
  m_activeBits += shift;
  appendBit(bit);
}

void SFWAHEncoder::appendZeros(uint32_t count) {
  if (m_activeBits != 0) {
    const uint32_t take = count < kGroupSize - m_activeBits ? count : kGroupSize - m_activeBits;
    fillActive(take, 0);
    count -= take;
  }
  if (count == 0) return;
  uint32_t groups = count / kGroupSize;
  while (groups > kMaxCount) {
    putWord(kMaxCount);
    groups -= kMaxCount;
  }
  if (groups != 0) putWord(groups);
  m_activeWord = 0;
  m_activeBits = count % kGroupSize;
}

void SFWAHEncoder::appendOnes(uint32_t count) {
  if (count == 0) QRN_RAISE(2, "invalid param ones(%u)", count);
  if (m_activeBits != 0) {
    const uint32_t take = count < kGroupSize - m_activeBits ? count : kGroupSize - m_activeBits;
    fillActive(take, 1);
    count -= take;
  }
  if (count == 0) return;
  uint32_t groups = count / kGroupSize;
  while (groups > kMaxCount) {
    putWord(kOneFill | kMaxCount);
    groups -= kMaxCount;
  }
  if (groups != 0) putWord(kOneFill | groups);
  m_activeBits = count % kGroupSize;
  m_activeWord = (1u << m_activeBits) - 1;
}

void SFWAHEncoder::putCachedWord(uint32_t word) {
  if (m_state > 7) QRN_RAISE(1, "invalid state(%d)", static_cast<int>(m_state));
  if (isLiteral(word)) {
    if (isSingleByte(word)) {
      putSingleByte(word);
    } else {
      flush();
      emit(word);
    }
  } else if (isOneFill(word)) {
    putOneFill(word);
  } else {
    putZeroFill(fillCount(word));
  }
}

void SFWAHEncoder::putZeroFill(uint32_t count) {
  switch (m_state) {
    case 0:
      m_cache.push(count);
      setStateBySize(count);
      break;
    case 1:
    case 2: {
      const uint32_t merged = mergeCount(m_cache.back(), count, kMaxCount);
      m_cache.back() = merged;
      setStateBySize(merged);
      break;
    }
    case 3:
      if (count < 256) {
        m_cache.push(count);
        m_state = 4;
      } else {
        emit(m_cache.pop());
        m_cache.push(count);
        m_state = 2;
      }
      break;
    case 4: {
      const uint32_t total = m_cache.back() + count;
      if (total < 256) {
        m_cache.back() = total;
        break;
      }
      emit(m_cache.pop());
      const uint32_t merged = mergeCount(m_cache.back(), count, kMaxCount);
      m_cache.back() = merged;
      setStateBySize(merged);
      break;
    }
    case 5:
      if (count < 256) {
        m_cache.push(count);
        m_state = 6;
      } else {
        emit(makeFLF(m_cache.get(0), m_cache.get(1), 255));
        m_cache.clear();
        m_cache.push(count - 255);
        setStateBySize(count - 255);
      }
      break;
    case 6: {
      const uint32_t total = m_cache.back() + count;
      if (total < 256) {
        m_cache.back() = total;
        break;
      }
      emit(makeFLF(m_cache.get(0), m_cache.get(1), 255));
      m_cache.clear();
      m_cache.push(total - 255);
      setStateBySize(total - 255);
      break;
    }
    default:  // 7
      flush();
      m_cache.push(count);
      setStateBySize(count);
      break;
  }
}

void SFWAHEncoder::putOneFill(uint32_t word) {
  if (m_state == 7) {
    const uint32_t merged = mergeCount(fillCount(m_cache.back()), fillCount(word), kOneFill | kMaxCount);
    m_cache.back() = kOneFill | merged;
    return;
  }
  flush();
  m_cache.push(word);
  m_state = 7;
}

void SFWAHEncoder::putSingleByte(uint32_t literal) {
  switch (m_state) {
    case 0:
      m_state = 3;
      break;
    case 1:
      m_state = 5;
      break;
    case 4:
      emit(makeLFL(m_cache.get(0), m_cache.get(1), literal));
      m_cache.clear();
      m_state = 0;
      return;
    default:
      flush();
      m_state = 3;
      break;
  }
  m_cache.push(literal);
}

void SFWAHEncoder::flush() {
  if (m_state == 6) {
    emit(makeFLF(m_cache.get(0), m_cache.get(1), m_cache.get(2)));
  } else {
    for (uint32_t i = 0; i < m_cache.size(); ++i) emit(m_cache.get(i));
  }
  m_cache.clear();
  m_state = 0;
}

uint32_t SFWAHEncoder::mergeCount(uint32_t count, uint32_t add, uint32_t fullWord) {
  uint32_t sum = count + add;  // both at most 0x1FFFFFFF: no overflow
  if (sum > kMaxCount) {
    emit(fullWord);
    sum -= kMaxCount;
  }
  return sum;
}

void SFWAHEncoder::putWords(std::span<const uint32_t> span) {
  const uint32_t* words = span.data();
  const auto count = static_cast<uint32_t>(span.size());
  markWords(words, count);
  // Words after the last plain literal may join the next call's: they go
  // word by word.
  uint32_t end = count;
  while (end != 0 && (m_plainMarks[(end - 1) / 64] >> ((end - 1) % 64) & 1) == 0) --end;
  uint32_t i = 0;
  while (i < end) {
    if (m_state != 0) {
      putWord(words[i++]);
      continue;
    }
    const uint32_t stop = nextMergeStretch(i, end);
    i = putPatterns(words, i, stop);
    if (i == stop && i < end) putWord(words[i++]);
  }
  for (; i < count; ++i) putWord(words[i]);
}

void SFWAHEncoder::markWords(const uint32_t* words, uint32_t count) {
  const uint32_t entries = (count + 63) / 64;
  try {
    m_plainMarks.resize(entries);
    m_patternMarks.resize(entries);
    m_mergeMarks.resize(entries);
  } catch (...) {
    QRN_RAISE(2, "alloc word marks failed");
  }
  WordKinds now = kindsOf(words, count < 64 ? count : 64);
  for (uint32_t entry = 0; entry < entries; ++entry) {
    const uint32_t base = 64 * (entry + 1);
    const WordKinds next = base < count ? kindsOf(words + base, count - base < 64 ? count - base : 64) : WordKinds{};
    const uint64_t lfl = now.single & ahead(now.shortZero, next.shortZero, 1) & ahead(now.single, next.single, 2);
    const uint64_t flf = now.shortZero & ahead(now.single, next.single, 1) & ahead(now.zero, next.zero, 2);
    m_plainMarks[entry] = now.plain;
    m_patternMarks[entry] = lfl | flf;
    m_mergeMarks[entry] = (now.zero & ahead(now.zero, next.zero, 1)) | (now.one & ahead(now.one, next.one, 1));
    now = next;
  }
}

uint32_t SFWAHEncoder::nextMergeStretch(uint32_t from, uint32_t end) const {
  const uint32_t at = nextMark(m_mergeMarks, from, end);
  if (at == end) return end;
  // The stretch starts after the last plain literal before the merge.
  for (uint32_t back = at / 64 + 1; back-- > from / 64;) {
    uint64_t plain = m_plainMarks[back];
    if (back == at / 64) plain &= (uint64_t{1} << (at % 64)) - 1;
    if (plain == 0) continue;
    const uint32_t start = 64 * back + 64 - static_cast<uint32_t>(std::countl_zero(plain));
    return start > from ? start : from;
  }
  return from;
}

uint32_t SFWAHEncoder::putPatterns(const uint32_t* words, uint32_t from, uint32_t stop) {
  for (uint32_t i = from;;) {
    const uint32_t at = nextMark(m_patternMarks, i, stop);
    if (at != i) m_out->appendWords({words + i, at - i});
    if (at == stop) return stop;
    const uint32_t first = words[at];
    const uint32_t middle = words[at + 1];
    const uint32_t last = words[at + 2];
    if (isLiteral(first)) {
      emit(makeLFL(first, middle, last));
    } else if (last < 256) {
      emit(makeFLF(first, middle, last));
    } else {
      // As in state 5: the compact word takes 255 groups of the fill.
      emit(makeFLF(first, middle, 255));
      m_cache.push(last - 255);
      setStateBySize(last - 255);
      return at + 3;
    }
    i = at + 3;
  }
}

void SFWAHEncoder::finish() {
  flush();
  const uint32_t tail = m_activeBits == 0 ? 0 : m_activeWord << (32 - m_activeBits);
  emit(tail);
  emit(m_activeBits);
  m_activeWord = 0;
  m_activeBits = 0;
}

}  // namespace quern
