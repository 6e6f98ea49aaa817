#include "names.h"

#include <cstdlib>

#include "ini.h"

namespace quern::cli {

namespace {

// Decimal digits only, or nothing; the tables never hold checksum 0.
uint64_t number(const std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return 0;
  return std::strtoull(text.c_str(), nullptr, 10);
}

}  // namespace

Names::Names(const std::string& groupsIni, const std::string& namesIni) {
  const Ini groups(groupsIni);
  const uint64_t count = number(groups.value("global", "count"));
  for (uint64_t i = 0; i < count && i < 1000000; ++i) {
    const std::string section = "g" + std::to_string(i);
    const uint64_t crc = number(groups.value(section, "crc"));
    if (crc != 0) m_groups.try_emplace(crc, groups.value(section, "name"));
  }
  const Ini names(namesIni);
  const auto fill = [&](Table& table, const char* section) {
    for (const auto& [crc, name] : names.section(section)) {
      if (number(crc) != 0) table.try_emplace(number(crc), name);
    }
  };
  fill(m_users, "users");
  fill(m_services, "services");
  fill(m_apps, "apps");
}

std::string Names::group(const std::string& crc) const { return crc == "0" ? "-" : lookup(m_groups, crc); }

std::string Names::lookup(const Table& table, const std::string& crc) {
  const auto found = table.find(number(crc));
  return found == table.end() ? crc : found->second;
}

}  // namespace quern::cli
