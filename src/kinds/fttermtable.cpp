#include "kinds/fttermtable.h"

#include <algorithm>
#include <bit>
#include <new>

namespace quern {

FtTermTable::FtTermTable(uint32_t size)
    : m_pages(size_t{1} << kPageBits),
      m_pageShift(static_cast<uint32_t>(std::max<int>(0, std::bit_width(size) - static_cast<int>(kPageBits)))) {}

FtTerm& FtTermTable::add(Page& page, int32_t id, CMemCache& cache) {
  if (2 * (page.used + 1) > page.mask + 1) grow(page);
  auto* term = new (cache.allocAligned(sizeof(FtTerm), alignof(FtTerm))) FtTerm{POSPostings{}, id};
  place(page, term);
  ++page.used;
  ++m_count;
  return *term;
}

void FtTermTable::grow(Page& page) {
  const uint32_t slots = page.slots ? 2 * (page.mask + 1) : kFirstPageSlots;
  std::unique_ptr<FtTerm*[]> old = std::move(page.slots);
  const uint32_t oldSlots = old ? page.mask + 1 : 0;
  page.slots = std::make_unique<FtTerm*[]>(slots);
  page.mask = slots - 1;
  for (uint32_t i = 0; i < oldSlots; ++i) {
    if (old[i] != nullptr) place(page, old[i]);
  }
}

void FtTermTable::place(Page& page, FtTerm* term) {
  uint32_t at = static_cast<uint32_t>(term->id) & page.mask;
  while (page.slots[at] != nullptr) at = (at + 1) & page.mask;
  page.slots[at] = term;
}

std::vector<FtTerm*> FtTermTable::sorted() const {
  // Pages hold ascending ranges of ids; only each page's terms need sorting.
  std::vector<FtTerm*> terms;
  terms.reserve(m_count);
  for (const Page& page : m_pages) {
    const size_t first = terms.size();
    for (uint32_t i = 0; page.slots && i <= page.mask; ++i) {
      if (page.slots[i] != nullptr) terms.push_back(page.slots[i]);
    }
    std::sort(terms.begin() + static_cast<ptrdiff_t>(first), terms.end(),
              [](const FtTerm* a, const FtTerm* b) { return a->id < b->id; });
  }
  return terms;
}

}  // namespace quern
