// COutputDesc: the handle of a file being written. It owns the file, which
// its destruction commits to disk, and appends the closing block. A writer
// writes the body, takes `file().position()` as the table offset, writes the
// table, then calls `writeClosingBlock` with that offset.
#pragma once

#include <cstdint>
#include <memory>

#include "storage/fileio.h"

namespace quern {

class COutputDesc {
 public:
  // Takes ownership; null raises "invalid param(indexOutput)".
  explicit COutputDesc(std::unique_ptr<CFileOutput> file);
  virtual ~COutputDesc() = default;
  COutputDesc(const COutputDesc&) = delete;
  COutputDesc& operator=(const COutputDesc&) = delete;

  CFileOutput& file() { return *m_file; }
  // Appends the 1024-byte block: checksum, table offset, magic, version,
  // write time, the path cut to 259 bytes. The block ends the file: it is
  // then committed and closed, and a failure of either is raised here.
  void writeClosingBlock(int64_t tableOffset);

 private:
  std::unique_ptr<CFileOutput> m_file;
};

}  // namespace quern
