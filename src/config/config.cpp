#include "config/config.h"

#include "base/exception.h"

namespace quern {

namespace {

// `strtoul` of a 32-bit C runtime in base 10: blanks, a sign, digits; a
// magnitude past 32 bits saturates and a minus sign negates modulo 2^32.
// Written out so that 64-bit builds read the same numbers.
uint32_t parseDecimal(const char* text) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  uint64_t magnitude = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    magnitude = magnitude * 10 + static_cast<uint64_t>(*text - '0');
    if (magnitude > UINT32_MAX) return UINT32_MAX;
  }
  const uint32_t value = static_cast<uint32_t>(magnitude);
  return negative ? 0u - value : value;
}

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
