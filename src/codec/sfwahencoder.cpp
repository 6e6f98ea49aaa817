#include "codec/sfwahencoder.h"

#include <bit>

#include "codec/sfwahvector.h"
#include "frame/exception.h"

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

void SFWAHEncoder::finish() {
  flush();
  const uint32_t tail = m_activeBits == 0 ? 0 : m_activeWord << (32 - m_activeBits);
  emit(tail);
  emit(m_activeBits);
  m_activeWord = 0;
  m_activeBits = 0;
}

}  // namespace quern
