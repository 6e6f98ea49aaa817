// E1IndexReader: the reader of an equality field's file (layout in
// e1indexer.h, its table in index/fieldtable.h). Search mode keeps the term
// table in memory and loads one posting list per lookup; scan mode
// (`beginScan`/`nextTerm`, for merges) walks the terms and their lists in
// file order holding only the current term. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "index/fieldindex.h"
#include "index/fieldtable.h"
#include "kinds/e1termtable.h"
#include "storage/inputdesc.h"

namespace quern {

class E1IndexReader : public FieldIndexReader {
 public:
  // Opens `path` and loads its term table. A wrong checksum raises level 2
  // "open %s fail, meta checksum incorrect"; any failure arrives wrapped in
  // "construct E1IndexReader fail, %s".
  explicit E1IndexReader(const char* path);
  ~E1IndexReader() override;
  E1IndexReader(const E1IndexReader&) = delete;
  E1IndexReader& operator=(const E1IndexReader&) = delete;

  // A new vector with a private cache, or null when `data` is no term.
  // Needs the reader open (not closed, not scanning).
  std::unique_ptr<SFWAHVector> search(const void* data, uint32_t size) override;
  // Drops both descriptors and the term table; the record counts stay.
  void close() override;

  // The sorted terms of the loaded table.
  uint32_t termCount() const { return m_terms ? m_terms->size() : 0; }
  std::string term(uint32_t index) const;

  // Reopens the file and stands on its first term row; the term table stays
  // empty during a scan.
  void beginScan();
  // The next term in file order and its posting list, owned by the caller.
  // Only while `scanCursor() < scanTermCount()`.
  std::unique_ptr<SFWAHVector> nextTerm(std::string& term);
  // The same into `list`, a privately cached vector that keeps its memory
  // from one term to the next (the merge reuses one per source).
  void nextTerm(std::string& term, SFWAHVector& list);
  uint32_t scanCursor() const { return m_scanCursor; }
  uint32_t scanTermCount() const { return m_scanTermCount; }
  // Records of each segment, from the file's term table header.
  const std::vector<uint32_t>& recordCounts() const { return m_table.recordCounts(); }

 private:
  static constexpr uint32_t kScanBuffer = 1u << 16;
  // Reads every term row from `m_input` and fills the term table.
  void loadRows();
  // The posting list offset of a loaded term: it ends the term's row.
  uint64_t offsetOf(uint32_t number) const;

  std::string m_path;
  FieldTableReader m_table;
  std::unique_ptr<CInputDesc> m_input;
  ZeroedArray<char> m_rows;              // the term rows as the file holds them
  std::unique_ptr<E1TermTable> m_terms;  // numbered in file order, pointing into m_rows
  uint32_t m_scanTermCount = 0;
  std::unique_ptr<CInputDesc> m_scanInput;
  uint32_t m_scanCursor = 0;
};

}  // namespace quern
