// FtTermTable: the full-text indexer's lists by term id. Ids are hashes
// spread over the whole id space (2^31 values), so an array of pointers
// indexed by the whole id would need billions of entries, and pages of such
// an array would each be made for one or two terms. Instead the id's top 12
// bits pick one of 4,096 pages, made on first use, and its low bits a slot
// in the page: an open-addressing array of pointers to the terms, doubled
// when half full, with each term's id kept beside its list. A term costs two
// pointers at most; a lookup is an array index and, now and then, a step to
// the next slot. The terms themselves live in the indexer's cache.
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/posvector.h"
#include "storage/memcache.h"

namespace quern {

struct FtTerm {
  POSPostings postings;
  int32_t id;
};

class FtTermTable {
 public:
  static constexpr uint32_t kPageBits = 12;
  static constexpr uint32_t kFirstPageSlots = 8;

  // For ids from 0 to `size` - 1.
  explicit FtTermTable(uint32_t size);
  FtTermTable(const FtTermTable&) = delete;
  FtTermTable& operator=(const FtTermTable&) = delete;

  // The term of `id` (below the size), made in `cache` when it is new.
  FtTerm& findOrAdd(int32_t id, CMemCache& cache) {
    Page& page = m_pages[static_cast<uint32_t>(id) >> m_pageShift];
    if (page.slots) {
      for (uint32_t at = static_cast<uint32_t>(id) & page.mask;; at = (at + 1) & page.mask) {
        FtTerm* term = page.slots[at];
        if (term == nullptr) break;
        if (term->id == id) return *term;
      }
    }
    return add(page, id, cache);
  }
  uint32_t size() const { return m_count; }
  // Every term, in ascending id.
  std::vector<FtTerm*> sorted() const;

 private:
  struct Page {
    std::unique_ptr<FtTerm*[]> slots;
    uint32_t mask = 0;
    uint32_t used = 0;
  };
  FtTerm& add(Page& page, int32_t id, CMemCache& cache);
  // Doubles the page (or makes it) and puts its terms back.
  static void grow(Page& page);
  static void place(Page& page, FtTerm* term);

  std::vector<Page> m_pages;
  uint32_t m_pageShift;
  uint32_t m_count = 0;
};

}  // namespace quern
