#include "kinds/rangemerge.h"

#include <utility>

#include "base/exception.h"
#include "base/guard.h"
#include "base/suspend.h"
#include "index/fieldtable.h"
#include "storage/bytearena.h"

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
  const auto* x = static_cast<const RangeIndexMergeEntry*>(a);
  const auto* y = static_cast<const RangeIndexMergeEntry*>(b);
  if (x == nullptr || y == nullptr) QRN_RAISE(2, "Invalid param");
  // std::string compares as unsigned bytes, the shorter first on a tie.
  const int order = x->m_value.compare(y->m_value);
  return order < 0 || (order == 0 && x->m_ordinal < y->m_ordinal);
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

void RangeIndexMergeEntry::contribute(SFWAHVector& merged) {
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

RangeIndexMerger::RangeIndexMerger(uint32_t capacity) : CPriorityQueue(capacity) {
  // Room for every source up front: entering one never moves the others.
  m_entries.reserve(capacity);
}

RangeIndexMerger::~RangeIndexMerger() {
  keepFailures(QRN_SITE(0), "destructor RangeIndexMerger", [&] {
    m_entries.clear();
  });
}

void RangeIndexMerger::add(std::unique_ptr<RangeIndexMergeEntry> entry) {
  if (!entry) QRN_RAISE(2, "Invalid param");
  const RangeIndexMergeEntry* raw = entry.get();
  // An entry refused by the queue must not stay behind in the list.
  const auto dropRefused = [&] {
    if (!m_entries.empty() && m_entries.back().get() == raw) m_entries.pop_back();
  };
  raiseAs(QRN_SITE(2), "m_merger insert", [&] {
    m_entries.push_back(std::move(entry));
    put(m_entries.back().get());
  }, [&] { dropRefused(); });
}

void RangeIndexMerger::merge(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  const auto sources = static_cast<int64_t>(m_entries.size());
  // One value's set at a time, emptied behind each on a cache that is rewound.
  CMemCache scratch;
  SFWAHVector merged(&scratch);
  bool open = false;  // a value is being merged
  std::string lastValue;
  int64_t lastOrdinal = sources;
  uint64_t offset = 0;
  // Values leave the queue in ascending order: the rows are kept as the
  // table's image.
  ByteArena rows;
  uint32_t rowCount = 0;
  const auto contributeUpTo = [&](int64_t end) {
    for (int64_t o = lastOrdinal + 1; o < end; ++o) m_entries[static_cast<size_t>(o)]->contribute(merged);
  };
  // The sources behind the last one that had the value stand in, then the set is written.
  const auto completeValue = [&] {
    contributeUpTo(sources);
    merged.chunks()->writeTo(output);
    fieldtable::appendRow(rows, lastValue, offset);
    ++rowCount;
    offset += merged.chunks()->imageBytes();
    merged.chunks()->clear();
    scratch.rewind();
  };

  Suspender::CheckSuspend();
  while (CEntry* top = this->top()) {
    auto* entry = static_cast<RangeIndexMergeEntry*>(top);
    if (!open || entry->value() != lastValue) {
      if (open) completeValue();
      open = true;
      lastOrdinal = -1;
    }
    contributeUpTo(entry->ordinal());
    merged.append(entry->current());
    lastValue = entry->value();
    lastOrdinal = entry->ordinal();
    if (entry->advance()) {
      adjustTop();
    } else {
      removeTop();
    }
    Suspender::CheckSuspend();
  }
  if (open) completeValue();

  std::vector<uint32_t> recordCounts;
  for (const auto& source : m_entries) {
    recordCounts.insert(recordCounts.end(), source->recordCounts().begin(), source->recordCounts().end());
  }
  fieldtable::writeHead(output->file(), recordCounts, rowCount);
  rows.writeTo(output->file());
  output->writeClosingBlock(static_cast<int64_t>(offset));
}

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
