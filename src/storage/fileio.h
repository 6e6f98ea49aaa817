// Binary files with the on-disk primitives: byte, little-endian 32- and
// 64-bit integers, raw bytes and vint (7 bits a byte, low group first, top
// bit set while more follow). All failures are raised at level 2 with the
// path where the text has one; a failed read leaves the object usable.
// An object belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/platform.h"

namespace quern {

class CFileInput {
 public:
  // `readBuffer`: the stream's buffer in bytes, 0 for the system's default
  // (lookups that seek want little; a walk in file order wants much).
  explicit CFileInput(const char* path, uint32_t readBuffer = 0);
  virtual ~CFileInput();
  CFileInput(const CFileInput&) = delete;
  CFileInput& operator=(const CFileInput&) = delete;

  // Opens `path` (closing a stream that is open), takes its size, stands at 0.
  void open(const char* path);
  // The same file on a stream of its own and a buffer of the same size, at
  // position 0. The size is taken over, not measured again.
  std::unique_ptr<CFileInput> clone() const;

  void seek(int64_t position);
  // Stands `distance` bytes before the end.
  void seekFromEnd(int64_t distance);
  int64_t position() const;
  int64_t size() const { return m_size; }
  const std::string& path() const { return m_path; }

  uint8_t getChar();
  uint32_t readVInt(uint32_t& consumed);
  int32_t readInt();
  int64_t readInt64();
  // Reads exactly `length` bytes; returns `length`.
  uint32_t readChars(void* buffer, uint32_t length);

 private:
  // For `clone`: the stream without measuring what is known.
  CFileInput(const std::string& path, uint32_t readBuffer, int64_t size);
  // Opens the stream of `path` at position 0.
  void openStream(const char* path);
  // Raises the failure of a short read: the stream's error first, then its end.
  [[noreturn]] void failRead(const char* what) const;

  std::unique_ptr<platform::File> m_file;
  std::string m_path;
  int64_t m_size = 0;
  uint32_t m_readBuffer = 0;
};

class CFileOutput {
 public:
  explicit CFileOutput(const char* path);
  // Commits (flush and force to disk) and closes a file still open; a
  // failure here is logged.
  virtual ~CFileOutput();
  CFileOutput(const CFileOutput&) = delete;
  CFileOutput& operator=(const CFileOutput&) = delete;

  // Creates or truncates `path`.
  void open(const char* path);
  int64_t position() const;
  std::string path() const { return m_path; }

  void writeChar(uint8_t byte);
  void writeChars(const void* buffer, uint32_t length);
  void writeInt(int32_t value);
  void writeInt64(int64_t value);
  // Returns the number of bytes written, 1 to 5.
  uint32_t writeVInt(uint32_t value);
  // Copies `count` bytes from the source's position to here.
  void copyFrom(CFileInput& source, uint64_t count);
  // Flushes the stream and forces the file to stable storage.
  void commit();
  // Commits and closes: the end of a file in ordinary flow, where a failure
  // is raised ("close %s fail, %s" for the close itself) instead of being
  // logged by the destructor. Nothing may be written after it.
  void close();

 private:
  // Writes all of `buffer` or raises "<what> failed, <error>".
  void put(const void* buffer, size_t length, const char* what);

  std::unique_ptr<platform::File> m_file;
  std::string m_path;
  int64_t m_position = 0;
};

}  // namespace quern
