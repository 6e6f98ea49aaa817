// The data store (store.di): per log block that gave records, the first
// record id, the block's offset in the log and the log's path. It keeps no
// record contents; it turns a record id into a locator "name:offset:ordinal".
// The layout is in index/storeformat.h.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "storage/inputdesc.h"
#include "storage/outputdesc.h"

namespace quern {

class CDataWriter {
 public:
  // Creates or empties `basePath` + ".di".
  explicit CDataWriter(const std::string& basePath);
  virtual ~CDataWriter() = default;
  CDataWriter(const CDataWriter&) = delete;
  CDataWriter& operator=(const CDataWriter&) = delete;

  // One entry for a block whose first record is `firstRecord`. A path equal
  // to the previous entry's shares its row of the path table.
  void addRecord(uint32_t firstRecord, uint64_t logOffset, const std::string& logPath);
  // Writes the path table and the closing block; no entry may follow.
  void finish();

 private:
  std::unique_ptr<COutputDesc> m_output;
  std::string m_lastPath;
  std::vector<std::string> m_paths;
};

class CDataReader {
 public:
  // Reads the whole store `basePath` + ".di"; a store without a valid closing
  // block (an interrupted run) is refused.
  explicit CDataReader(const char* basePath);
  virtual ~CDataReader() = default;
  CDataReader(const CDataReader&) = delete;
  CDataReader& operator=(const CDataReader&) = delete;

  // "%u:%u:%u": the leading number of the log's file name, the low 32 bits of
  // the block's offset, and the record's ordinal within its block.
  std::string locator(uint32_t record) const;

  struct Entry {
    uint64_t logOffset;
    uint32_t pathIndex;
  };
  const std::map<uint32_t, Entry>& entries() const { return m_entries; }
  const std::string& logPath(uint32_t pathIndex) const { return m_logs.at(pathIndex); }

 private:
  void read(const char* basePath);

  std::unique_ptr<CInputDesc> m_input;
  std::map<uint32_t, Entry> m_entries;
  std::vector<std::string> m_logs;
};

// Concatenates the stores of several directories, shifting each source's
// record ids by the record counts of the sources before it.
class CDataMerger {
 public:
  explicit CDataMerger(std::unique_ptr<CDataWriter> writer);
  virtual ~CDataMerger() = default;
  CDataMerger(const CDataMerger&) = delete;
  CDataMerger& operator=(const CDataMerger&) = delete;

  // `source` is not owned and must outlive `merge`.
  void add(const CDataReader* source, uint32_t recordCount);
  // Writes the merged store, `finish` included.
  void merge();

 private:
  struct CDataMergerEntry {
    const CDataReader* source;
    uint32_t recordCount;
  };
  std::vector<CDataMergerEntry> m_entries;
  std::unique_ptr<CDataWriter> m_writer;
};

}  // namespace quern
