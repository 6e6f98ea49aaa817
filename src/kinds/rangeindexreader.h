// RangeIndexReader: the reader of a Range field's file (layout in
// rangeindexer.h). The value table is kept in memory, in value order; a
// value's cumulative set (the records whose value is at or below it) is
// loaded from the file per call. A range [from, to] costs at most two image
// reads, whatever its width: `searchRange`. Scan mode (`beginScan`,
// `nextValue`) walks the rows and their images in file order for a merge.
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "index/fieldindex.h"
#include "index/fieldtable.h"
#include "storage/inputdesc.h"

namespace quern {

class RangeIndexReader : public FieldIndexReader {
 public:
  // Opens `path` and loads its value table. A wrong checksum raises level 2
  // "read %s fail, checksum incorrect"; any failure arrives wrapped in
  // "construct RangeIndexReader fail, %s".
  explicit RangeIndexReader(const char* path);
  ~RangeIndexReader() override;
  RangeIndexReader(const RangeIndexReader&) = delete;
  RangeIndexReader& operator=(const RangeIndexReader&) = delete;

  // The cumulative set of exactly this stored value (a new vector with a
  // private cache), or null when the value is not stored. Null data or size
  // 0 raises level 2 "invalid data or size(%u)". Needs the reader open.
  std::unique_ptr<SFWAHVector> search(const void* data, uint32_t size) override;
  // Drops both descriptors and the value table; the record counts stay.
  void close() override;

  // The records whose value lies in [from, to] (value order: unsigned bytes,
  // the shorter first on a tie), or null when there are none; an inverted
  // range holds none. Reads at most two images.
  std::unique_ptr<SFWAHVector> searchRange(const std::string& from, const std::string& to);

  // True when no value is stored or `text` is the smallest one.
  bool isFirstValue(std::string_view text) const;
  // False when no value is stored; else whether `text` is below the smallest.
  bool isBelowFirst(std::string_view text) const;
  // True when no value is stored; else whether `text` is above the largest.
  bool isAboveLast(std::string_view text) const;
  // Moves the ends of a range onto stored values: `from` to the value whose
  // set is taken away (or the smallest value), `to` to the value whose set
  // holds the upper end. Both stay when no stored value lies between them.
  // A null argument raises level 1 "invalid param from/to".
  void adjustRange(std::string* from, std::string* to) const;
  uint32_t valueCount() const { return static_cast<uint32_t>(m_values.size()); }
  std::string_view value(uint32_t index) const { return fieldtable::rowValue(m_values[index]); }

  // Reopens the file and stands on its first row; no table is loaded, so
  // searches are refused until the reader is made anew.
  void beginScan();
  // The next value in file order and its set, owned by the caller. Past the
  // last row raises level 1 "range index read over, invalid call, %u, %u".
  std::unique_ptr<SFWAHVector> nextValue(std::string& current);
  // The same into `set`, a privately cached vector whose memory is reused.
  void nextValue(std::string& current, SFWAHVector& set);
  uint32_t scanCursor() const { return m_scanCursor; }
  uint32_t scanRows() const { return m_scanRows; }
  // Records of each segment, from the table's head.
  const std::vector<uint32_t>& recordCounts() const { return m_table.recordCounts(); }

 private:
  static constexpr uint32_t kScanBuffer = 1u << 16;
  void loadRows();
  // Searches need the table: level 1 "search on closed reader %s" when the
  // reader is closed or scanning.
  void checkOpen() const;
  // The place of the first stored value not below `text`.
  uint32_t lowerBound(std::string_view text) const;
  // The set of a stored value, null when `text` is not stored.
  std::unique_ptr<SFWAHVector> find(std::string_view text);

  std::string m_path;
  FieldTableReader m_table;
  std::unique_ptr<CInputDesc> m_input;
  ZeroedArray<char> m_rows;           // the rows as the file holds them
  std::vector<const char*> m_values;  // each row's start, in value order
  uint32_t m_scanRows = 0;
  std::unique_ptr<CInputDesc> m_scanInput;
  uint32_t m_scanCursor = 0;
};

}  // namespace quern
