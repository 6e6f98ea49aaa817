#include "search/ufilter.h"

#include "base/cancel.h"
#include "base/guard.h"
#include "codec/sfwahunion.h"
#include "search/efilter.h"

namespace quern {

UFilter::UFilter(Searcher* searcher) : m_searcher(searcher) {
  if (searcher == nullptr) QRN_RAISE(2, "invalid param (pSearcher)");
}

UFilter::~UFilter() {
  keepFailures(QRN_SITE(0), "destructor UFilter", [&] { m_filters.clear(); });
}

void UFilter::addFilter(std::unique_ptr<Filter> filter) { m_filters.push_back(std::move(filter)); }

void UFilter::addEqual(const char* field, const void* value, uint32_t size) {
  if (field == nullptr || value == nullptr || size == 0) QRN_RAISE(2, "invalid param");
  // A filter the list could not take is freed with `filter`.
  auto filter = std::make_unique<EFilter>(m_searcher, field, value, size);
  raiseAs(QRN_SITE(2), "m_filters push_back", [&] { m_filters.push_back(std::move(filter)); });
}

std::unique_ptr<SFWAHVector> UFilter::evaluate() {
  size_t next = 0;
  std::unique_ptr<SFWAHVector> set;
  while (!set && next < m_filters.size()) set = m_filters[next++]->evaluate();
  const Canceler& canceler = Canceler::current();
  if (!set) return nullptr;
  for (; next < m_filters.size(); ++next) {
    if (canceler.IsCancelled() != 0) return set;
    if (std::unique_ptr<SFWAHVector> child = m_filters[next]->evaluate()) {
      set = SFWAHUnion::of(std::move(set), std::move(child));
    }
  }
  return set;
}

}  // namespace quern
