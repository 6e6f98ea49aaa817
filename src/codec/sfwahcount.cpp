#include "codec/sfwahcount.h"

#include <bit>

#include "codec/sfwahvector.h"
#include "frame/exception.h"

namespace quern {

using namespace sfwah;

SFWAHCount::SFWAHCount(SFWAHVector* bits) : m_bits(bits) {
  if (bits == nullptr) QRN_RAISE(2, "invalid param(bits)");
}

uint32_t SFWAHCount::run() {
  SFWAHChunks& chunks = *m_bits->chunks();
  while (chunks.nextSegment()) {
    while (!m_cache.empty() || chunks.hasWords()) {
      if (m_cache.empty()) m_bits->decodeWord(m_cache);
      const uint32_t word = m_cache.pop();
      if (isLiteral(word)) {
        m_count += static_cast<uint32_t>(std::popcount(word & kGroupBits));
      } else if (isOneFill(word)) {
        m_count += fillCount(word) * kGroupSize;
      } else if (!isZeroFill(word)) {
        QRN_RAISE(1, "invalid first word(%u)", word);
      }
    }
    uint32_t tail = 0;
    chunks.readTail(tail);
    m_count += static_cast<uint32_t>(std::popcount(tail));
  }
  return m_count;
}

}  // namespace quern
