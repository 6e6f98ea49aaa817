// CInputDesc: the handle of a file being read. It owns the file and checks
// the closing block; reads go straight to `file()`.
#pragma once

#include <cstdint>
#include <memory>

#include "storage/fileio.h"

namespace quern {

class CInputDesc {
 public:
  // Takes ownership; null raises "invalid param(indexInput)".
  explicit CInputDesc(std::unique_ptr<CFileInput> file);
  virtual ~CInputDesc() = default;
  CInputDesc(const CInputDesc&) = delete;
  CInputDesc& operator=(const CInputDesc&) = delete;

  CFileInput& file() { return *m_file; }
  // A descriptor on a stream of its own over the same path, at position 0.
  std::unique_ptr<CInputDesc> clone() const;
  // Reads a closing block at the current position: 1 and the table offset
  // when its checksum is right, else 0 with `tableOffset` untouched.
  int readClosingBlock(int64_t& tableOffset);

 private:
  std::unique_ptr<CFileInput> m_file;
};

}  // namespace quern
