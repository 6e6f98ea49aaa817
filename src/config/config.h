// The library's settings: `GlobalConfig` over config.ini (what is indexed)
// and `IndexConfig` over the run file of one index run. Both are process-wide
// and read without locks, so one thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "config/ini.h"

namespace quern {

// A number as every settings reader takes it: the value's first 31
// characters parsed as a 32-bit `strtoul` in base 10 would. A missing or
// empty value gives `defaultValue`; a text that is not a number gives 0.
uint32_t configNumber(const IniFile& ini, const char* section, const char* key, uint32_t defaultValue);

// The text of `key` in `section`, or "" when either is missing.
const char* configText(const IniFile& ini, const char* section, const char* key);

class GlobalConfig {
 public:
  // Loads config.ini from the current directory on first use; raises level 2
  // "load config.ini failed" then, and the next use tries again.
  static const GlobalConfig& instance();
  // Reads the settings from `path`; raises as `instance` does.
  explicit GlobalConfig(const char* path);
  virtual ~GlobalConfig() = default;
  GlobalConfig(const GlobalConfig&) = delete;
  GlobalConfig& operator=(const GlobalConfig&) = delete;

  // [Global] indexFields: the comma-separated field names.
  const char* indexFields() const;
  // [<field>] indexer: "e1", "range" or "ft" as written.
  const char* indexer(const char* field) const;

 private:
  IniFile m_ini;
};

class IndexConfig {
 public:
  static constexpr uint32_t kDefaultMaxIndexMemory = 104857600;
  static constexpr uint32_t kDefaultCacheValueSize = 1;

  // Empty until the first `load`.
  static IndexConfig& instance();
  IndexConfig() = default;
  virtual ~IndexConfig() = default;
  IndexConfig(const IndexConfig&) = delete;
  IndexConfig& operator=(const IndexConfig&) = delete;

  // Reads the run file unless it is unchanged since the last load; raises
  // level 2 "load %s failed".
  void load(const char* path);

  const char* inPath() const;  // [In] path: the log to index
  uint32_t begin() const;      // [In] begin, 0 by default
  uint32_t end() const;        // [In] end, 0 by default
  // [Out] dir with one "/" added behind it.
  std::string outDir() const;
  uint32_t maxIndexMemory() const;  // [Global] maxIndexMemory
  // [Global] cacheValueSize as written; the writer decides about 0.
  uint32_t cacheValueSize() const;

 private:
  IniFile m_ini;
};

}  // namespace quern
