#include "codec/sfwahcount.h"

#include "codec/sfwahbytes.h"
#include "codec/sfwahspan.h"
#include "codec/sfwahvector.h"
#include "base/exception.h"

namespace quern {

using namespace sfwah;

SFWAHCount::SFWAHCount(SFWAHVector* bits) : m_bits(bits) {
  if (bits == nullptr) QRN_RAISE(2, "invalid param(bits)");
}

// Stored words are counted as they stand: a compact word's fill holds no
// ones, so nothing needs expanding.
uint32_t SFWAHCount::run() {
  SFWAHChunks& chunks = *m_bits->chunks();
  uint32_t count = m_count;
  while (chunks.nextSegment()) {
    chunks.forEachCodedSpan([&count](const uint8_t* data, uint32_t n) { count += onesInSpan(data, n); });
    uint32_t tail = 0;
    chunks.readTail(tail);
    count += onesIn32(tail);
  }
  m_count = count;
  return count;
}

}  // namespace quern
