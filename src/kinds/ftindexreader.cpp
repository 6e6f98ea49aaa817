#include "kinds/ftindexreader.h"

#include <algorithm>
#include <tuple>

#include "base/exception.h"
#include "base/guard.h"
#include "codec/posintersect.h"
#include "index/fieldtable.h"
#include "kinds/ftformat.h"
#include "storage/closingblock.h"
#include "wordcleave.h"

namespace quern {

FtIndexReader::FtIndexReader(const char* path) {
  if (path == nullptr) QRN_RAISE(2, "Invalid param(file)");
  raiseAs(QRN_SITE(2), "construct FtIndexReader", [&] {
    m_path = path;
    m_rowCount = openTable("construct CInputDesc fail", 0);
    const int64_t bytes = m_rowCount * int64_t{ftformat::kRowBytes};
    if constexpr (sizeof(size_t) < sizeof(int64_t)) {
      if (bytes > static_cast<int64_t>(SIZE_MAX)) QRN_RAISE(2, "read %s fail, term table is too large", path);
    }
    m_rows = ZeroedArray<char>(static_cast<size_t>(bytes));
    for (int64_t at = 0; at < bytes;) {
      const auto part = static_cast<uint32_t>(std::min<int64_t>(bytes - at, int64_t{1} << 30));
      m_input->file().readChars(m_rows.data() + at, part);
      at += part;
    }
    for (uint32_t i = 0; i < m_rowCount; ++i) {
      const ftformat::Row row = ftformat::loadRow(m_rows.data() + i * ftformat::kRowBytes);
      checkRow(row.term, Offsets{row.recordEnd, row.positionEnd});
    }
  }, [&] { close(); });
}

FtIndexReader::~FtIndexReader() {
  keepFailures(QRN_SITE(0), "destructor FtIndexReader", [&] {
    close();
  });
}

uint32_t FtIndexReader::openTable(const char* descriptorFailure, uint32_t readBuffer) {
  m_input.reset();
  static const FieldTableTexts kTexts{"read", "checksum incorrect", "term", "term offset", "list"};
  FieldTableReader table(kTexts);
  m_input = table.open(m_path, readBuffer, descriptorFailure);
  m_segments = table.recordCounts();
  uint64_t records = 0;
  for (uint32_t count : m_segments) records += count;
  if (records > UINT32_MAX) {
    QRN_RAISE(2, "read %s fail, segments of %llu records", m_path.c_str(), static_cast<unsigned long long>(records));
  }
  // The table's head lies between T and the first row; the rows, of a fixed
  // size here, must fit the bytes before the closing block.
  CFileInput& file = m_input->file();
  m_tableOffset = file.position() - fieldtable::kMinTableBytes - int64_t{4} * static_cast<int64_t>(m_segments.size());
  const uint32_t count = table.rowCount();
  if (count > (file.size() - closing::kSize - file.position()) / ftformat::kRowBytes) {
    QRN_RAISE(2, "read %s fail, term count %u is invalid", m_path.c_str(), count);
  }
  m_lastTerm = -1;
  m_lastEnd = 0;
  return count;
}

void FtIndexReader::checkRow(int32_t term, const Offsets& offsets) {
  if (term <= m_lastTerm) QRN_RAISE(2, "read %s fail, term %d is out of order", m_path.c_str(), term);
  // Each block holds its two trailers, the record trailer first.
  if (offsets.recordEnd - POSPostings::kRecordTrailer < m_lastEnd ||
      offsets.positionEnd - POSPostings::kPositionTrailer < offsets.recordEnd || offsets.positionEnd > m_tableOffset) {
    QRN_RAISE(2, "read %s fail, offsets of term %d are invalid", m_path.c_str(), term);
  }
  m_lastTerm = term;
  m_lastEnd = offsets.positionEnd;
}

bool FtIndexReader::find(int32_t term, Offsets& offsets) const {
  uint32_t low = 0;
  uint32_t high = m_rowCount;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    const ftformat::Row row = ftformat::loadRow(m_rows.data() + middle * ftformat::kRowBytes);
    const int32_t id = row.term;
    if (id == term) {
      offsets = Offsets{row.recordEnd, row.positionEnd};
      return true;
    }
    if (id < term) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return false;
}

std::unique_ptr<SFWAHVector> FtIndexReader::search(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid param data or size(%u)", size);
  if (!m_input) QRN_RAISE(1, "search on closed reader %s", m_path.c_str());
  const unsigned int count = word_cleave_run(data, size);
  if (count == 0xFFFFFFFFu) {
    const std::string text(static_cast<const char*>(data), size);
    QRN_RAISE(2, "slice %s fail, %s", text.c_str(), word_cleave_error());
  }
  // Every word is looked up before any list is opened: a phrase with a word
  // the file lacks matches nothing.
  std::vector<Offsets> words(count);
  for (uint32_t i = 0; i < count; ++i) {
    if (!find(word_cleave_word(i), words[i])) return nullptr;
  }
  if (count == 0) return nullptr;
  std::vector<std::unique_ptr<POSVector>> lists;
  lists.reserve(count);
  for (const Offsets& word : words) lists.push_back(listAt(word));
  POSIntersect intersect(std::move(lists));
  std::unique_ptr<SFWAHVector> found = intersect.run(m_segments);
  for (std::unique_ptr<POSVector>& list : intersect.takeLists()) {
    if (m_spareLists.size() < kSpareLists) m_spareLists.push_back(std::move(list));
  }
  return found;
}

std::unique_ptr<POSVector> FtIndexReader::listAt(const Offsets& word) {
  std::unique_ptr<POSVector> list;
  std::unique_ptr<CInputDesc> records;
  std::unique_ptr<CInputDesc> positions;
  if (m_spareLists.empty()) {
    records = m_input->clone();
    positions = m_input->clone();
  } else {
    list = std::move(m_spareLists.back());
    m_spareLists.pop_back();
    std::tie(records, positions) = list->detach();
  }
  records->file().seek(word.recordEnd);
  positions->file().seek(word.positionEnd);
  if (!list) return POSDecoderFactory::instance().create(std::move(records), std::move(positions));
  list->attach(std::move(records), std::move(positions));
  return list;
}

void FtIndexReader::close() {
  m_spareLists.clear();
  m_input.reset();
  m_rows = ZeroedArray<char>();
  m_rowCount = 0;
  m_segments.clear();
}

void FtIndexReader::beginScan() {
  close();
  m_scanRows = openTable("new CInputDesc fail", kScanBuffer);
  m_scanCursor = 0;
}

bool FtIndexReader::nextTerm(int32_t& term, Offsets& offsets) {
  if (!m_input || m_scanCursor >= m_scanRows) return false;
  char bytes[ftformat::kRowBytes];
  m_input->file().readChars(bytes, sizeof bytes);
  const ftformat::Row row = ftformat::loadRow(bytes);
  term = row.term;
  offsets = Offsets{row.recordEnd, row.positionEnd};
  checkRow(term, offsets);
  ++m_scanCursor;
  return true;
}

}  // namespace quern
