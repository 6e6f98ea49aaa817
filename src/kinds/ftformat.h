// An Ft file's term row, after the head of the shared field table: u32 term
// id, then the 64-bit file offsets where the term's block ends its record
// trailer and its position trailer, little-endian. Blocks lie in term order,
// one behind the other, so a block starts where the row before it ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/endian.h"

namespace quern::ftformat {

constexpr size_t kRowBytes = 20;

struct Row {
  int32_t term = 0;
  int64_t recordEnd = 0;
  int64_t positionEnd = 0;
};

inline void storeRow(char* at, const Row& row) {
  storeLE32(at, static_cast<uint32_t>(row.term));
  storeLE64(at + 4, static_cast<uint64_t>(row.recordEnd));
  storeLE64(at + 12, static_cast<uint64_t>(row.positionEnd));
}

inline Row loadRow(const char* at) {
  return {static_cast<int32_t>(loadLE32(at)), static_cast<int64_t>(loadLE64(at + 4)),
          static_cast<int64_t>(loadLE64(at + 12))};
}

}  // namespace quern::ftformat
