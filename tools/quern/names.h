// The names a row shows instead of the checksums in it: group paths from
// groups.ini, which the library reads as well, and users, services and apps
// from names.ini, a table the appliance's host keeps (qvloggen writes one).
// A checksum without a name is shown as its number.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace quern::cli {

class Names {
 public:
  Names() = default;
  // Missing files give no names.
  Names(const std::string& groupsIni, const std::string& namesIni);

  // Each takes the checksum as the row writes it, in decimal.
  std::string group(const std::string& crc) const;  // "-" for no group (0)
  std::string user(const std::string& crc) const { return lookup(m_users, crc); }
  std::string service(const std::string& crc) const { return lookup(m_services, crc); }
  std::string app(const std::string& crc) const { return lookup(m_apps, crc); }

 private:
  using Table = std::map<uint64_t, std::string>;
  static std::string lookup(const Table& table, const std::string& crc);

  Table m_groups;
  Table m_users;
  Table m_services;
  Table m_apps;
};

}  // namespace quern::cli
