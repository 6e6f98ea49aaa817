// Reading a qvlog file block by block. CQvlogReader reads one block into the
// two process-wide 2 MiB buffers (inflating it if asked) and hands out the
// CQvlogIterator, which walks that block's frames in place. Every damaged or
// short input ends in a null block and a level-3 log line, never in a failure
// and never in an access outside the buffers. Not thread-safe: all readers of
// the process share the buffers, so reading a block invalidates the frames of
// the block read before, whichever reader read it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "intake/qvlogformat.h"
#include "storage/fileio.h"

namespace quern {

class CQvlogIterator {
 public:
  CQvlogIterator() = default;
  virtual ~CQvlogIterator() = default;
  CQvlogIterator(const CQvlogIterator&) = delete;
  CQvlogIterator& operator=(const CQvlogIterator&) = delete;

  // Stands at the first frame of the `total` bytes at `base`.
  void reset(const uint8_t* base, uint32_t total);
  // The next visible frame's body, its head copied to `header`; null at the
  // end of the block, when `header` is null, or at a frame that does not fit
  // what remains of the block. Hidden type-8 frames are stepped over.
  const uint8_t* Next(FrameHeader* header);
  // Back to the block's first frame.
  void Rewind();

  uint32_t remaining() const { return m_remaining; }
  uint32_t total() const { return m_total; }

 private:
  const uint8_t* m_base = nullptr;
  const uint8_t* m_current = nullptr;
  uint32_t m_remaining = 0;
  uint32_t m_total = 0;
};

class CQvlogReader {
 public:
  // Does not open the file. A null path raises.
  explicit CQvlogReader(const char* path);
  virtual ~CQvlogReader();
  CQvlogReader(const CQvlogReader&) = delete;
  CQvlogReader& operator=(const CQvlogReader&) = delete;

  // Opens the file, standing at offset 0; raises if it cannot be opened.
  void Open();
  // The file, for seeking to a block; null until opened.
  CFileInput* input() const { return m_input.get(); }

  // Reads the block at the file's position (behind the file head on first
  // use) and gives the iterator at its first frame, or null when there is no
  // further usable block. `header->rawSize` becomes the inflated size. With
  // `decompress` 0 the payload is stepped over unread: the header is valid,
  // the frames are not, and the caller must not walk them.
  CQvlogIterator* ReadBlock(LogBlockHeader* header, int decompress);

  // The two shared buffers, allocated on first use and kept to process end.
  static uint8_t* rawBuffer();
  static uint8_t* blockBuffer();
  // Reads into the shared buffers so far, by any reader: a block in hand is
  // still in the buffers while this stands.
  static uint64_t blockReads();

 private:
  std::unique_ptr<CQvlogIterator> m_iterator;
  std::unique_ptr<CFileInput> m_input;
  uint8_t* m_rawBuffer = nullptr;
  uint8_t* m_blockBuffer = nullptr;
  std::string m_path;
};

}  // namespace quern
