#include "storage/bytearena.h"

#include <algorithm>

#include "storage/fileio.h"

namespace quern {

char* ByteArena::append(size_t size) {
  if (m_blocks.empty() || m_blocks.back().bytes.size() - m_blocks.back().used < size) {
    const size_t next = m_blocks.empty() ? kFirstBlock : std::min(m_blocks.back().bytes.size() * 2, kLargestBlock);
    m_blocks.push_back(Block{ZeroedArray<char>(std::max(next, size)), 0});
  }
  Block& block = m_blocks.back();
  char* room = block.bytes.data() + block.used;
  block.used += size;
  return room;
}

void ByteArena::writeTo(CFileOutput& file) const {
  for (const Block& block : m_blocks) {
    for (size_t at = 0; at < block.used;) {
      const auto part = static_cast<uint32_t>(std::min<size_t>(block.used - at, kLargestBlock));
      file.writeChars(block.bytes.data() + at, part);
      at += part;
    }
  }
}

}  // namespace quern
