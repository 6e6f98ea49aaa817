// Resource: the language texts of resource.ini (section "Chinese", one key
// per resource id) and their CRC-32 values, the form in which the `serv`
// and `app` fields are indexed. The process-wide instance reads the file in
// the current directory once. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "config/ini.h"

namespace quern {

class Resource {
 public:
  // Loads resource.ini on first use; raises level 2 "load resource.ini
  // failed" then, and the next use tries again.
  static const Resource& instance();
  // Reads the texts from `path`; raises level 2 "load %s failed".
  explicit Resource(const char* path);
  virtual ~Resource() = default;
  Resource(const Resource&) = delete;
  Resource& operator=(const Resource&) = delete;

  // The text of `id` without blanks at its ends; level 2 "get id:%s
  // resource fail" when that leaves nothing.
  std::string Get(const char* id) const;
  // The CRC-32 of `Get(id)`.
  uint32_t Crc(const char* id) const;

 private:
  IniFile m_ini;
};

}  // namespace quern
