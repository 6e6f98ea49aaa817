// The merge of full-text fields: the sources' term tables are walked k-way
// on the merge queue in term id order, and each term's block is the sources'
// streams copied behind each other. No position is decoded: of each
// source's record stream only the first delta is rewritten, moved up by the
// records of the sources before it; position streams are copied whole. The
// result keeps every source segment, so merged files may be merged again.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/priorityqueue.h"
#include "index/fieldindex.h"
#include "kinds/ftindexreader.h"

namespace quern {

// One source standing on a row of its term table.
class FtIndexMergeEntry : public CEntry {
 public:
  // Starts the reader's scan (the reader is not owned) and opens the two
  // descriptors the streams are copied from; failures arrive wrapped in
  // "construct FtIndexMergeEntry fail, %s".
  FtIndexMergeEntry(uint32_t ordinal, FtIndexReader* reader);
  // By term as unsigned numbers, then by ordinal; a null entry raises
  // level 2 "Invalid param".
  bool lessThan(const CEntry* a, const CEntry* b) const override;
  ~FtIndexMergeEntry() override = default;

  // Reads the next row into the term and next offsets; false after the last.
  // Blocks lie one behind the other, so a block starts where the one before
  // it ended (the first at 0).
  bool advance() {
    const int64_t start = m_next.positionEnd;
    if (!m_reader->nextTerm(m_term, m_next)) return false;
    m_nextStart = start;
    return true;
  }
  // The term stood on is taken into the block being written.
  void take() {
    m_taken = m_next;
    m_takenStart = m_nextStart;
  }

  FtIndexReader* reader() const { return m_reader; }
  int32_t term() const { return m_term; }
  uint32_t base() const { return m_base; }
  void setBase(uint32_t base) { m_base = base; }
  const FtIndexReader::Offsets& taken() const { return m_taken; }
  int64_t takenStart() const { return m_takenStart; }
  CInputDesc* recordInput() const { return m_recordInput.get(); }
  CInputDesc* positionInput() const { return m_positionInput.get(); }

 private:
  FtIndexReader* m_reader;
  uint32_t m_ordinal;
  int32_t m_term = 0;
  std::unique_ptr<CInputDesc> m_recordInput;
  std::unique_ptr<CInputDesc> m_positionInput;
  uint32_t m_base = 0;  // records of all sources before this one
  FtIndexReader::Offsets m_taken;
  FtIndexReader::Offsets m_next;
  int64_t m_takenStart = 0;  // where the taken term's block starts
  int64_t m_nextStart = 0;
};

// The engine: the queue of entries plus the entries themselves, which stay
// after leaving the queue, and the segments of all sources.
class FtIndexMerger : public CPriorityQueue {
 public:
  explicit FtIndexMerger(uint32_t capacity) : CPriorityQueue(capacity) {}
  ~FtIndexMerger() override;

  // Takes the entry: its base is the record total so far, its segments go
  // behind those before, and it joins the queue if its source has a term.
  void insert(std::unique_ptr<FtIndexMergeEntry> entry);
  // Writes the merged file, closing block included; tests the current
  // suspender before the first term row and after each.
  void merge(COutputDesc* output);

 private:
  // Writes the block of the current term from the entries of `m_sameTerm`;
  // gives where its trailers end, from the block's start.
  FtIndexReader::Offsets writeBlock(COutputDesc* output);

  std::vector<FtIndexMergeEntry*> m_sameTerm;
  std::vector<std::unique_ptr<FtIndexMergeEntry>> m_entries;
  std::vector<uint32_t> m_segments;
  uint32_t m_recordTotal = 0;
};

class FtMerger : public FieldMerger {
 public:
  explicit FtMerger(uint32_t sourceCount);
  ~FtMerger() override = default;
  FtMerger(const FtMerger&) = delete;
  FtMerger& operator=(const FtMerger&) = delete;

  // `reader` must be an FtIndexReader; it is scanned anew. Failures arrive
  // wrapped in "m_merger insert fail, %s".
  void insert(FieldIndexReader* reader) override;
  void merge(COutputDesc* output) override;

 private:
  std::unique_ptr<FtIndexMerger> m_merger;
  uint32_t m_nextOrdinal = 0;
};

}  // namespace quern
