// The merge of equality fields: the sources' term streams are walked k-way
// on the merge queue, and each term's new bitmap is the sources' segments
// copied one behind the other, with zero segments standing in for sources
// that lack the term. No bitmap is decoded and no record renumbered: the
// result keeps every source segment, so merged files may be merged again.
// The walk itself is shared with the Range merge: kinds/mergewalk.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "index/fieldindex.h"
#include "codec/priorityqueue.h"
#include "kinds/e1indexreader.h"

namespace quern {

// One source standing on its current term and that term's bitmap.
class E1IndexMergeEntry : public CEntry {
 public:
  // Starts the reader's scan (not owned) and loads its first term; a source
  // without terms raises level 1 "no records for e1 index %d".
  E1IndexMergeEntry(E1IndexReader* reader, uint32_t ordinal);
  // By term in unsigned byte order, then by ordinal.
  bool lessThan(const CEntry* a, const CEntry* b) const override;
  ~E1IndexMergeEntry() override = default;

  // Loads the next term; false (the current one kept) when there is none.
  bool advance();
  // Stands in for this source where it lacks a term: one all-zero segment
  // per segment of the source, appended to `merged`.
  void standIn(SFWAHVector& merged);

  const std::string& key() const { return m_term; }
  uint32_t ordinal() const { return m_ordinal; }
  SFWAHVector* set() const { return m_vector.get(); }
  const std::vector<uint32_t>& recordCounts() const { return m_reader->recordCounts(); }

 private:
  E1IndexReader* m_reader;
  uint32_t m_ordinal;
  std::unique_ptr<SFWAHVector> m_vector;
  std::unique_ptr<SFWAHVector> m_padding;  // this source's zero segments, made on first use
  std::string m_term;
};

// The engine: the queue of entries plus the entries themselves, which stay
// after leaving the queue since later terms still pad for them.
class E1IndexMerger : public CPriorityQueue {
 public:
  explicit E1IndexMerger(uint32_t capacity) : CPriorityQueue(capacity) {}
  ~E1IndexMerger() override = default;

  // Takes the entry and enters it into the queue; a failure destroys it and
  // raises "m_merger insert fail, %s".
  void add(std::unique_ptr<E1IndexMergeEntry> entry);
  // Writes the merged file, closing block included; tests the current
  // suspender before the first term and after each.
  void merge(COutputDesc* output);

 private:
  std::vector<std::unique_ptr<E1IndexMergeEntry>> m_entries;
};

class E1Merger : public FieldMerger {
 public:
  explicit E1Merger(uint32_t sourceCount);
  ~E1Merger() override = default;
  E1Merger(const E1Merger&) = delete;
  E1Merger& operator=(const E1Merger&) = delete;

  // `reader` must be an E1IndexReader; it is scanned anew.
  void insert(FieldIndexReader* reader) override;
  void merge(COutputDesc* output) override;

 private:
  std::unique_ptr<E1IndexMerger> m_engine;
  uint32_t m_nextOrdinal = 0;
};

}  // namespace quern
