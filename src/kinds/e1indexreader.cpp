#include "kinds/e1indexreader.h"

#include <bit>
#include <cstdint>

#include "base/exception.h"
#include "base/guard.h"
#include "storage/endian.h"

namespace quern {

namespace {
const FieldTableTexts kTexts{"open", "meta checksum incorrect", "term", "posting offset", "posting list"};
}  // namespace

E1IndexReader::E1IndexReader(const char* path) : m_table(kTexts) {
  if (path == nullptr) QRN_RAISE(2, "Invalid param(file)");
  raiseAs(QRN_SITE(2), "construct E1IndexReader", [&] {
    m_path = path;
    m_input = m_table.open(m_path, 0, "construct CInputDesc fail");
    loadRows();
  }, [&] { close(); });
}

void E1IndexReader::loadRows() {
  // One read of all the rows; the table then points into them, since a
  // row begins as the table keeps a term (length, bytes).
  static_assert(std::endian::native == std::endian::little, "rows are adopted as they lie in the file");
  m_rows = m_table.readRows(m_input->file());
  m_terms = std::make_unique<E1TermTable>();
  const char* row = m_rows.data();
  for (uint32_t number = 0; number < m_table.rowCount(); ++number) {
    const char* next = m_table.checkRow(row);
    if (number != 0) m_table.checkOrder(m_terms->term(number - 1), fieldtable::rowValue(row), number);
    m_terms->adopt(row);
    row = next;
  }
}

E1IndexReader::~E1IndexReader() {
  keepFailures(QRN_SITE(0), "destructor E1IndexReader", [&] {
    close();
  });
}

uint64_t E1IndexReader::offsetOf(uint32_t number) const {
  const std::string_view term = m_terms->term(number);
  return loadLE64(term.data() + term.size());
}

std::unique_ptr<SFWAHVector> E1IndexReader::search(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid data or size(%u)", size);
  if (!m_input) QRN_RAISE(1, "search on closed reader %s", m_path.c_str());
  const uint32_t found = m_terms->find(std::string_view(static_cast<const char*>(data), size));
  if (found == E1TermTable::kNone) return nullptr;
  std::unique_ptr<SFWAHVector> list = BitDecoderFactory::instance().create();
  m_table.loadImage(*m_input, offsetOf(found), *list);
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
  m_input = m_table.open(m_path, kScanBuffer, "construct E1IndexReader fail");
  m_scanTermCount = m_table.rowCount();
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
  const uint64_t offset = m_table.readRow(m_input->file(), term);
  m_table.loadImage(*m_scanInput, offset, list);
  ++m_scanCursor;
}

}  // namespace quern
