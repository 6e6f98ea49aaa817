#include "index/index.h"

#include <cstring>

#include "config/config.h"
#include "base/exception.h"
#include "base/guard.h"
#include "index/indexerfactory.h"
#include "platform/platform.h"
#include "storage/endian.h"

namespace quern {

namespace {
// Batches beyond this many records grow their slot list as they fill.
constexpr uint32_t kReservedSlots = 65536;
}  // namespace

void writeSummary(const std::string& directory, uint32_t recordCount, const FieldsInfo& fields) {
  IniFile summary;
  summary.SetValue("Record", "Count", std::to_string(recordCount).c_str());
  summary.SetValue("Field", "Count", std::to_string(fields.fieldCount()).c_str());
  for (uint32_t id = 0; id < fields.fieldCount(); ++id) {
    summary.SetValue("Field", ("f" + std::to_string(id)).c_str(), fields.fieldName(id).c_str());
  }
  const std::string path = directory + "index.desc";
  // A directory without its summary cannot be searched: the run must end
  // before the store is completed.
  if (summary.Save(path.c_str()) != 0) QRN_RAISE(2, "save %s failed", path.c_str());
}

// ---- IndexWriter ------------------------------------------------------------

IndexWriter::IndexWriter(const std::string& directory)
    : IndexWriter(directory, FieldsInfo::instance(), IndexConfig::instance().cacheValueSize()) {}

IndexWriter::IndexWriter(const std::string& directory, const FieldsInfo& fields, uint32_t cacheValueSize)
    : m_fields(fields) {
  raiseAs(QRN_SITE(2), "construct IndexWriter", [&] {
    m_directory = directory;
    m_fieldCache = std::make_unique<CMemCache>();
    // A batch without a slot could take no record: 0 means the smallest batch.
    m_capacity = cacheValueSize == 0 ? 1 : cacheValueSize;
    m_valueBatch.reserve(m_capacity < kReservedSlots ? m_capacity : kReservedSlots);
    m_valueCache = std::make_unique<CMemCache>();
    for (uint32_t id = 0; id < fields.fieldCount(); ++id) {
      m_indexers.push_back(IndexerFactory::instance().create(fields.indexerKind(id), m_fieldCache.get()));
    }
    m_store = std::make_unique<CDataWriter>(directory + "store");
  }, [&] { release(); });
}

IndexWriter::~IndexWriter() {
  keepFailures(QRN_SITE(0), "destructor IndexWriter", [&] {
    release();
  });
}

void IndexWriter::release() {
  m_store.reset();
  m_indexers.clear();
  m_valueBatch.clear();
  m_valueCache.reset();
  m_fieldCache.reset();
  m_collector.reset();
}

void IndexWriter::setCollector(std::unique_ptr<RecordSource> collector) { m_collector = std::move(collector); }

uint8_t* IndexWriter::newRecord(uint32_t size) {
  if (size > UINT32_MAX - 4) QRN_RAISE(2, "record size(%u) is invalid", size);
  if (m_valueBatch.size() >= m_capacity) flush();
  uint8_t* blob = m_valueCache->alloc(size + 4);
  storeLE32(blob, size);
  m_valueBatch.push_back(blob);
  return blob;
}

void IndexWriter::flush() {
  for (const uint8_t* blob : m_valueBatch) addBlob(blob);
  m_valueCache->clear();
  m_recordCount += static_cast<uint32_t>(m_valueBatch.size());
  m_valueBatch.clear();
}

void IndexWriter::addBlob(const uint8_t* blob) {
  // The entries must stay inside the bytes the producer reserved.
  const uint32_t size = loadLE32(blob);
  uint32_t at = 4;
  const uint32_t end = size + 4;
  for (const std::unique_ptr<FieldIndexer>& indexer : m_indexers) {
    if (end - at < 4) QRN_RAISE(1, "record %u overruns its blob", m_recordCount + 1);
    const uint32_t length = loadLE32(blob + at);
    at += 4;
    if (length > end - at) QRN_RAISE(1, "record %u overruns its blob", m_recordCount + 1);
    indexer->add(blob + at, length);
    at += length;
  }
}

void IndexWriter::finish() {
  writeSummary(m_directory, m_recordCount, m_fields);
  QRN_TRACE(2, "write %s success, record:%u", (m_directory + "index.desc").c_str(), m_recordCount);
  for (uint32_t id = 0; id < m_indexers.size(); ++id) {
    const std::string path = m_directory + m_fields.fileName(id);
    // One field file open at a time; the descriptor commits it when it goes.
    COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
    m_indexers[id]->write(&output);
  }
  m_store->finish();
}

// ---- IndexReader ------------------------------------------------------------

IndexReader::IndexReader(const std::string& directory) : IndexReader(directory, FieldsInfo::instance()) {}

IndexReader::IndexReader(const std::string& directory, const FieldsInfo& fields)
    : m_fields(fields), m_store(std::make_unique<CDataReader>((directory + "store").c_str())), m_directory(directory) {}

IndexReader::~IndexReader() {
  keepFailures(QRN_SITE(0), "destructor IndexReader", [&] {
    m_fieldReaders.clear();
    m_store.reset();
  });
}

void IndexReader::loadSummary() {
  IniFile summary;
  const std::string path = m_directory + "index.desc";
  if (summary.Load(path.c_str()) != 0) {
    QRN_RAISE(2, "load index summary failed, %s", platform::errorText(platform::lastErrno()).c_str());
  }
  const uint32_t count = configNumber(summary, "Record", "Count", 0);
  if (count > kMaxRecordCount) QRN_RAISE(2, "record count:%u is invalid", count);
  m_recordCount = count;
}

FieldIndexReader* IndexReader::fieldReader(const std::string& name) {
  auto found = m_fieldReaders.find(name);
  if (found != m_fieldReaders.end()) return found->second.get();
  const uint32_t id = m_fields.fieldId(name);
  const std::string path =
      formatText("%s/%s.%s", m_directory.c_str(), name.c_str(), m_fields.indexerWord(id).c_str());
  std::unique_ptr<FieldIndexReader> reader = IndexReaderFactory::instance().create(m_fields.indexerKind(id), path);
  return m_fieldReaders.emplace(name, std::move(reader)).first->second.get();
}

void IndexReader::forgetField(const std::string& name) { m_fieldReaders.erase(name); }

}  // namespace quern
