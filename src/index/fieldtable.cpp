#include "index/fieldtable.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/exception.h"
#include "storage/closingblock.h"

namespace quern {

namespace fieldtable {

void writeHead(CFileOutput& file, std::span<const uint32_t> recordCounts, uint32_t rowCount) {
  file.writeInt(static_cast<int32_t>(recordCounts.size()));
  for (uint32_t count : recordCounts) file.writeInt(static_cast<int32_t>(count));
  file.writeInt(static_cast<int32_t>(rowCount));
}

void writeRow(CFileOutput& file, std::string_view value, uint64_t offset) {
  file.writeInt(static_cast<int32_t>(value.size()));
  file.writeChars(value.data(), static_cast<uint32_t>(value.size()));
  file.writeInt64(static_cast<int64_t>(offset));
}

void appendRow(ByteArena& rows, std::string_view value, uint64_t offset) {
  char* row = rows.append(kRowFixedBytes + value.size());
  storeLE32(row, static_cast<uint32_t>(value.size()));
  std::memcpy(row + 4, value.data(), value.size());
  storeLE64(row + 4 + value.size(), offset);
}

std::unique_ptr<SFWAHVector> noRecords(std::span<const uint32_t> recordCounts) {
  auto set = std::make_unique<SFWAHVector>(nullptr);
  for (uint32_t count : recordCounts) {
    set->encoder()->appendZeros(count);
    set->setLength(set->length() + count);
    set->encoder()->finish();
    set->chunks()->closeSegment();
  }
  return set;
}

}  // namespace fieldtable

using fieldtable::kMinTableBytes;
using fieldtable::kRowFixedBytes;

std::unique_ptr<CInputDesc> FieldTableReader::open(const std::string& path, uint32_t readBuffer,
                                                   const char* descriptorFailure) {
  m_path = path;
  std::unique_ptr<CInputDesc> input;
  try {
    input = std::make_unique<CInputDesc>(std::make_unique<CFileInput>(path.c_str(), readBuffer));
  } catch (const std::bad_alloc&) {
    QRN_RAISE(2, "%s", descriptorFailure);
  }
  CFileInput& file = input->file();
  file.seekFromEnd(closing::kSize);
  int64_t table = 0;
  if (input->readClosingBlock(table) == 0) fail(m_texts.checksum);
  const int64_t tableEnd = file.size() - closing::kSize;
  if (table < 0 || table > tableEnd - kMinTableBytes) {
    fail(formatText("table offset %lld is invalid", static_cast<long long>(table)));
  }
  m_tableOffset = table;
  file.seek(table);
  m_tableLeft = tableEnd - table - kMinTableBytes;
  const auto segments = static_cast<uint32_t>(file.readInt());
  if (segments > m_tableLeft / 4) fail(formatText("segment count %u is invalid", segments));
  m_tableLeft -= int64_t{4} * segments;
  m_recordCounts.clear();
  m_recordCounts.reserve(segments);
  for (uint32_t i = 0; i < segments; ++i) m_recordCounts.push_back(static_cast<uint32_t>(file.readInt()));
  m_rowCount = static_cast<uint32_t>(file.readInt());
  if (m_rowCount > m_tableLeft / kRowFixedBytes) fail(formatText("%s count %u is invalid", m_texts.row, m_rowCount));
  return input;
}

ZeroedArray<char> FieldTableReader::readRows(CFileInput& file) {
  if constexpr (sizeof(size_t) < sizeof(int64_t)) {
    if (m_tableLeft > static_cast<int64_t>(SIZE_MAX)) {
      fail(formatText("%s table of %lld bytes is too large", m_texts.row, static_cast<long long>(m_tableLeft)));
    }
  }
  ZeroedArray<char> rows(static_cast<size_t>(m_tableLeft));
  for (int64_t at = 0; at < m_tableLeft;) {
    const auto part = static_cast<uint32_t>(std::min<int64_t>(m_tableLeft - at, int64_t{1} << 30));
    file.readChars(rows.data() + at, part);
    at += part;
  }
  return rows;
}

const char* FieldTableReader::checkRow(const char* row) {
  takeRowHead();
  const uint32_t length = loadLE32(row);
  takeValue(length);
  checkOffset(loadLE64(row + 4 + length));
  return row + kRowFixedBytes + length;
}

uint64_t FieldTableReader::readRow(CFileInput& file, std::string& value) {
  takeRowHead();
  const auto length = static_cast<uint32_t>(file.readInt());
  takeValue(length);
  value.resize(length);
  file.readChars(value.data(), length);
  return checkOffset(static_cast<uint64_t>(file.readInt64()));
}

void FieldTableReader::checkOrder(std::string_view previous, std::string_view value, uint32_t number) const {
  if (!(previous < value)) fail(formatText("%s %u is out of order", m_texts.row, number));
}

void FieldTableReader::loadImage(CInputDesc& input, uint64_t offset, SFWAHVector& image) const {
  input.file().seek(static_cast<int64_t>(offset));
  image.chunks()->readFrom(&input);
  // Operators pair segments one to one; an image that differs would mislead them.
  const size_t segments = image.chunks()->segmentWords().size();
  if (segments != m_recordCounts.size()) {
    QRN_RAISE(2, "%s at %llu of %s has %u segments", m_texts.image, static_cast<unsigned long long>(offset),
              m_path.c_str(), static_cast<uint32_t>(segments));
  }
}

void FieldTableReader::fail(const std::string& what) const {
  QRN_RAISE(2, "%s %s fail, %s", m_texts.verb, m_path.c_str(), what.c_str());
}

void FieldTableReader::takeRowHead() {
  if (m_tableLeft < kRowFixedBytes) fail(formatText("%s table is cut short", m_texts.row));
  m_tableLeft -= kRowFixedBytes;
}

void FieldTableReader::takeValue(uint32_t length) {
  if (length > m_tableLeft) fail(formatText("%s length %u is invalid", m_texts.row, length));
  m_tableLeft -= length;
}

uint64_t FieldTableReader::checkOffset(uint64_t offset) const {
  // An image lies wholly below the table.
  if (offset >= static_cast<uint64_t>(m_tableOffset)) {
    fail(formatText("%s %llu is invalid", m_texts.offset, static_cast<unsigned long long>(offset)));
  }
  return offset;
}

}  // namespace quern
