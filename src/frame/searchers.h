// The searchers of the last used index directories, kept between calls so
// that a repeated query on a directory reuses its open files, and the query
// call that drives them. At most four stand; a fifth directory evicts the
// one whose path is smallest in byte order, whatever was used last. Paths
// are keys as given: "a" and "a/" are two entries. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/cancel.h"
#include "search/search.h"

namespace quern {

// The searcher of `dir`, made (on the process's field table) when missing.
// Its construction failures pass through; the map then lacks only the entry
// evicted before.
Searcher& FindSearcher(const char* dir);
// Deletes every searcher, in key order.
void ClearSearchers();
// The cached paths in key order.
std::vector<std::string> CachedDirectories();

// One query as the export runs it: a Canceler watching every
// `lookIntervalMs` is current for the length of the call, and stopped on
// every way out. The number of matches; 0 for a null argument.
uint32_t RunQuery(const char* dir, const char* queryFile, uint32_t lookIntervalMs = Canceler::kLookIntervalMs);

}  // namespace quern
