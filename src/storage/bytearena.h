// ByteArena: bytes appended in order into blocks that grow from 64 KiB to
// 4 MiB, so that millions of short rows cost no allocation each and a large
// arena sits on huge pages. Blocks never move: what `append` gave stays
// valid until destruction. One thread at a time.
#pragma once

#include <cstddef>
#include <vector>

#include "storage/zeroedarray.h"

namespace quern {

class CFileOutput;

class ByteArena {
 public:
  static constexpr size_t kFirstBlock = size_t{1} << 16;
  static constexpr size_t kLargestBlock = size_t{1} << 22;

  // Room for `size` contiguous bytes behind those appended so far.
  char* append(size_t size);
  // Writes every appended byte, in order.
  void writeTo(CFileOutput& file) const;

 private:
  struct Block {
    ZeroedArray<char> bytes;
    size_t used = 0;
  };
  std::vector<Block> m_blocks;
};

}  // namespace quern
