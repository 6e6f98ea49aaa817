// The two modes of qrn_indexer_run. "-i" indexes a stretch of one log in
// passes that each fit maxIndexMemory: a pass stopped by the limit is moved
// into the numbered subdirectory "<dir>/<n>/", and after the last pass the
// subdirectories are merged back into <dir> and removed. "-m" merges the
// directories a merge input file names. Nothing is rolled back on failure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "index/fieldsinfo.h"

namespace quern {

void RunIndex(const char* configPath);
void RunMerge(const char* configPath);
// The index run on a given field table, which must outlive the call.
void RunIndex(const char* configPath, const FieldsInfo& fields);

// Makes "<dir>/<index>/", appends it to `list` and moves the plain files of
// `dir` into it; raises level 2 "make directory %s fail".
void NewPassDirectory(const std::string& dir, uint32_t index, std::vector<std::string>& list);

}  // namespace quern
