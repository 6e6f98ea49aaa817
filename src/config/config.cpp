#include "config/config.h"

#include "base/exception.h"
#include "storage/textutil.h"

namespace quern {

namespace {

void loadOrRaise(IniFile& ini, const char* path) {
  if (ini.Load(path) != 0) QRN_RAISE(2, "load %s failed", path != nullptr ? path : "(null)");
}

}  // namespace

uint32_t configNumber(const IniFile& ini, const char* section, const char* key, uint32_t defaultValue) {
  char buffer[32];
  ini.GetString(section, key, "", buffer, sizeof buffer);
  return buffer[0] == '\0' ? defaultValue : parseDecimal(buffer);
}

const char* configText(const IniFile& ini, const char* section, const char* key) {
  const char* value = ini.Value(ini.Section(section), key);
  return value != nullptr ? value : "";
}

GlobalConfig::GlobalConfig(const char* path) { loadOrRaise(m_ini, path); }

const GlobalConfig& GlobalConfig::instance() {
  // A constructor that raises leaves the static unmade: the next call loads again.
  static const GlobalConfig config("config.ini");
  return config;
}

const char* GlobalConfig::indexFields() const { return configText(m_ini, "Global", "indexFields"); }

const char* GlobalConfig::indexer(const char* field) const { return configText(m_ini, field, "indexer"); }

IndexConfig& IndexConfig::instance() {
  static IndexConfig config;
  return config;
}

void IndexConfig::load(const char* path) { loadOrRaise(m_ini, path); }

const char* IndexConfig::inPath() const { return configText(m_ini, "In", "path"); }

uint32_t IndexConfig::begin() const { return configNumber(m_ini, "In", "begin", 0); }

uint32_t IndexConfig::end() const { return configNumber(m_ini, "In", "end", 0); }

std::string IndexConfig::outDir() const { return std::string(configText(m_ini, "Out", "dir")) + "/"; }

uint32_t IndexConfig::maxIndexMemory() const {
  return configNumber(m_ini, "Global", "maxIndexMemory", kDefaultMaxIndexMemory);
}

uint32_t IndexConfig::cacheValueSize() const {
  return configNumber(m_ini, "Global", "cacheValueSize", kDefaultCacheValueSize);
}

}  // namespace quern
