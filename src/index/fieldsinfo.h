// FieldsInfo: the table of indexed fields from config.ini. A field id is the
// name's position in [Global] indexFields; each field's kind comes from the
// indexer word of its section. Read-only once built.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "config/config.h"
#include "index/fieldindex.h"

namespace quern {

class FieldsInfo {
 public:
  // The process-wide table over GlobalConfig::instance(), built on first
  // use; a failed build leaves nothing and the next call tries again.
  static const FieldsInfo& instance();
  // A table over `config`, which must outlive it. Raises level 2
  // "indexer %u is invalid" or "index fields is (null)".
  explicit FieldsInfo(const GlobalConfig& config);
  virtual ~FieldsInfo() = default;
  FieldsInfo(const FieldsInfo&) = delete;
  FieldsInfo& operator=(const FieldsInfo&) = delete;

  uint32_t fieldCount() const { return static_cast<uint32_t>(m_names.size()); }
  // Level 1 "invalid param(field id (%u))" for an id at or above the count.
  std::string fieldName(uint32_t id) const;
  // Exact byte match; level 1 "can not find field(%s)" when unknown.
  uint32_t fieldId(const std::string& name) const;
  IndexerKind indexerKind(uint32_t id) const;
  // The indexer word, read from the configuration on every call.
  std::string indexerWord(uint32_t id) const;
  // The field's file name in an index directory: name, ".", indexer word.
  std::string fileName(uint32_t id) const;

 private:
  void checkId(uint32_t id) const;

  std::vector<std::string> m_names;
  std::map<std::string, uint32_t> m_ids;
  std::vector<IndexerKind> m_kinds;
  const GlobalConfig* m_config;
};

}  // namespace quern
