// FtIndexReader: the reader of a full-text field's file (layout in
// ftindexer.h). Search mode holds the term table in memory, as the file's own
// rows, and answers a text with the records that hold it as a phrase: the
// text is cut by the same wordcleave calls that built the index, and each
// word's list is read from the file through two descriptors of its own.
// Scan mode (`beginScan`/`nextTerm`, for merges) walks the rows in file
// order holding nothing. One thread at a time, and no other use of
// wordcleave while a text is being looked up.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "index/fieldindex.h"
#include "storage/inputdesc.h"
#include "storage/zeroedarray.h"

namespace quern {

class POSVector;

class FtIndexReader : public FieldIndexReader {
 public:
  // Where a term's block ends its record trailer and its position trailer.
  struct Offsets {
    int64_t recordEnd = 0;
    int64_t positionEnd = 0;
  };

  // Opens `path` and loads its term table. A wrong checksum raises level 2
  // "read %s fail, checksum incorrect"; any failure arrives wrapped in
  // "construct FtIndexReader fail, %s", with the file closed.
  explicit FtIndexReader(const char* path);
  ~FtIndexReader() override;
  FtIndexReader(const FtIndexReader&) = delete;
  FtIndexReader& operator=(const FtIndexReader&) = delete;

  // The records in which the words of the text stand side by side, in
  // order, cut into the file's segments and owned by the caller; null when
  // the text has no word or a word is no term of the file. Needs the reader
  // open and a Canceler set.
  std::unique_ptr<SFWAHVector> search(const void* data, uint32_t size) override;
  // Drops the input, the term table, the segments and the spare lists;
  // harmless when closed.
  void close() override;
  uint32_t termCount() const { return m_rowCount; }

  // Reopens the file and stands on its first term row; the term table
  // stays empty during a scan.
  void beginScan();
  // The next row in file order; false, reading nothing, after the last.
  bool nextTerm(int32_t& term, Offsets& offsets);
  CInputDesc* input() const { return m_input.get(); }
  const std::string& path() const { return m_path; }
  // Records of each segment, in file order.
  const std::vector<uint32_t>& segments() const { return m_segments; }

 private:
  static constexpr uint32_t kScanBuffer = 1u << 16;
  // Opens `m_input` (on a stream buffer of `readBuffer` bytes, 0 for the
  // default), tests the closing block, reads the segments and the term count
  // and leaves the input at the first row; gives the term count.
  // `descriptorFailure` is raised when no descriptor can be made.
  uint32_t openTable(const char* descriptorFailure, uint32_t readBuffer);
  // A row must follow the one before: a higher id, offsets in order below
  // the table.
  void checkRow(int32_t term, const Offsets& offsets);
  bool find(int32_t term, Offsets& offsets) const;
  // A list standing on the term's block: a spare one attached again, or a
  // new one on two new descriptors.
  std::unique_ptr<POSVector> listAt(const Offsets& word);

  // Lists of earlier searches, kept with their descriptors and buffers so
  // that a search of a few words opens no file and allocates no buffer.
  static constexpr size_t kSpareLists = 8;

  std::string m_path;
  std::unique_ptr<CInputDesc> m_input;
  ZeroedArray<char> m_rows;  // the table's rows as the file holds them
  uint32_t m_rowCount = 0;
  std::vector<uint32_t> m_segments;
  std::vector<std::unique_ptr<POSVector>> m_spareLists;
  uint32_t m_scanRows = 0;
  uint32_t m_scanCursor = 0;
  int64_t m_tableOffset = 0;  // T: blocks lie below it
  int64_t m_lastTerm = -1;    // of the last row checked
  int64_t m_lastEnd = 0;
};

}  // namespace quern
