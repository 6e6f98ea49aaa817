// The layout of the data store (store.di), shared by its writer, reader and
// merger:
//   entries from offset 0, one per log block that gave records, each
//     u32 first record id, u64 offset of the block in its log,
//     u32 row of the path table;
//   at P, the path table: u32 row count, per row u32 length and the bytes;
//   the closing block holding P.
#pragma once

#include <cstdint>

#include "storage/fileio.h"

namespace quern::storeformat {

constexpr uint32_t kEntrySize = 16;
// The longest log path a row may hold.
constexpr uint32_t kMaxPathSize = 1024;

struct Entry {
  uint32_t firstRecord = 0;
  uint64_t logOffset = 0;
  uint32_t pathRow = 0;
};

inline void writeEntry(CFileOutput& file, const Entry& entry) {
  file.writeInt(static_cast<int32_t>(entry.firstRecord));
  file.writeInt64(static_cast<int64_t>(entry.logOffset));
  file.writeInt(static_cast<int32_t>(entry.pathRow));
}

inline Entry readEntry(CFileInput& file) {
  Entry entry;
  entry.firstRecord = static_cast<uint32_t>(file.readInt());
  entry.logOffset = static_cast<uint64_t>(file.readInt64());
  entry.pathRow = static_cast<uint32_t>(file.readInt());
  return entry;
}

}  // namespace quern::storeformat
