#include "summary.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quern::cli {

namespace fs = std::filesystem;

namespace {

// The Count of [Record]: the first "Count" key after that section's head.
uint64_t recordCount(const fs::path& desc) {
  std::ifstream in(desc);
  if (!in) throw std::runtime_error("cannot read " + desc.string());
  std::string line;
  bool inRecord = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty() && line[0] == '[') {
      inRecord = line == "[Record]";
      continue;
    }
    const size_t equals = line.find('=');
    if (!inRecord || equals == std::string::npos) continue;
    std::string key = line.substr(0, equals);
    key.erase(key.find_last_not_of(' ') + 1);
    if (key == "Count") return std::stoull(line.substr(equals + 1));
  }
  throw std::runtime_error(desc.string() + " has no record count");
}

}  // namespace

IndexSummary summarize(const std::string& dir) {
  IndexSummary summary;
  summary.records = recordCount(fs::path(dir) / "index.desc");
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (!entry.is_regular_file()) continue;
    summary.files.emplace_back(entry.path().filename().string(), entry.file_size());
    summary.bytes += entry.file_size();
  }
  std::sort(summary.files.begin(), summary.files.end());
  return summary;
}

void printSummary(const std::string& dir, const IndexSummary& summary, bool files) {
  std::printf("%s: %llu records in %u files, %llu bytes\n", dir.c_str(),
              static_cast<unsigned long long>(summary.records), static_cast<unsigned>(summary.files.size()),
              static_cast<unsigned long long>(summary.bytes));
  if (!files) return;
  for (const auto& [name, size] : summary.files) {
    std::printf("  %-14s %12llu\n", name.c_str(), static_cast<unsigned long long>(size));
  }
}

}  // namespace quern::cli
