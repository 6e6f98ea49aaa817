// E1Indexer: the indexer of an equality field. Every value is one opaque
// term; each term keeps one bitmap of the records holding it. Nothing is
// written before `write`, which lays out the file:
//   posting lists in ascending term order (vector images, one segment),
//   at M: u32 segment count 1, u32 record count, u32 term count, then per
//         term u32 length, the bytes, u64 offset of its posting list,
//   the closing block holding M.
// One thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "index/fieldindex.h"
#include "storage/memcache.h"

namespace quern {

// Hashes strings and views alike, so that a lookup needs no copy.
struct TermHash {
  using is_transparent = void;
  size_t operator()(std::string_view term) const { return std::hash<std::string_view>{}(term); }
};

class E1Indexer : public FieldIndexer {
 public:
  // Bitmaps grow on `cache` (not owned), or on a cache of the indexer's own
  // when it is null.
  explicit E1Indexer(CMemCache* cache);
  ~E1Indexer() override;
  E1Indexer(const E1Indexer&) = delete;
  E1Indexer& operator=(const E1Indexer&) = delete;

  // Raises level 2 "invalid data or size(%u)" for null data or size 0.
  void add(const void* data, uint32_t size) override;
  // Brings every bitmap to the record count and writes the file. No `add`
  // or `write` may follow.
  void write(COutputDesc* output) override;
  uint32_t cacheBytes() const override;

  uint32_t recordCount() const { return m_recordCount; }
  uint32_t termCount() const { return static_cast<uint32_t>(m_vectors.size()); }

 private:
  SFWAHVector* newTerm(const void* data, uint32_t size);

  std::unordered_map<std::string, SFWAHVector*, TermHash, std::equal_to<>> m_termTable;
  std::vector<std::unique_ptr<SFWAHVector>> m_vectors;  // in order of first occurrence
  SFWAHVector* m_lastVector = nullptr;
  std::string m_lastValue;
  std::unique_ptr<CMemCache> m_ownedCache;
  CMemCache* m_cache;
  uint32_t m_recordCount = 0;
  bool m_written = false;
};

}  // namespace quern
