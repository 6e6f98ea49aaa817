#include "frame/searchers.h"

#include <map>
#include <memory>

#include "base/exception.h"

namespace quern {

namespace {

constexpr size_t kMaxSearchers = 4;

std::map<std::string, std::unique_ptr<Searcher>>& searchers() {
  static std::map<std::string, std::unique_ptr<Searcher>> s_searchers;
  return s_searchers;
}

}  // namespace

Searcher& FindSearcher(const char* dir) {
  auto& cache = searchers();
  const std::string key = dir;
  const auto found = cache.find(key);
  if (found != cache.end()) return *found->second;
  if (cache.size() >= kMaxSearchers) cache.erase(cache.begin());
  auto searcher = std::make_unique<Searcher>(key);
  Searcher& made = *searcher;
  try {
    cache.emplace(key, std::move(searcher));
  } catch (...) {
    // `searcher` still owns the new one (emplace takes nothing on failure).
    QRN_RAISE(2, "s_searchers insert fail");
  }
  return made;
}

void ClearSearchers() {
  auto& cache = searchers();
  while (!cache.empty()) cache.erase(cache.begin());
}

std::vector<std::string> CachedDirectories() {
  std::vector<std::string> keys;
  for (const auto& entry : searchers()) keys.push_back(entry.first);
  return keys;
}

uint32_t RunQuery(const char* dir, const char* queryFile, uint32_t lookIntervalMs) {
  if (dir == nullptr || queryFile == nullptr) return 0;
  // Its destructor stops the watcher and leaves no current pointer, also
  // when the query fails.
  Canceler canceler(lookIntervalMs);
  Canceler::setCurrent(&canceler);
  return FindSearcher(dir).search(queryFile);
}

}  // namespace quern
