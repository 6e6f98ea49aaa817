#include "summary.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "ini.h"

namespace quern::cli {

namespace fs = std::filesystem;

namespace {

// The Count of [Record].
uint64_t recordCount(const fs::path& desc) {
  const Ini ini(desc.string());
  if (!ini.readable()) throw std::runtime_error("cannot read " + desc.string());
  const std::string count = ini.value("Record", "Count");
  if (count.empty()) throw std::runtime_error(desc.string() + " has no record count");
  return std::stoull(count);
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
