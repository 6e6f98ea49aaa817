// Writes the qvlog container: the file head, then one block at a time from a
// payload of frames, plain or compressed as one zlib stream.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "intake/qvlogformat.h"

namespace quern::qvloggen {

// Our file head: "QVLOG" magic, format version, creation time.
constexpr char kFileMagic[8] = {'Q', 'V', 'L', 'O', 'G', '0', '1', '\0'};
constexpr uint32_t kBlockMark = 0x4B4C5651;  // "QVLK"

class LogWriter {
 public:
  // Writes the file head. `level` is zlib's compression level (1 fastest).
  LogWriter(std::ostream& out, int level, int64_t created);
  ~LogWriter();
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;

  // Appends a block of `size` raw bytes (at most kLogBufferSize, and so that
  // the compressed form fits too) and gives its head as written.
  LogBlockHeader addBlock(const uint8_t* raw, uint32_t size, bool compressed, uint32_t sliceTag, uint32_t frameCount,
                          int64_t stamp);
  // Bytes written so far: the offset of the next block.
  uint64_t offset() const { return m_offset; }

 private:
  std::ostream& m_out;
  z_stream m_zip{};
  std::vector<uint8_t> m_compressed;
  uint64_t m_offset = 0;
};

}  // namespace quern::qvloggen
