// FtIndexer: the indexer of a full-text field. Each value is cut into words
// by wordcleave; each term keeps the records that hold it and the word
// positions there (a POS list, codec/posvector.h), all in memory until
// `write`, which lays out the file:
//   one block per term, in ascending term id: record stream, i64 R,
//     u32 last record id, position stream, i64 P;
//   at T: u32 segment count 1, u32 record count, u32 term count, then per
//     term i32 id, i64 record end, i64 position end (the offsets just behind
//     the block's last record id and behind its P);
//   the closing block holding T.
// One thread at a time, and no other use of wordcleave between the cutting
// of a value and the last of its words.
#pragma once

#include <cstdint>
#include <memory>

#include "index/fieldindex.h"
#include "kinds/fttermtable.h"
#include "storage/memcache.h"

namespace quern {

class FtIndexer : public FieldIndexer {
 public:
  // Lists grow on `cache` (not owned), or on a cache of the indexer's own
  // when it is null. The id space is asked of wordcleave here.
  explicit FtIndexer(CMemCache* cache);
  ~FtIndexer() override;
  FtIndexer(const FtIndexer&) = delete;
  FtIndexer& operator=(const FtIndexer&) = delete;

  // Raises level 2 "invalid param data or size(%u)" for null data or size 0,
  // "slice text fail, %s" when the text cannot be cut, and level 1
  // "term id (%d) is wrong, size(%u)" for an id outside the id space. A
  // value without words is a record all the same.
  void add(const void* data, uint32_t size) override;
  // Completes every list and writes the file. No `add` or `write` may follow.
  void write(COutputDesc* output) override;
  uint32_t cacheBytes() const override;

  uint32_t recordCount() const { return m_recordCount; }
  uint32_t termCount() const { return m_terms->size(); }

 private:
  std::unique_ptr<CMemCache> m_ownedCache;
  CMemCache* m_cache;
  uint32_t m_termsSize;
  std::unique_ptr<FtTermTable> m_terms;
  uint32_t m_recordCount = 0;
  bool m_written = false;
};

}  // namespace quern
