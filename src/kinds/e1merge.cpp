#include "kinds/e1merge.h"

#include <utility>

#include "base/exception.h"
#include "index/fieldtable.h"
#include "kinds/mergewalk.h"

namespace quern {

// ---- E1IndexMergeEntry --------------------------------------------------------

E1IndexMergeEntry::E1IndexMergeEntry(E1IndexReader* reader, uint32_t ordinal)
    : m_reader(reader), m_ordinal(ordinal), m_vector(BitDecoderFactory::instance().create()) {
  if (reader == nullptr) QRN_RAISE(2, "Invalid param");
  reader->beginScan();
  if (!advance()) QRN_RAISE(1, "no records for e1 index %d", static_cast<int>(ordinal));
}

bool E1IndexMergeEntry::lessThan(const CEntry* a, const CEntry* b) const {
  return mergewalk::less<E1IndexMergeEntry>(a, b);
}

bool E1IndexMergeEntry::advance() {
  if (m_reader->scanCursor() >= m_reader->scanTermCount()) return false;
  m_reader->nextTerm(m_term, *m_vector);
  return true;
}

void E1IndexMergeEntry::standIn(SFWAHVector& merged) {
  // The zero segments are the same for every term that lacks this source:
  // encoded once, then copied.
  if (!m_padding) m_padding = fieldtable::noRecords(m_reader->recordCounts());
  m_padding->chunks()->rewind();
  merged.append(m_padding.get());
  merged.setLength(merged.length() + m_padding->length());
}

// ---- E1IndexMerger --------------------------------------------------------------

void E1IndexMerger::add(std::unique_ptr<E1IndexMergeEntry> entry) { mergewalk::enter(*this, m_entries, std::move(entry)); }

void E1IndexMerger::merge(COutputDesc* output) { mergewalk::run(*this, m_entries, output); }

// ---- E1Merger -----------------------------------------------------------------

E1Merger::E1Merger(uint32_t sourceCount) : m_engine(std::make_unique<E1IndexMerger>(sourceCount)) {}

void E1Merger::insert(FieldIndexReader* reader) {
  auto* e1 = dynamic_cast<E1IndexReader*>(reader);
  if (e1 == nullptr) QRN_RAISE(2, "Invalid param");
  m_engine->add(std::make_unique<E1IndexMergeEntry>(e1, m_nextOrdinal));
  ++m_nextOrdinal;
}

void E1Merger::merge(COutputDesc* output) { m_engine->merge(output); }

}  // namespace quern
