// The table that closes an E1 file and a Range file alike, between the
// stored sets and the closing block. All integers little-endian:
//   u32 segment count S, S u32 record counts, u32 row count,
//   per row: u32 length, the value's bytes, 64-bit offset of its set image,
// rows in ascending value order (unsigned bytes, the shorter first on a
// tie); the closing block holds the table's offset. Writers put the head and
// the rows; `FieldTableReader` opens a file at its table with every count
// checked against the bytes the table has, so damage never allocates much.
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "codec/sfwahvector.h"
#include "storage/bytearena.h"
#include "storage/endian.h"
#include "storage/fileio.h"
#include "storage/inputdesc.h"
#include "storage/zeroedarray.h"

namespace quern::fieldtable {

// A row's bytes beside its value: the length and the offset.
constexpr int64_t kRowFixedBytes = 12;
// The smallest table: a segment count of 0 and a row count.
constexpr int64_t kMinTableBytes = 8;

void writeHead(CFileOutput& file, std::span<const uint32_t> recordCounts, uint32_t rowCount);
void writeRow(CFileOutput& file, std::string_view value, uint64_t offset);
// The row as the file holds it, appended to `rows`, for a writer that learns
// the row count only after the last row (the merges).
void appendRow(ByteArena& rows, std::string_view value, uint64_t offset);

// The set of no record in segments of these record counts, one all-zero
// segment each: what a merge copies for a source that lacks a value.
std::unique_ptr<SFWAHVector> noRecords(std::span<const uint32_t> recordCounts);

// A row kept as the file holds it (rows are read into memory as they lie).
inline std::string_view rowValue(const char* row) { return {row + 4, loadLE32(row)}; }
inline uint64_t rowOffset(const char* row) { return loadLE64(row + 4 + loadLE32(row)); }

}  // namespace quern::fieldtable

namespace quern {

// The words of one kind's failure texts, which read
// "<verb> <path> fail, <what>": a wrong checksum gives `checksum`; a count,
// a length or an offset past the table's bytes names `row` and `offset`.
struct FieldTableTexts {
  const char* verb;      // "open", "read"
  const char* checksum;  // "meta checksum incorrect", "checksum incorrect"
  const char* row;       // "term", "value"
  const char* offset;    // "posting offset", "image offset"
  const char* image;     // "posting list", "image": an image of the wrong shape
};

class FieldTableReader {
 public:
  explicit FieldTableReader(const FieldTableTexts& texts) : m_texts(texts) {}

  // Opens `path` on a stream buffer of `readBuffer` bytes (0: the system's
  // default), raising level 2 `descriptorFailure` when no descriptor can be
  // made; tests the closing block and reads the table's head. The input
  // stands on the first row.
  std::unique_ptr<CInputDesc> open(const std::string& path, uint32_t readBuffer, const char* descriptorFailure);
  // Record counts of the segments and the rows, from the last `open`.
  const std::vector<uint32_t>& recordCounts() const { return m_recordCounts; }
  uint32_t rowCount() const { return m_rowCount; }

  // Every row in one read from the input's position (just after `open`).
  ZeroedArray<char> readRows(CFileInput& file);
  // Checks the row at `row` of a buffer from `readRows` (the buffer ends
  // with the table); gives the row after it.
  const char* checkRow(const char* row);
  // Reads the next row from the file into `value`; gives its image offset.
  uint64_t readRow(CFileInput& file, std::string& value);
  // Refuses row `number` when it is not above the row before it.
  void checkOrder(std::string_view previous, std::string_view value, uint32_t number) const;
  // Loads the image at `offset` into `image` (a privately cached vector) and
  // refuses one whose segments are not the table's.
  void loadImage(CInputDesc& input, uint64_t offset, SFWAHVector& image) const;

 private:
  // Raises level 2 "<verb> <path> fail, <what>".
  [[noreturn]] void fail(const std::string& what) const;
  void takeRowHead();
  void takeValue(uint32_t length);
  uint64_t checkOffset(uint64_t offset) const;

  FieldTableTexts m_texts;
  std::string m_path;
  std::vector<uint32_t> m_recordCounts;
  uint32_t m_rowCount = 0;
  int64_t m_tableOffset = 0;  // images lie below it
  int64_t m_tableLeft = 0;    // table bytes not yet read, beyond the minimum
};

}  // namespace quern
