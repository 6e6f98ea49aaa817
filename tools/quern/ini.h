// The few INI files the command line reads itself (groups.ini, names.ini,
// index.desc, a query file's cancel path and limit), read the way the
// library reads them: sections and keys without regard to case, the first
// occurrence of a key wins, one blank on each side of "=" is dropped, lines
// opening with ";" or "#" are comments.
#pragma once

#include <map>
#include <string>

namespace quern::cli {

class Ini {
 public:
  // An unreadable file reads as an empty one; `readable()` tells.
  explicit Ini(const std::string& path);

  bool readable() const { return m_readable; }
  // The value, or "" when the section or key is missing.
  std::string value(const std::string& section, const std::string& key) const;
  // Every key of a section with its value, keys in lower case.
  const std::map<std::string, std::string>& section(const std::string& name) const;

 private:
  bool m_readable = false;
  std::map<std::string, std::map<std::string, std::string>> m_sections;
};

}  // namespace quern::cli
