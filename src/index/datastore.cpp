#include "index/datastore.h"

#include <limits>

#include "base/exception.h"
#include "base/guard.h"
#include "index/storeformat.h"
#include "storage/closingblock.h"

namespace quern {

using storeformat::kEntrySize;

// ---- CDataWriter ------------------------------------------------------------

CDataWriter::CDataWriter(const std::string& basePath) {
  raiseAs(QRN_SITE(2), "construct CDataWriter", [&] {
    const std::string path = basePath + ".di";
    m_output = std::make_unique<COutputDesc>(std::make_unique<CFileOutput>(path.c_str()));
  });
}

void CDataWriter::addRecord(uint32_t firstRecord, uint64_t logOffset, const std::string& logPath) {
  if (m_paths.empty() || logPath != m_lastPath) {
    m_lastPath = logPath;
    m_paths.push_back(logPath);
  }
  storeformat::writeEntry(m_output->file(), {firstRecord, logOffset, static_cast<uint32_t>(m_paths.size() - 1)});
}

void CDataWriter::finish() {
  CFileOutput& file = m_output->file();
  const int64_t table = file.position();
  file.writeInt(static_cast<int32_t>(m_paths.size()));
  for (const std::string& path : m_paths) {
    file.writeInt(static_cast<int32_t>(path.size()));
    file.writeChars(path.data(), static_cast<uint32_t>(path.size()));
  }
  m_output->writeClosingBlock(table);
}

// ---- CDataReader ------------------------------------------------------------

CDataReader::CDataReader(const char* basePath) {
  if (basePath == nullptr) QRN_RAISE(2, "Invalid param(storeFileName)");
  raiseAs(QRN_SITE(2), "construct CDataReader", [&] {
    read(basePath);
  });
}

void CDataReader::read(const char* basePath) {
  const std::string path = std::string(basePath) + ".di";
  try {
    m_input = std::make_unique<CInputDesc>(std::make_unique<CFileInput>(path.c_str()));
  } catch (const std::bad_alloc&) {
    QRN_RAISE(2, "construct CInputDesc fail");
  }
  CFileInput& file = m_input->file();
  file.seekFromEnd(closing::kSize);
  int64_t table = 0;
  if (m_input->readClosingBlock(table) == 0) QRN_RAISE(2, "read %s fail, checksum incorrect", basePath);
  // A sound table offset lies on an entry boundary inside the body.
  if (table < 0 || table % kEntrySize != 0 || table > file.size() - static_cast<int64_t>(closing::kSize)) {
    QRN_RAISE(2, "read %s fail, table offset %lld is invalid", basePath, static_cast<long long>(table));
  }

  // The path table must end where the closing block begins.
  const int64_t tableEnd = file.size() - closing::kSize;
  auto needTable = [&](int64_t bytes) {
    if (file.position() + bytes > tableEnd) QRN_RAISE(2, "read %s fail, path table is damaged", basePath);
  };
  file.seek(table);
  needTable(4);
  const uint32_t count = static_cast<uint32_t>(file.readInt());
  for (uint32_t row = 0; row < count; ++row) {
    needTable(4);
    const uint32_t length = static_cast<uint32_t>(file.readInt());
    if (length > storeformat::kMaxPathSize) QRN_RAISE(2, "path_size %u is invalid", length);
    needTable(length);
    char text[storeformat::kMaxPathSize];
    file.readChars(text, length);
    raiseAs(QRN_SITE(2), "m_datas push_back", [&] {
      m_logs.emplace_back(text, length);
    });
  }

  file.seek(0);
  for (int64_t at = 0; at < table; at += kEntrySize) {
    const storeformat::Entry entry = storeformat::readEntry(file);
    if (entry.pathRow >= m_logs.size()) QRN_RAISE(2, "read %s fail, path index %u is invalid", basePath, entry.pathRow);
    m_entries.emplace(entry.firstRecord, Entry{entry.logOffset, entry.pathRow});  // a repeated id keeps the earlier entry
  }
}

std::string CDataReader::locator(uint32_t record) const {
  auto entry = m_entries.upper_bound(record);
  if (entry == m_entries.begin()) QRN_RAISE(2, "record %u has no block in the store", record);
  --entry;
  const std::string& path = m_logs[entry->second.pathIndex];
  const size_t cut = path.find_last_of("/\\");
  const char* name = path.c_str() + (cut == std::string::npos ? 0 : cut + 1);
  if (*name == '\0') QRN_RAISE(2, "invalid path %s", path.c_str());
  uint32_t number = 0;
  for (const char* p = name; *p >= '0' && *p <= '9'; ++p) number = number * 10 + static_cast<uint32_t>(*p - '0');
  return formatText("%u:%u:%u", number, static_cast<uint32_t>(entry->second.logOffset), record - entry->first);
}

// ---- CDataMerger ------------------------------------------------------------

CDataMerger::CDataMerger(std::unique_ptr<CDataWriter> writer) : m_writer(std::move(writer)) {}

void CDataMerger::add(const CDataReader* source, uint32_t recordCount) {
  raiseAs(QRN_SITE(2), "m_entrys push_back", [&] {
    m_entries.push_back(CDataMergerEntry{source, recordCount});
  });
}

void CDataMerger::merge() {
  uint32_t base = 0;
  for (const CDataMergerEntry& entry : m_entries) {
    for (const auto& [first, block] : entry.source->entries()) {
      m_writer->addRecord(first + base, block.logOffset, entry.source->logPath(block.pathIndex));
    }
    base += entry.recordCount;
  }
  m_writer->finish();
}

}  // namespace quern
