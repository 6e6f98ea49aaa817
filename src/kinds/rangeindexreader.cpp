#include "kinds/rangeindexreader.h"

#include "base/exception.h"
#include "base/guard.h"
#include "codec/sfwahxor.h"

namespace quern {

namespace {
const FieldTableTexts kTexts{"read", "checksum incorrect", "value", "image offset", "image"};
}  // namespace

RangeIndexReader::RangeIndexReader(const char* path) : m_table(kTexts) {
  if (path == nullptr) QRN_RAISE(2, "Invalid param(file)");
  raiseAs(QRN_SITE(2), "construct RangeIndexReader", [&] {
    m_path = path;
    m_input = m_table.open(m_path, 0, "new CIputDesc fail");
    loadRows();
  }, [&] { close(); });
}

RangeIndexReader::~RangeIndexReader() {
  keepFailures(QRN_SITE(0), "destructor RangeIndexReader", [&] {
    close();
  });
}

void RangeIndexReader::loadRows() {
  // One read of all the rows; the table is their starts, in file order,
  // which is value order.
  m_rows = m_table.readRows(m_input->file());
  m_values.reserve(m_table.rowCount());
  const char* row = m_rows.data();
  for (uint32_t number = 0; number < m_table.rowCount(); ++number) {
    const char* next = m_table.checkRow(row);
    if (number != 0) m_table.checkOrder(value(number - 1), fieldtable::rowValue(row), number);
    m_values.push_back(row);
    row = next;
  }
}

void RangeIndexReader::close() {
  m_input.reset();
  m_scanInput.reset();
  m_values = {};
  m_rows = ZeroedArray<char>();
}

uint32_t RangeIndexReader::lowerBound(std::string_view text) const {
  uint32_t low = 0;
  uint32_t high = valueCount();
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (value(middle) < text) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

void RangeIndexReader::checkOpen() const {
  if (!m_input || m_scanInput) QRN_RAISE(1, "search on closed reader %s", m_path.c_str());
}

std::unique_ptr<SFWAHVector> RangeIndexReader::find(std::string_view text) {
  const uint32_t at = lowerBound(text);
  if (at == valueCount() || value(at) != text) return nullptr;
  std::unique_ptr<SFWAHVector> set = BitDecoderFactory::instance().create();
  m_table.loadImage(*m_input, fieldtable::rowOffset(m_values[at]), *set);
  return set;
}

std::unique_ptr<SFWAHVector> RangeIndexReader::search(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid data or size(%u)", size);
  checkOpen();
  return find(std::string_view(static_cast<const char*>(data), size));
}

bool RangeIndexReader::isFirstValue(std::string_view text) const {
  return m_values.empty() || text == value(0);
}

bool RangeIndexReader::isBelowFirst(std::string_view text) const {
  return !m_values.empty() && text < value(0);
}

bool RangeIndexReader::isAboveLast(std::string_view text) const {
  return m_values.empty() || text > value(valueCount() - 1);
}

void RangeIndexReader::adjustRange(std::string* from, std::string* to) const {
  if (from == nullptr || to == nullptr) QRN_RAISE(1, "invalid param from/to");
  if (m_values.empty()) return;
  if (*from <= value(0)) {
    *from = value(0);
  } else {
    // No stored value in the range: both ends stay, and the range finds nothing.
    const uint32_t first = lowerBound(*from);
    if (first == valueCount() || value(first) > *to) return;
    *from = value(first - 1);
  }
  const uint32_t last = valueCount() - 1;
  if (value(last) <= *to) {
    *to = value(last);
  } else {
    const uint32_t above = lowerBound(*to);
    if (above != 0 && value(above) != *to) *to = value(above - 1);
  }
}

std::unique_ptr<SFWAHVector> RangeIndexReader::searchRange(const std::string& from, const std::string& to) {
  checkOpen();
  if (from > to) return nullptr;
  if (isBelowFirst(to) || isAboveLast(from)) return nullptr;
  std::string low = from;
  std::string high = to;
  adjustRange(&low, &high);
  if (low == high) return find(low);
  // The range starts at the very bottom: the upper end's set is the answer.
  if (low == value(0) && from <= low) return find(high);
  // Records at or below the upper end, less those at or below the stored
  // value just under the range.
  std::unique_ptr<SFWAHVector> below = find(low);
  if (!below) return nullptr;
  std::unique_ptr<SFWAHVector> upTo = find(high);
  if (!upTo) return nullptr;
  return SFWAHXor::of(std::move(upTo), std::move(below));
}

void RangeIndexReader::beginScan() {
  close();
  // Both descriptors of a scan walk the file in order.
  m_input = m_table.open(m_path, kScanBuffer, "new CInputDesc fail");
  m_scanRows = m_table.rowCount();
  m_scanInput = m_input->clone();
  m_scanCursor = 0;
}

std::unique_ptr<SFWAHVector> RangeIndexReader::nextValue(std::string& current) {
  std::unique_ptr<SFWAHVector> set = BitDecoderFactory::instance().create();
  nextValue(current, *set);
  return set;
}

void RangeIndexReader::nextValue(std::string& current, SFWAHVector& set) {
  if (!m_scanInput || m_scanCursor >= m_scanRows) {
    QRN_RAISE(1, "range index read over, invalid call, %u, %u", m_scanCursor, m_scanRows);
  }
  const uint64_t offset = m_table.readRow(m_input->file(), current);
  m_table.loadImage(*m_scanInput, offset, set);
  ++m_scanCursor;
}

}  // namespace quern
