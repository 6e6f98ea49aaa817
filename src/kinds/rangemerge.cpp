#include "kinds/rangemerge.h"

#include <utility>

#include "base/exception.h"
#include "base/guard.h"
#include "index/fieldtable.h"
#include "kinds/mergewalk.h"

namespace quern {

// ---- RangeIndexMergeEntry -------------------------------------------------------

RangeIndexMergeEntry::RangeIndexMergeEntry(RangeIndexReader* reader, uint32_t ordinal)
    : m_reader(reader), m_ordinal(ordinal) {
  if (reader == nullptr) QRN_RAISE(2, "Invalid param");
  reader->beginScan();
  if (reader->scanCursor() >= reader->scanRows()) QRN_RAISE(1, "no records for range index %d", static_cast<int>(ordinal));
  m_current = BitDecoderFactory::instance().create();
  reader->nextValue(m_value, *m_current);
}

bool RangeIndexMergeEntry::lessThan(const CEntry* a, const CEntry* b) const {
  return mergewalk::less<RangeIndexMergeEntry>(a, b);
}

bool RangeIndexMergeEntry::advance() {
  // The two sets trade places, so that each keeps its memory for the next value.
  std::swap(m_current, m_previous);
  if (m_reader->scanCursor() >= m_reader->scanRows()) {
    m_current.reset();
    return false;
  }
  if (!m_current) m_current = BitDecoderFactory::instance().create();
  m_reader->nextValue(m_value, *m_current);
  return true;
}

void RangeIndexMergeEntry::standIn(SFWAHVector& merged) {
  SFWAHVector* set = m_previous.get();
  if (set == nullptr) {
    if (!m_padding) m_padding = fieldtable::noRecords(recordCounts());
    set = m_padding.get();
  }
  // One set may stand in for many values: read it from its start each time.
  set->chunks()->rewind();
  merged.append(set);
}

// ---- RangeIndexMerger -------------------------------------------------------------

RangeIndexMerger::~RangeIndexMerger() {
  keepFailures(QRN_SITE(0), "destructor RangeIndexMerger", [&] {
    m_entries.clear();
  });
}

void RangeIndexMerger::add(std::unique_ptr<RangeIndexMergeEntry> entry) {
  if (!entry) QRN_RAISE(2, "Invalid param");
  mergewalk::enter(*this, m_entries, std::move(entry));
}

void RangeIndexMerger::merge(COutputDesc* output) { mergewalk::run(*this, m_entries, output); }

// ---- RangeMerger ------------------------------------------------------------------

RangeMerger::RangeMerger(uint32_t sourceCount) : m_engine(std::make_unique<RangeIndexMerger>(sourceCount)) {}

void RangeMerger::insert(FieldIndexReader* reader) {
  auto* range = dynamic_cast<RangeIndexReader*>(reader);
  if (range == nullptr) QRN_RAISE(2, "Invalid param");
  m_engine->add(std::make_unique<RangeIndexMergeEntry>(range, m_nextOrdinal));
  ++m_nextOrdinal;
}

void RangeMerger::merge(COutputDesc* output) { m_engine->merge(output); }

}  // namespace quern
