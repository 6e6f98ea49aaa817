#include "codec/vintchunks.h"

#include <algorithm>
#include <new>

#include "base/exception.h"
#include "storage/outputdesc.h"

namespace quern {

void VINTChunks::makeChunk(CMemCache& cache) {
  const uint32_t capacity = m_last == nullptr ? kFirstChunk
                                              : static_cast<uint32_t>(std::min<uint64_t>(
                                                    uint64_t{m_capacitySum} * 3 / 2, kLargestChunk));
  void* block = cache.allocAligned(static_cast<uint32_t>(sizeof(VINTChunk)) + capacity, alignof(VINTChunk));
  auto* chunk = new (block) VINTChunk{nullptr, capacity, 0};
  chunk->next = m_last == nullptr ? chunk : m_last->next;
  if (m_last != nullptr) m_last->next = chunk;
  m_last = chunk;
  m_capacitySum += capacity;
}

void VINTChunks::writeTo(COutputDesc* desc) const {
  if (desc == nullptr) QRN_RAISE(2, "desc is null");
  uint64_t written = 0;
  if (const VINTChunk* chunk = first()) {
    for (;; chunk = chunk->next) {
      desc->file().writeChars(chunk->data(), chunk->used);
      written += chunk->used;
      if (chunk == m_last) break;
    }
  }
  if (static_cast<uint32_t>(written) != static_cast<uint32_t>(m_byteCount)) {
    QRN_RAISE(2, "%d != %d", static_cast<int>(written), static_cast<int>(m_byteCount));
  }
}

}  // namespace quern
