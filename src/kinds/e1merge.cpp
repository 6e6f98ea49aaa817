#include "kinds/e1merge.h"

#include <exception>
#include <utility>

#include "base/exception.h"
#include "base/guard.h"
#include "base/suspend.h"
#include "index/fieldtable.h"
#include "storage/bytearena.h"

namespace quern {

// ---- E1IndexMergeEntry --------------------------------------------------------

E1IndexMergeEntry::E1IndexMergeEntry(E1IndexReader* reader, uint32_t ordinal)
    : m_reader(reader), m_ordinal(ordinal), m_vector(BitDecoderFactory::instance().create()) {
  if (reader == nullptr) QRN_RAISE(2, "Invalid param");
  reader->beginScan();
  if (!advance()) QRN_RAISE(1, "no records for e1 index %d", static_cast<int>(ordinal));
}

bool E1IndexMergeEntry::lessThan(const CEntry* a, const CEntry* b) const {
  const auto* x = static_cast<const E1IndexMergeEntry*>(a);
  const auto* y = static_cast<const E1IndexMergeEntry*>(b);
  if (x == nullptr || y == nullptr) QRN_RAISE(2, "Invalid param");
  // std::string compares as unsigned bytes, the shorter first on a tie.
  const int order = x->m_term.compare(y->m_term);
  return order < 0 || (order == 0 && x->m_ordinal < y->m_ordinal);
}

bool E1IndexMergeEntry::advance() {
  if (m_reader->scanCursor() >= m_reader->scanTermCount()) return false;
  m_reader->nextTerm(m_term, *m_vector);
  return true;
}

void E1IndexMergeEntry::pad(SFWAHVector* merged) {
  if (merged == nullptr) QRN_RAISE(2, "Invalid param");
  // The zero segments are the same for every term that lacks this source:
  // encoded once, then copied.
  if (!m_padding) m_padding = fieldtable::noRecords(m_reader->recordCounts());
  m_padding->chunks()->rewind();
  merged->append(m_padding.get());
  merged->setLength(merged->length() + m_padding->length());
}

// ---- E1IndexMerger --------------------------------------------------------------

void E1IndexMerger::add(std::unique_ptr<E1IndexMergeEntry> entry) {
  const E1IndexMergeEntry* raw = entry.get();
  // An entry refused by the queue must not stay behind in the list.
  const auto dropRefused = [&] {
    if (!m_entries.empty() && m_entries.back().get() == raw) m_entries.pop_back();
  };
  raiseAs(QRN_SITE(2), "m_merger insert", [&] {
    m_entries.push_back(std::move(entry));
    put(m_entries.back().get());
  }, [&] { dropRefused(); });
}

void E1IndexMerger::merge(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  const auto sources = static_cast<int64_t>(m_entries.size());
  // One term's vector at a time, emptied behind each on a cache that is
  // rewound: terms after the first allocate nothing.
  CMemCache scratch;
  SFWAHVector merged(&scratch);
  bool open = false;  // a term is being merged
  std::string lastTerm;
  int64_t lastOrdinal = sources;
  uint64_t offset = 0;
  // Terms leave the queue in ascending order, so the rows need no sorting:
  // they are kept as the term table's image.
  ByteArena rows;
  uint32_t rowCount = 0;

  // Pads the sources behind the last one that had the term, then writes it.
  const auto completeTerm = [&] {
    for (int64_t o = lastOrdinal + 1; o < sources; ++o) m_entries[static_cast<size_t>(o)]->pad(&merged);
    merged.chunks()->writeTo(output);
    fieldtable::appendRow(rows, lastTerm, offset);
    ++rowCount;
    offset += merged.chunks()->imageBytes();
    merged.chunks()->clear();
    merged.setLength(0);
    scratch.rewind();
  };

  Suspender::CheckSuspend();
  while (CEntry* top = this->top()) {
    auto* entry = static_cast<E1IndexMergeEntry*>(top);
    if (!open || entry->term() != lastTerm) {
      if (open) completeTerm();
      open = true;
      lastOrdinal = -1;
    }
    for (int64_t o = lastOrdinal + 1; o < entry->ordinal(); ++o) m_entries[static_cast<size_t>(o)]->pad(&merged);
    merged.append(entry->vector());
    lastTerm = entry->term();
    lastOrdinal = entry->ordinal();
    if (entry->advance()) {
      adjustTop();
    } else {
      removeTop();
    }
    Suspender::CheckSuspend();
  }
  if (open) completeTerm();

  CFileOutput& file = output->file();
  std::vector<uint32_t> recordCounts;
  for (const auto& entry : m_entries) {
    recordCounts.insert(recordCounts.end(), entry->recordCounts().begin(), entry->recordCounts().end());
  }
  fieldtable::writeHead(file, recordCounts, rowCount);
  rows.writeTo(file);
  output->writeClosingBlock(static_cast<int64_t>(offset));
}

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
