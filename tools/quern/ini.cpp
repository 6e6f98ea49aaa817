#include "ini.h"

#include <algorithm>
#include <fstream>

namespace quern::cli {

namespace {

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

}  // namespace

Ini::Ini(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  m_readable = static_cast<bool>(in);
  std::string line;
  std::map<std::string, std::string>* current = nullptr;
  while (std::getline(in, line)) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
    const size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || line[first] == ';' || line[first] == '#') continue;
    if (line[first] == '[') {
      const size_t close = line.find(']', first);
      current = &m_sections[lowered(line.substr(first + 1, close == std::string::npos ? std::string::npos
                                                                                       : close - first - 1))];
      continue;
    }
    const size_t equals = line.find('=');
    if (current == nullptr || equals == std::string::npos || equals == first) continue;
    std::string key = line.substr(first, equals - first);
    std::string value = line.substr(equals + 1);
    if (key.back() == ' ') key.pop_back();
    if (!value.empty() && value.front() == ' ') value.erase(0, 1);
    current->try_emplace(lowered(key), value);
  }
}

std::string Ini::value(const std::string& section, const std::string& key) const {
  const auto& keys = this->section(section);
  const auto found = keys.find(lowered(key));
  return found == keys.end() ? std::string() : found->second;
}

const std::map<std::string, std::string>& Ini::section(const std::string& name) const {
  static const std::map<std::string, std::string> kEmpty;
  const auto found = m_sections.find(lowered(name));
  return found == m_sections.end() ? kEmpty : found->second;
}

}  // namespace quern::cli
