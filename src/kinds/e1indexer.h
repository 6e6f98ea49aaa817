// E1Indexer: the indexer of an equality field. Every value is one opaque
// term; each term keeps the records holding it, its first few as plain ids
// and from then on as a bitmap, so that the many values of a field that
// seldom repeat cost no bitmap until `write`, which encodes each posting
// list the same way either way. Nothing is written before `write`, which
// lays out the file:
//   posting lists in ascending term order (vector images, one segment),
//   at M: u32 segment count 1, u32 record count, u32 term count, then per
//         term u32 length, the bytes, u64 offset of its posting list,
//   the closing block holding M.
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "index/fieldindex.h"
#include "kinds/e1termtable.h"
#include "kinds/pagedarray.h"
#include "storage/memcache.h"

namespace quern {

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
  uint32_t termCount() const { return m_terms.size(); }

 private:
  static constexpr uint32_t kPlainIds = 3;
  static constexpr uint32_t kNoTerm = 0xFFFFFFFFu;
  static constexpr size_t kAhead = 8;  // prefetch distance of the sorted walks
  // The records of one term: ids while there are at most kPlainIds of them,
  // then a bitmap on the cache. Record ids start at 1, so an id of 0 is a
  // free place. Trivial and 16 bytes, so that a fresh page of postings is
  // not written before use; a new term's posting is value-initialized.
  struct Posting {
    uint32_t bitmap;  // 1 + its place in m_vectors; 0 while the ids suffice
    uint32_t ids[kPlainIds];
  };
  void addRecord(Posting& posting, uint32_t id);
  // A bitmap of the posting's plain ids.
  std::unique_ptr<SFWAHVector> bitmapOf(const Posting& posting, CMemCache* cache) const;
  // Sets bit `id` - 1, paying the gap behind the vector's last bit first.
  static void setBit(SFWAHVector& vector, uint32_t id);
  // Term numbers in the file's order: unsigned bytes, a prefix first.
  std::vector<uint32_t> sortedTerms() const;

  E1TermTable m_terms;
  PagedArray<Posting> m_postings;  // by term number
  std::vector<std::unique_ptr<SFWAHVector>> m_vectors;  // the bitmaps of m_postings
  uint32_t m_lastTerm = kNoTerm;
  std::unique_ptr<CMemCache> m_ownedCache;
  CMemCache* m_cache;
  uint32_t m_recordCount = 0;
  bool m_written = false;
};

}  // namespace quern
