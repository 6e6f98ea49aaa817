// IndexWriter builds one index directory; IndexReader opens one. A directory
// holds index.desc, one file per field (name "." indexer word) and store.di.
// Directory paths are used as given and must end in a path separator.
// One thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "index/datastore.h"
#include "index/fieldindex.h"
#include "index/fieldsinfo.h"
#include "storage/memcache.h"

namespace quern {

// What feeds a writer its records during a pass (the intake's Collector).
// The writer owns it and destroys it after everything else; the feeder's
// floor stands above this one, so the writer knows it by this base only.
class RecordSource {
 public:
  virtual ~RecordSource() = default;
};

// Writes `directory` + "index.desc" with the record count and the field
// names; raises level 2 "save %s failed" when the file cannot be written.
void writeSummary(const std::string& directory, uint32_t recordCount, const FieldsInfo& fields);

class IndexWriter {
 public:
  // On the process's field table and [Global] cacheValueSize of the run file.
  explicit IndexWriter(const std::string& directory);
  // On `fields` (must outlive the writer) with a batch of `cacheValueSize`
  // records; 0 is taken as 1. Creates store.di at once.
  IndexWriter(const std::string& directory, const FieldsInfo& fields, uint32_t cacheValueSize);
  virtual ~IndexWriter();
  IndexWriter(const IndexWriter&) = delete;
  IndexWriter& operator=(const IndexWriter&) = delete;

  // A blob of `size` + 4 bytes whose first 4 hold `size`; the caller fills
  // one (u32 length, value) entry per field behind them. Flushes first when
  // the batch is full.
  uint8_t* newRecord(uint32_t size);
  // Hands the batched records to the field indexers.
  void flush();
  // Writes index.desc, every field file, then the store's closing block.
  // Records still batched are left out: call `flush` first.
  void finish();

  CDataWriter* store() { return m_store.get(); }
  uint32_t recordCount() const { return m_recordCount; }
  // The pass's feeder, owned from here on; destroyed after everything else.
  void setCollector(std::unique_ptr<RecordSource> collector);

 private:
  void addBlob(const uint8_t* blob);
  // Destroys the parts in the order store, indexers, value cache, field
  // cache, collector.
  void release();

  const FieldsInfo& m_fields;
  std::string m_directory;
  uint32_t m_recordCount = 0;
  uint32_t m_capacity = 1;
  std::vector<uint8_t*> m_valueBatch;
  std::unique_ptr<RecordSource> m_collector;
  std::unique_ptr<CMemCache> m_fieldCache;
  std::unique_ptr<CMemCache> m_valueCache;
  std::vector<std::unique_ptr<FieldIndexer>> m_indexers;
  std::unique_ptr<CDataWriter> m_store;
};

class IndexReader {
 public:
  static constexpr uint32_t kMaxRecordCount = 2000000000;

  // On the process's field table. Opens the store at once: a directory whose
  // run was interrupted is refused here.
  explicit IndexReader(const std::string& directory);
  // On `fields`, which must outlive the reader.
  IndexReader(const std::string& directory, const FieldsInfo& fields);
  virtual ~IndexReader();
  IndexReader(const IndexReader&) = delete;
  IndexReader& operator=(const IndexReader&) = delete;

  // Reads the record count from index.desc.
  void loadSummary();
  uint32_t recordCount() const { return m_recordCount; }
  // The field's reader, owned here, opened on first use.
  FieldIndexReader* fieldReader(const std::string& name);
  // Destroys the field's reader if it is open; the next `fieldReader` opens
  // it anew.
  void forgetField(const std::string& name);
  CDataReader* store() { return m_store.get(); }
  // The field table the readers are opened by.
  const FieldsInfo& fields() const { return m_fields; }

 private:
  const FieldsInfo& m_fields;
  std::map<std::string, std::unique_ptr<FieldIndexReader>> m_fieldReaders;
  uint32_t m_recordCount = 0;
  std::unique_ptr<CDataReader> m_store;
  std::string m_directory;
};

}  // namespace quern
