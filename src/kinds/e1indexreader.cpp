#include "kinds/e1indexreader.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "base/exception.h"
#include "base/guard.h"
#include "storage/closingblock.h"
#include "storage/endian.h"

namespace quern {

namespace {
// The smallest term row: length, no byte (damage only), offset.
constexpr int64_t kMinRowBytes = 12;
// The smallest table: segment count and term count.
constexpr int64_t kMinTableBytes = 8;
}  // namespace

E1IndexReader::E1IndexReader(const char* path) {
  if (path == nullptr) QRN_RAISE(2, "Invalid param(file)");
  raiseAs(QRN_SITE(2), "construct E1IndexReader", [&] {
    m_path = path;
    const uint32_t count = openTable("construct CInputDesc fail", 0);
    loadRows(count);
  }, [&] { close(); });
}

void E1IndexReader::loadRows(uint32_t count) {
  // One read of all the rows; the table then points into them, since a
  // row begins as the table keeps a term (length, bytes).
  static_assert(std::endian::native == std::endian::little, "rows are adopted as they lie in the file");
  if constexpr (sizeof(size_t) < sizeof(int64_t)) {
    if (m_tableLeft > static_cast<int64_t>(SIZE_MAX)) {
      QRN_RAISE(2, "open %s fail, term table of %lld bytes is too large", m_path.c_str(),
                static_cast<long long>(m_tableLeft));
    }
  }
  m_rows = ZeroedArray<char>(static_cast<size_t>(m_tableLeft));
  CFileInput& file = m_input->file();
  for (int64_t at = 0; at < m_tableLeft;) {
    const auto part = static_cast<uint32_t>(std::min<int64_t>(m_tableLeft - at, int64_t{1} << 30));
    file.readChars(m_rows.data() + at, part);
    at += part;
  }
  m_terms = std::make_unique<E1TermTable>();
  const char* row = m_rows.data();
  for (uint32_t number = 0; number < count; ++number) {
    takeRowHead();
    const uint32_t length = loadLE32(row);
    takeTerm(length);
    const std::string_view term(row + 4, length);
    checkOffset(loadLE64(row + 4 + length));
    if (number != 0 && !(m_terms->term(number - 1) < term)) {
      QRN_RAISE(2, "open %s fail, term %u is out of order", m_path.c_str(), number);
    }
    m_terms->adopt(row);
    row += kMinRowBytes + length;
  }
}

E1IndexReader::~E1IndexReader() {
  keepFailures(QRN_SITE(0), "destructor E1IndexReader", [&] {
    close();
  });
}

uint32_t E1IndexReader::openTable(const char* descriptorFailure, uint32_t readBuffer) {
  m_input.reset();
  try {
    m_input = std::make_unique<CInputDesc>(std::make_unique<CFileInput>(m_path.c_str(), readBuffer));
  } catch (const std::bad_alloc&) {
    QRN_RAISE(2, "%s", descriptorFailure);
  }
  CFileInput& file = m_input->file();
  file.seekFromEnd(closing::kSize);
  int64_t table = 0;
  if (m_input->readClosingBlock(table) == 0) QRN_RAISE(2, "open %s fail, meta checksum incorrect", m_path.c_str());
  const int64_t tableEnd = file.size() - closing::kSize;
  if (table < 0 || table > tableEnd - kMinTableBytes) {
    QRN_RAISE(2, "open %s fail, table offset %lld is invalid", m_path.c_str(), static_cast<long long>(table));
  }
  m_tableOffset = table;
  file.seek(table);
  // Counts are checked against the bytes left, so damage never allocates much.
  m_tableLeft = tableEnd - table - kMinTableBytes;
  const uint32_t segments = static_cast<uint32_t>(file.readInt());
  if (segments > m_tableLeft / 4) QRN_RAISE(2, "open %s fail, segment count %u is invalid", m_path.c_str(), segments);
  m_tableLeft -= int64_t{4} * segments;
  m_recordCounts.clear();
  m_recordCounts.reserve(segments);
  for (uint32_t i = 0; i < segments; ++i) m_recordCounts.push_back(static_cast<uint32_t>(file.readInt()));
  const uint32_t count = static_cast<uint32_t>(file.readInt());
  if (count > m_tableLeft / kMinRowBytes) QRN_RAISE(2, "open %s fail, term count %u is invalid", m_path.c_str(), count);
  return count;
}

void E1IndexReader::takeRowHead() {
  if (m_tableLeft < kMinRowBytes) QRN_RAISE(2, "open %s fail, term table is cut short", m_path.c_str());
  m_tableLeft -= kMinRowBytes;
}

void E1IndexReader::takeTerm(uint32_t length) {
  if (length > m_tableLeft) QRN_RAISE(2, "open %s fail, term length %u is invalid", m_path.c_str(), length);
  m_tableLeft -= length;
}

uint64_t E1IndexReader::checkOffset(uint64_t offset) const {
  // A posting list lies wholly below the table.
  if (offset >= static_cast<uint64_t>(m_tableOffset)) {
    QRN_RAISE(2, "open %s fail, posting offset %llu is invalid", m_path.c_str(),
              static_cast<unsigned long long>(offset));
  }
  return offset;
}

uint64_t E1IndexReader::readRow(std::string& term) {
  CFileInput& file = m_input->file();
  takeRowHead();
  const uint32_t length = static_cast<uint32_t>(file.readInt());
  takeTerm(length);
  term.resize(length);
  file.readChars(term.data(), length);
  return checkOffset(static_cast<uint64_t>(file.readInt64()));
}

uint64_t E1IndexReader::offsetOf(uint32_t number) const {
  const std::string_view term = m_terms->term(number);
  return loadLE64(term.data() + term.size());
}

void E1IndexReader::loadList(CInputDesc& input, uint64_t offset, SFWAHVector& list) {
  input.file().seek(static_cast<int64_t>(offset));
  list.chunks()->readFrom(&input);
  // Operators pair segments one to one; a list that differs would mislead them.
  const size_t segments = list.chunks()->segmentWords().size();
  if (segments != m_recordCounts.size()) {
    QRN_RAISE(2, "posting list at %llu of %s has %u segments", static_cast<unsigned long long>(offset),
              m_path.c_str(), static_cast<uint32_t>(segments));
  }
}

std::unique_ptr<SFWAHVector> E1IndexReader::search(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid data or size(%u)", size);
  if (!m_input) QRN_RAISE(1, "search on closed reader %s", m_path.c_str());
  const uint32_t found = m_terms->find(std::string_view(static_cast<const char*>(data), size));
  if (found == E1TermTable::kNone) return nullptr;
  std::unique_ptr<SFWAHVector> list = BitDecoderFactory::instance().create();
  loadList(*m_input, offsetOf(found), *list);
  return list;
}

void E1IndexReader::close() {
  m_input.reset();
  m_scanInput.reset();
  m_terms.reset();
  m_rows = ZeroedArray<char>();
}

std::string E1IndexReader::term(uint32_t index) const {
  if (index >= termCount()) QRN_RAISE(1, "invalid param(term index (%u))", index);
  return std::string(m_terms->term(index));
}

void E1IndexReader::beginScan() {
  close();
  // Both descriptors of a scan walk the file in order.
  m_scanTermCount = openTable("construct E1IndexReader fail", kScanBuffer);
  m_scanInput = m_input->clone();
  m_scanCursor = 0;
}

std::unique_ptr<SFWAHVector> E1IndexReader::nextTerm(std::string& term) {
  std::unique_ptr<SFWAHVector> list = BitDecoderFactory::instance().create();
  nextTerm(term, *list);
  return list;
}

void E1IndexReader::nextTerm(std::string& term, SFWAHVector& list) {
  if (!m_scanInput || m_scanCursor >= m_scanTermCount) QRN_RAISE(1, "no term left to scan in %s", m_path.c_str());
  const uint64_t offset = readRow(term);
  loadList(*m_scanInput, offset, list);
  ++m_scanCursor;
}

}  // namespace quern
