#include "search/efilter.h"

#include "base/exception.h"
#include "search/search.h"

namespace quern {

EFilter::EFilter(Searcher* searcher, const char* field, const void* value, uint32_t size) : m_searcher(searcher) {
  if (searcher == nullptr || field == nullptr || value == nullptr || size == 0) QRN_RAISE(2, "invalid param");
  m_field = field;
  m_value.assign(static_cast<const char*>(value), size);
}

std::unique_ptr<SFWAHVector> EFilter::evaluate() {
  return m_searcher->reader().fieldReader(m_field)->search(m_value.data(), static_cast<uint32_t>(m_value.size()));
}

}  // namespace quern
