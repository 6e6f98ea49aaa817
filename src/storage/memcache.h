// CMemCache: a bump allocator over chunks of at least 1 MiB (or of the
// minimum it was made with), freed all at once by `clear`. Blocks are not
// aligned; word-oriented users copy through memcpy. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace quern {

class CMemCache {
 public:
  static constexpr uint32_t kMinChunk = 0x100000;

  // `minChunk` below 1 MiB suits a cache that holds one block of known size.
  // A `firstChunk` below it makes the chunks start there and double up to
  // `minChunk`, so that a cache that mostly stays small (a query's set)
  // costs little.
  explicit CMemCache(uint32_t minChunk = kMinChunk, uint32_t firstChunk = 0)
      : m_minChunk(minChunk), m_nextChunk(firstChunk == 0 || firstChunk > minChunk ? minChunk : firstChunk) {}
  virtual ~CMemCache() = default;
  CMemCache(const CMemCache&) = delete;
  CMemCache& operator=(const CMemCache&) = delete;

  // A block of `size` bytes, valid until `clear` or destruction. First fit
  // from the oldest chunk; a new chunk when none has room.
  uint8_t* alloc(uint32_t size);
  // A block of `size` bytes at an address that is a multiple of
  // `alignment` (a power of two), for objects placed in the cache.
  void* allocAligned(uint32_t size, uint32_t alignment) {
    const auto address = reinterpret_cast<uintptr_t>(alloc(size + alignment - 1));
    return reinterpret_cast<void*>((address + alignment - 1) & ~uintptr_t{alignment - 1});
  }
  void clear();
  // Makes all the chunks' room free again and keeps the chunks, for a cache
  // that serves one short-lived object after another.
  void rewind();
  // Bytes held from the system: the sum of the chunks' capacities.
  uint32_t totalBytes() const;

 private:
  struct MemChunk {
    std::unique_ptr<uint8_t[]> base;
    uint32_t used = 0;
    uint32_t capacity = 0;
  };
  MemChunk& addChunk(uint32_t size);

  std::vector<std::unique_ptr<MemChunk>> m_memList;
  uint32_t m_minChunk;
  uint32_t m_nextChunk;  // the size of the next chunk, short of a larger block
};

}  // namespace quern
