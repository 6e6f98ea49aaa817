#include "search/rfilter.h"

#include "base/exception.h"
#include "kinds/e1indexreader.h"
#include "kinds/rangeindexreader.h"
#include "search/search.h"
#include "search/ufilter.h"

namespace quern {

RFilter::RFilter(Searcher* searcher, const char* field, std::string from, std::string to)
    : m_from(std::move(from)), m_to(std::move(to)), m_searcher(searcher) {
  if (searcher == nullptr || field == nullptr) QRN_RAISE(2, "Invalid param");
  m_field = field;
  // std::string compares its bytes unsigned, a prefix first: the value order.
  if (m_to < m_from) QRN_RAISE(1, "from is larger than to");
}

std::unique_ptr<SFWAHVector> RFilter::evaluate() {
  IndexReader& index = m_searcher->reader();
  const FieldsInfo& fields = index.fields();
  const IndexerKind kind = fields.indexerKind(fields.fieldId(m_field));
  if (kind == IndexerKind::Ft) return nullptr;
  FieldIndexReader* reader = index.fieldReader(m_field);
  if (kind == IndexerKind::E1) return evaluateTerms(dynamic_cast<const E1IndexReader&>(*reader));
  // Cumulative sets: at most two image reads, whatever the range's width.
  return dynamic_cast<RangeIndexReader&>(*reader).searchRange(m_from, m_to);
}

std::unique_ptr<SFWAHVector> RFilter::evaluateTerms(const E1IndexReader& reader) {
  // The terms stand in value order: the range is the stretch from the first
  // term not below `from` to the last not above `to`.
  uint32_t low = 0;
  uint32_t high = reader.termCount();
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (reader.term(middle) < m_from) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  UFilter terms(m_searcher);
  for (uint32_t i = low; i < reader.termCount(); ++i) {
    const std::string term = reader.term(i);
    if (m_to < term) break;
    terms.addEqual(m_field.c_str(), term.data(), static_cast<uint32_t>(term.size()));
  }
  return terms.evaluate();
}

}  // namespace quern
