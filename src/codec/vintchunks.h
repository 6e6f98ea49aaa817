// VINTChunks: the write side of a VINT stream, an append-only list of
// unsigned 32-bit values in the vint form of CFileOutput::writeVInt (7 bits a
// byte, low group first, top bit set while more follow). The bytes grow in
// chunks taken from a CMemCache: 16 bytes first, then each chunk half again
// the capacity of all chunks so far (16, 24, 60, 150, ...), so a stream
// reaches large chunks in a few steps and nothing is ever moved. A value
// never straddles two chunks: a chunk with fewer than six bytes free is left.
// On disk a stream is its bytes alone; whoever writes it keeps its length.
// Small and trivially destructible (the chunks belong to the cache), so that
// an indexer can keep two per term in its cache. One thread at a time.
#pragma once

#include <cstdint>

#include "storage/memcache.h"

namespace quern {

class COutputDesc;

// The vint form of `value` at `out`, which has room for five bytes; gives
// its length.
inline uint32_t encodeVInt(uint32_t value, uint8_t* out) {
  uint32_t length = 1;
  for (; value >= 0x80; value >>= 7, ++length) *out++ = static_cast<uint8_t>(value | 0x80);
  *out = static_cast<uint8_t>(value);
  return length;
}

// The value whose vint form starts at `p` and ends before `end`; gives its
// length, or 0 when the bytes end first or a sixth byte would be needed.
inline uint32_t decodeVInt(const uint8_t* p, const uint8_t* end, uint32_t& value) {
  value = 0;
  for (uint32_t length = 1; p < end && length <= 5; ++p, ++length) {
    value |= static_cast<uint32_t>(*p & 0x7F) << (7 * (length - 1));
    if (*p < 0x80) return length;
  }
  return 0;
}

// A chunk's record, at the start of its block in the cache; the data follows.
struct VINTChunk {
  VINTChunk* next;  // the first chunk, from the last: the list is a ring
  uint32_t capacity;
  uint32_t used;
  uint8_t* data() { return reinterpret_cast<uint8_t*>(this + 1); }
  const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(this + 1); }
};

class VINTChunks {
 public:
  static constexpr uint32_t kFirstChunk = 16;
  // The longest form of a value.
  static constexpr uint32_t kMaxValueBytes = 5;
  // Growth stops here, so that a huge stream never asks for an absurd block.
  static constexpr uint32_t kLargestChunk = 1u << 26;

  // Appends `value`, taking a new chunk from `cache` when the last one has
  // too little room.
  void put(uint32_t value, CMemCache& cache) {
    if (m_last == nullptr || m_last->used + kMaxValueBytes >= m_last->capacity) makeChunk(cache);
    const uint32_t length = encodeVInt(value, m_last->data() + m_last->used);
    m_last->used += length;
    m_byteCount += length;
  }
  // Writes every chunk's used bytes in order. A null descriptor raises level
  // 2 "desc is null"; bytes written that differ from `size()` "%d != %d".
  void writeTo(COutputDesc* desc) const;
  // Bytes of the stream: those put in, or those counted.
  uint64_t size() const { return m_byteCount; }
  // Adds bytes that went past the list, as a merge does that copies streams
  // from file to file and keeps only their length here.
  void count(uint64_t bytes) { m_byteCount += bytes; }
  uint32_t capacitySum() const { return m_capacitySum; }
  // The first chunk, or null for an empty list; `next` of the last is it again.
  const VINTChunk* first() const { return m_last == nullptr ? nullptr : m_last->next; }
  const VINTChunk* last() const { return m_last; }

 private:
  void makeChunk(CMemCache& cache);

  VINTChunk* m_last = nullptr;
  uint64_t m_byteCount = 0;
  uint32_t m_capacitySum = 0;
};

}  // namespace quern
