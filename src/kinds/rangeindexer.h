// RangeIndexer: the indexer of a Range field. For every distinct value v it
// keeps the cumulative set of v: the records whose value is at or below v
// (value order: unsigned bytes, the shorter first on a tie), so that any
// range is later the difference of two sets. Sets lag behind the record
// count: the set of the last value is whole, and the bits another set misses
// are all 0 when its value is below the last value and all 1 when above;
// they are written when a change of value passes the set, or at `write`.
// Nothing is written before `write`, which lays out the file:
//   the set images in ascending value order (vector images, one segment),
//   at T: the table of index/fieldtable.h, segment count 1 and the record
//         count, one row per value with the offset of its image,
//   the closing block holding T.
// One thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "index/fieldindex.h"
#include "storage/bytearena.h"
#include "storage/memcache.h"

namespace quern {

class RangeIndexer : public FieldIndexer {
 public:
  // Sets grow on `cache` (not owned), or on a cache of the indexer's own
  // when it is null.
  explicit RangeIndexer(CMemCache* cache);
  ~RangeIndexer() override;
  RangeIndexer(const RangeIndexer&) = delete;
  RangeIndexer& operator=(const RangeIndexer&) = delete;

  // Raises level 2 "invalid param data or size(%u)" for null data or size 0.
  // A repeat of the last value is one comparison and one bit.
  void add(const void* data, uint32_t size) override;
  // Completes every set to the record count and writes the file. No `add`
  // or `write` may follow.
  void write(COutputDesc* output) override;
  uint32_t cacheBytes() const override;

  uint32_t recordCount() const { return m_recordCount; }
  uint32_t valueCount() const { return static_cast<uint32_t>(m_map.size()); }

 private:
  // A cumulative set. While all its bits are alike it is that bit and a
  // count, with no vector: a value that comes above all others and is then
  // passed by higher ones (time as it grows) stays ones until `write`,
  // which encodes such sets one at a time on a scratch cache.
  struct Set {
    uint32_t length = 0;   // bits given so far
    uint32_t vector = 0;   // 1 + place in m_vectors; 0 while the bits are alike
    uint32_t uniform = 0;  // the bit they all are, while there is no vector
  };
  using Map = std::pmr::map<std::string_view, Set, std::less<>>;

  // Takes `value`, new or not, as the last value: the sets between the old
  // last value and it get their missing bits.
  void change(std::string_view value);
  // A new value's set, placed before `above` (the first value above it).
  Set newSet(Map::iterator above);
  void appendRun(Set& set, uint32_t bit, uint32_t count);
  // The set's missing bits up to the record count, all `bit`.
  void complete(Set& set, uint32_t bit) {
    if (set.length < m_recordCount) appendRun(set, bit, m_recordCount - set.length);
  }

  std::unique_ptr<CMemCache> m_ownedCache;
  CMemCache* m_cache;
  ByteArena m_bytes;                    // the values' bytes, once each
  std::pmr::monotonic_buffer_resource m_nodes;  // the map's nodes, freed at once
  Map m_map{&m_nodes};
  std::vector<std::unique_ptr<SFWAHVector>> m_vectors;  // the sets that have one
  Map::iterator m_last;  // valid once a value is added
  uint32_t m_recordCount = 0;
  bool m_written = false;
};

}  // namespace quern
