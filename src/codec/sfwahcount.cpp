#include "codec/sfwahcount.h"

#include <bit>

#include "codec/sfwahvector.h"
#include "frame/exception.h"

namespace quern {

using namespace sfwah;

SFWAHCount::SFWAHCount(SFWAHVector* bits) : m_bits(bits) {
  if (bits == nullptr) QRN_RAISE(2, "invalid param(bits)");
}

namespace {

// One bits of a stored word, compact words included.
uint32_t onesIn(uint32_t word) {
  switch (word >> 29) {
    case 0:
      return 0;
    case 1:
      return static_cast<uint32_t>(std::popcount((word >> 16) & 0xFF) + std::popcount(word & 0xFF));
    case 2:
      return static_cast<uint32_t>(std::popcount((word >> 8) & 0xFF));
    case 3:
      return fillCount(word) * kGroupSize;
    default:
      return static_cast<uint32_t>(std::popcount(word & kGroupBits));
  }
}

}  // namespace

// Stored words are counted as they stand: a compact word's fill holds no
// ones, so nothing needs expanding.
uint32_t SFWAHCount::run() {
  SFWAHChunks& chunks = *m_bits->chunks();
  while (chunks.nextSegment()) {
    const uint8_t* data = nullptr;
    for (uint32_t n = chunks.takeCodedWords(data); n != 0; n = chunks.takeCodedWords(data)) {
      for (const uint8_t* end = data + 4 * n; data != end; data += 4) m_count += onesIn(loadLE32(data));
    }
    uint32_t tail = 0;
    chunks.readTail(tail);
    m_count += static_cast<uint32_t>(std::popcount(tail));
  }
  return m_count;
}

}  // namespace quern
