#include "storage/memcache.h"

#include <algorithm>
#include <new>

#include "base/exception.h"
#include "base/guard.h"

namespace quern {

uint8_t* CMemCache::alloc(uint32_t size) {
  MemChunk* target = nullptr;
  for (const auto& chunk : m_memList) {
    if (chunk->capacity - chunk->used >= size) {
      target = chunk.get();
      break;
    }
  }
  if (target == nullptr) target = &addChunk(size);
  uint8_t* block = target->base.get() + target->used;
  target->used += size;
  return block;
}

CMemCache::MemChunk& CMemCache::addChunk(uint32_t size) {
  std::unique_ptr<MemChunk> chunk(new (std::nothrow) MemChunk);
  if (!chunk) QRN_RAISE(2, "alloc chunk failed");
  const uint32_t capacity = size > m_nextChunk ? size : m_nextChunk;
  chunk->base.reset(new (std::nothrow) uint8_t[capacity]);
  if (!chunk->base) QRN_RAISE(2, "alloc chunk size %u failed", capacity);
  chunk->capacity = capacity;
  raiseAs(QRN_SITE(2), "m_memList push_back", [&] {
    m_memList.push_back(std::move(chunk));
  });
  m_nextChunk = static_cast<uint32_t>(std::min<uint64_t>(uint64_t{m_nextChunk} * 2, m_minChunk));
  return *m_memList.back();
}

void CMemCache::clear() { m_memList.clear(); }

void CMemCache::rewind() {
  for (const auto& chunk : m_memList) chunk->used = 0;
}

uint32_t CMemCache::totalBytes() const {
  uint32_t total = 0;
  for (const auto& chunk : m_memList) total += chunk->capacity;
  return total;
}

}  // namespace quern
