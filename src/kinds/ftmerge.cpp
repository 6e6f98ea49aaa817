#include "kinds/ftmerge.h"

#include "base/exception.h"
#include "base/guard.h"
#include "base/suspend.h"
#include "codec/posvector.h"
#include "index/fieldtable.h"
#include "kinds/ftformat.h"
#include "storage/bytearena.h"

namespace quern {

// ---- FtIndexMergeEntry ---------------------------------------------------------

FtIndexMergeEntry::FtIndexMergeEntry(uint32_t ordinal, FtIndexReader* reader) : m_reader(reader), m_ordinal(ordinal) {
  raiseAs(QRN_SITE(2), "construct FtIndexMergeEntry", [&] {
    if (reader == nullptr) QRN_RAISE(2, "Invalid param");
    reader->beginScan();
    m_recordInput = reader->input()->clone();
    m_positionInput = reader->input()->clone();
  });
}

bool FtIndexMergeEntry::lessThan(const CEntry* a, const CEntry* b) const {
  const auto* x = static_cast<const FtIndexMergeEntry*>(a);
  const auto* y = static_cast<const FtIndexMergeEntry*>(b);
  if (x == nullptr || y == nullptr) QRN_RAISE(2, "Invalid param");
  const auto left = static_cast<uint32_t>(x->m_term);
  const auto right = static_cast<uint32_t>(y->m_term);
  return left < right || (left == right && x->m_ordinal < y->m_ordinal);
}

// ---- FtIndexMerger ----------------------------------------------------------------

FtIndexMerger::~FtIndexMerger() {
  keepFailures(QRN_SITE(0), "destructor FtIndexMerger", [&] {
    m_sameTerm.clear();
    m_entries.clear();
  });
}

void FtIndexMerger::insert(std::unique_ptr<FtIndexMergeEntry> entry) {
  entry->setBase(m_recordTotal);
  for (uint32_t count : entry->reader()->segments()) {
    if (count > UINT32_MAX - m_recordTotal) QRN_RAISE(2, "merged records exceed %u", UINT32_MAX);
    m_recordTotal += count;
    m_segments.push_back(count);
  }
  m_entries.push_back(std::move(entry));
  // A source without terms adds its records and segments all the same.
  if (m_entries.back()->advance()) put(m_entries.back().get());
}

FtIndexReader::Offsets FtIndexMerger::writeBlock(COutputDesc* output) {
  POSVector counter(nullptr);
  // Each source's two descriptors move forwards only, one over its record
  // streams and one over its position streams.
  for (FtIndexMergeEntry* entry : m_sameTerm) {
    counter.mergeRecords(output, entry->recordInput(), entry->takenStart(), entry->taken().recordEnd, entry->base());
  }
  counter.writeRecordTrailer(output);
  for (FtIndexMergeEntry* entry : m_sameTerm) {
    counter.mergePositions(output, entry->positionInput(), entry->taken().recordEnd, entry->taken().positionEnd);
  }
  counter.writePositionTrailer(output);
  const POSPostings& block = counter.postings();
  return {static_cast<int64_t>(block.records.size() + POSPostings::kRecordTrailer),
          static_cast<int64_t>(block.blockBytes())};
}

void FtIndexMerger::merge(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  // Terms leave the queue in ascending order, so the rows need no sorting:
  // they are kept as the term table's image.
  ByteArena rows;
  uint32_t rowCount = 0;
  int64_t offset = 0;
  int32_t current = 0;
  const auto completeTerm = [&] {
    const FtIndexReader::Offsets ends = writeBlock(output);
    m_sameTerm.clear();
    ftformat::storeRow(rows.append(ftformat::kRowBytes),
                       {current, offset + ends.recordEnd, offset + ends.positionEnd});
    ++rowCount;
    offset += ends.positionEnd;
  };

  Suspender::CheckSuspend();
  while (CEntry* top = this->top()) {
    auto* entry = static_cast<FtIndexMergeEntry*>(top);
    if (!m_sameTerm.empty() && entry->term() != current) completeTerm();
    entry->take();
    current = entry->term();
    m_sameTerm.push_back(entry);
    if (entry->advance()) {
      adjustTop();
    } else {
      removeTop();
    }
    Suspender::CheckSuspend();
  }
  if (!m_sameTerm.empty()) completeTerm();

  CFileOutput& file = output->file();
  fieldtable::writeHead(file, m_segments, rowCount);
  rows.writeTo(file);
  output->writeClosingBlock(offset);
}

// ---- FtMerger -------------------------------------------------------------------

FtMerger::FtMerger(uint32_t sourceCount) : m_merger(std::make_unique<FtIndexMerger>(sourceCount)) {}

void FtMerger::insert(FieldIndexReader* reader) {
  raiseAs(QRN_SITE(2), "m_merger insert", [&] {
    auto* ft = dynamic_cast<FtIndexReader*>(reader);
    if (ft == nullptr) QRN_RAISE(2, "Invalid param");
    m_merger->insert(std::make_unique<FtIndexMergeEntry>(m_nextOrdinal, ft));
  });
  ++m_nextOrdinal;
}

void FtMerger::merge(COutputDesc* output) { m_merger->merge(output); }

}  // namespace quern
