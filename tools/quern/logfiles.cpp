#include "logfiles.h"

#include <filesystem>
#include <stdexcept>

namespace quern::cli {

namespace fs = std::filesystem;

namespace {

bool digits(const std::string& text) {
  return !text.empty() && text.size() <= 10 && text.find_first_not_of("0123456789") == std::string::npos &&
         std::stoull(text) <= UINT32_MAX;
}

}  // namespace

std::optional<Locator> parseLocator(const std::string& text) {
  const size_t first = text.find(':');
  const size_t second = first == std::string::npos ? first : text.find(':', first + 1);
  if (second == std::string::npos) return std::nullopt;
  const std::string parts[] = {text.substr(0, first), text.substr(first + 1, second - first - 1),
                               text.substr(second + 1)};
  for (const std::string& part : parts) {
    if (!digits(part)) return std::nullopt;
  }
  return Locator{static_cast<uint32_t>(std::stoul(parts[0])), static_cast<uint32_t>(std::stoul(parts[1])),
                 static_cast<uint32_t>(std::stoul(parts[2]))};
}

uint32_t logNumber(const std::string& fileName) {
  uint32_t number = 0;
  for (size_t i = 0; i < fileName.size() && fileName[i] >= '0' && fileName[i] <= '9'; ++i) {
    number = number * 10 + static_cast<uint32_t>(fileName[i] - '0');
  }
  return number;
}

LogFiles::LogFiles(const std::string& where) : m_where(where) {
  std::error_code error;
  if (fs::is_regular_file(where, error)) {
    m_single = where;
    return;
  }
  if (!fs::is_directory(where, error)) throw std::runtime_error("no log file or directory " + where);
  for (const auto& entry : fs::directory_iterator(where)) {
    const fs::path& file = entry.path();
    if (entry.is_regular_file() && file.extension() == ".qvlog") {
      m_logs.emplace(logNumber(file.filename().string()), file.string());
    }
  }
}

const std::string& LogFiles::path(uint32_t number) const {
  if (!m_single.empty()) return m_single;
  const auto [first, last] = m_logs.equal_range(number);
  if (first == last) throw std::runtime_error("no log of number " + std::to_string(number) + " in " + m_where);
  if (std::next(first) != last) {
    std::string names;
    for (auto it = first; it != last; ++it) names += " " + fs::path(it->second).filename().string();
    throw std::runtime_error("log number " + std::to_string(number) + " is ambiguous in " + m_where + ":" + names);
  }
  return first->second;
}

}  // namespace quern::cli
