// The merge of Range fields: the sources' value streams are walked k-way on
// the merge queue, and each value's new cumulative set is the sources'
// segments copied one behind the other. A source that lacks the value
// stands in with the set of its greatest value below it (all it holds at or
// below the value), or with zero segments when it has none below. No set is
// decoded and no record renumbered: the result keeps every source segment,
// so merged files may be merged again. The walk is kinds/mergewalk.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "codec/priorityqueue.h"
#include "index/fieldindex.h"
#include "kinds/rangeindexreader.h"

namespace quern {

// One source standing on its current value, with that value's set and the
// set of the value before it.
class RangeIndexMergeEntry : public CEntry {
 public:
  // Starts the reader's scan (not owned) and loads its first value; a source
  // without values raises level 1 "no records for range index %d".
  RangeIndexMergeEntry(RangeIndexReader* reader, uint32_t ordinal);
  // By value in value order, then by ordinal; a null entry raises level 2
  // "Invalid param".
  bool lessThan(const CEntry* a, const CEntry* b) const override;
  ~RangeIndexMergeEntry() override = default;
  RangeIndexMergeEntry(const RangeIndexMergeEntry&) = delete;
  RangeIndexMergeEntry& operator=(const RangeIndexMergeEntry&) = delete;

  // The current set becomes the previous one and the next value is loaded;
  // false (no current set left) when there is none.
  bool advance();
  // Appends what this source holds at or below a value it lacks: its
  // previous set, or one all-zero segment per segment before it has one.
  void standIn(SFWAHVector& merged);

  const std::string& key() const { return m_value; }
  uint32_t ordinal() const { return m_ordinal; }
  SFWAHVector* set() const { return m_current.get(); }
  const std::vector<uint32_t>& recordCounts() const { return m_reader->recordCounts(); }

 private:
  RangeIndexReader* m_reader;
  uint32_t m_ordinal;
  std::unique_ptr<SFWAHVector> m_current;
  std::unique_ptr<SFWAHVector> m_previous;
  std::unique_ptr<SFWAHVector> m_padding;  // this source's zero segments, made on first use
  std::string m_value;
};

// The engine: the queue of entries plus the entries themselves, which stay
// after leaving the queue since later values still need their last sets.
class RangeIndexMerger : public CPriorityQueue {
 public:
  explicit RangeIndexMerger(uint32_t capacity) : CPriorityQueue(capacity) {}
  ~RangeIndexMerger() override;

  // Takes the entry and enters it into the queue. A null entry raises level
  // 2 "Invalid param"; a refusal of the queue leaves nothing behind and
  // raises "m_merger insert fail, %s".
  void add(std::unique_ptr<RangeIndexMergeEntry> entry);
  // Writes the merged file, closing block included; tests the current
  // suspender before the first value and after each.
  void merge(COutputDesc* output);

 private:
  std::vector<std::unique_ptr<RangeIndexMergeEntry>> m_entries;  // by ordinal
};

class RangeMerger : public FieldMerger {
 public:
  explicit RangeMerger(uint32_t sourceCount);
  ~RangeMerger() override = default;
  RangeMerger(const RangeMerger&) = delete;
  RangeMerger& operator=(const RangeMerger&) = delete;

  // `reader` must be a RangeIndexReader; it is scanned anew.
  void insert(FieldIndexReader* reader) override;
  void merge(COutputDesc* output) override;

 private:
  std::unique_ptr<RangeIndexMerger> m_engine;
  uint32_t m_nextOrdinal = 0;
};

}  // namespace quern
