#include "index/fieldsinfo.h"

#include <cstring>

#include "base/exception.h"
#include "storage/textutil.h"

namespace quern {

namespace {

IndexerKind kindOfWord(const char* word, uint32_t position) {
  if (std::strcmp(word, "e1") == 0) return IndexerKind::E1;
  if (std::strcmp(word, "range") == 0) return IndexerKind::Range;
  if (std::strcmp(word, "ft") == 0) return IndexerKind::Ft;
  QRN_RAISE(2, "indexer %u is invalid", position);
}

}  // namespace

const FieldsInfo& FieldsInfo::instance() {
  // A constructor that raises leaves the static unmade: the next call builds again.
  static const FieldsInfo info(GlobalConfig::instance());
  return info;
}

FieldsInfo::FieldsInfo(const GlobalConfig& config) : m_config(&config) {
  std::vector<std::string> pieces;
  split(pieces, config.indexFields(), ',');
  for (const std::string& piece : pieces) {
    // A piece of blanks alone survives the split and becomes an empty name.
    m_names.push_back(trimBlanks(piece));
    const uint32_t position = static_cast<uint32_t>(m_names.size() - 1);
    m_kinds.push_back(kindOfWord(config.indexer(m_names.back().c_str()), position));
  }
  if (m_names.empty()) QRN_RAISE(2, "index fields is (null)");
  for (uint32_t id = 0; id < m_names.size(); ++id) m_ids.emplace(m_names[id], id);  // a repeat keeps the lower id
}

void FieldsInfo::checkId(uint32_t id) const {
  if (id >= m_names.size()) QRN_RAISE(1, "invalid param(field id (%u))", id);
}

std::string FieldsInfo::fieldName(uint32_t id) const {
  checkId(id);
  return m_names[id];
}

uint32_t FieldsInfo::fieldId(const std::string& name) const {
  auto found = m_ids.find(name);
  if (found == m_ids.end()) QRN_RAISE(1, "can not find field(%s)", name.c_str());
  return found->second;
}

IndexerKind FieldsInfo::indexerKind(uint32_t id) const {
  checkId(id);
  return m_kinds[id];
}

std::string FieldsInfo::indexerWord(uint32_t id) const {
  checkId(id);
  return m_config->indexer(m_names[id].c_str());
}

std::string FieldsInfo::fileName(uint32_t id) const { return fieldName(id) + "." + indexerWord(id); }

}  // namespace quern
