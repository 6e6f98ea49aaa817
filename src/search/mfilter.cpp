#include "search/mfilter.h"

#include "base/cancel.h"
#include "base/guard.h"
#include "codec/sfwahintersect.h"

namespace quern {

MFilter::~MFilter() {
  keepFailures(QRN_SITE(0), "destructor MFilter", [&] { m_filters.clear(); });
}

void MFilter::addFilter(std::unique_ptr<Filter> filter) { m_filters.push_back(std::move(filter)); }

std::unique_ptr<SFWAHVector> MFilter::evaluate() {
  if (m_filters.empty()) return nullptr;
  std::unique_ptr<SFWAHVector> set = m_filters.front()->evaluate();
  if (!set) return nullptr;
  const Canceler& canceler = Canceler::current();
  for (size_t i = 1; i < m_filters.size(); ++i) {
    if (canceler.IsCancelled() != 0) return set;
    std::unique_ptr<SFWAHVector> next = m_filters[i]->evaluate();
    if (!next) return nullptr;
    set = SFWAHIntersect::of(std::move(set), std::move(next));
  }
  return set;
}

}  // namespace quern
