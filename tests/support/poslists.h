// Test helpers for POS lists: lists as plain data (record id to its
// positions), written as term blocks one behind the other into a file, and
// opened again for reading as the full-text reader does.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "codec/posvector.h"
#include "storage/inputdesc.h"
#include "storage/outputdesc.h"

namespace quern::test {

using Occurrences = std::map<uint32_t, std::vector<uint32_t>>;

// Where a block's two trailers end.
struct StoredList {
  int64_t recordEnd = 0;
  int64_t positionEnd = 0;
};

inline std::vector<StoredList> writeLists(const std::string& path, const std::vector<Occurrences>& lists) {
  COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
  std::vector<StoredList> stored;
  for (const Occurrences& list : lists) {
    POSVector vector(nullptr);
    for (const auto& [record, positions] : list) {
      for (uint32_t position : positions) vector.add(record, position);
    }
    vector.closeRecords();
    StoredList ends;
    vector.writeRecords(&out);
    ends.recordEnd = out.file().position();
    vector.writePositions(&out);
    ends.positionEnd = out.file().position();
    stored.push_back(ends);
  }
  return stored;
}

inline std::unique_ptr<CInputDesc> descriptorAt(const std::string& path, int64_t offset) {
  auto input = std::make_unique<CInputDesc>(std::make_unique<CFileInput>(path.c_str()));
  input->file().seek(offset);
  return input;
}

inline std::unique_ptr<POSVector> openList(const std::string& path, const StoredList& list) {
  return POSDecoderFactory::instance().create(descriptorAt(path, list.recordEnd),
                                              descriptorAt(path, list.positionEnd));
}

}  // namespace quern::test
