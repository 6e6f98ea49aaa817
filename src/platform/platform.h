// The operating system as the library sees it. Every OS call of the library
// lives behind this header: posix.cpp and win32.cpp implement it, file.cpp
// holds the stdio code the two share. Functions report failure by their
// result and leave the system's error number for `lastError`/`errorText`;
// none of them throws.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quern::platform {

// ---- errors ---------------------------------------------------------------

// The C runtime's error number of the calling thread (errno).
int lastErrno();
// The system's text for an errno value.
std::string errorText(int err);
// The error number of the last failed thread or file-system call of the
// calling thread (GetLastError on Windows, errno elsewhere).
uint32_t lastSystemError();

// ---- files ----------------------------------------------------------------

// A binary stdio stream. Every open, read, write, seek, flush, sync and close
// of the library passes here, so that tests can make one of them fail
// (faults.h). Short reads are told apart by `error()` and `eof()`.
class File {
 public:
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Opens with a stdio mode ("rb", "wb", ...); null with errno set on failure.
  // A stream opened for reading gets a buffer of `readBuffer` bytes instead
  // of the system's default when it is not 0.
  static std::unique_ptr<File> open(const char* path, const char* mode, size_t readBuffer = 0);

  size_t read(void* buffer, size_t size);
  size_t write(const void* buffer, size_t size);
  // One byte, or EOF with `error()` or `eof()` set.
  int getc();
  bool putc(uint8_t byte);
  bool seek(int64_t offset, int whence);  // SEEK_SET, SEEK_CUR, SEEK_END
  int64_t tell();
  bool flush();
  // Forces the file's written data to stable storage (fsync / _commit).
  bool sync();
  // Closes the stream; later calls other than the destructor are not allowed.
  bool close();

  bool error() const;
  bool eof() const;

 private:
  static constexpr size_t kWriteBuffer = 1u << 18;
  explicit File(std::FILE* stream) : m_stream(stream) {}
  // Counts `bytes` moved; gives them back.
  size_t advance(size_t bytes);
  std::FILE* m_stream;
  std::unique_ptr<char[]> m_buffer;  // the stream's buffer when not the default; freed after closing
  // The stream's offset as the bytes moved tell it, so that `tell` costs no
  // call into the C runtime; -1 when unknown (text mode, after a failure).
  int64_t m_position = -1;
  bool m_binary = false;
  bool m_injectedError = false;
};

// Renames `from` to `to`, replacing a file that `to` names.
bool renameReplace(const char* from, const char* to);
bool removeFile(const char* path);

// ---- file system ----------------------------------------------------------

bool fileExists(const char* path);
// Modification time in seconds since the Unix epoch.
bool modificationTime(const char* path, int64_t& seconds);
bool setModificationTime(const char* path, int64_t seconds);
bool isDirectory(const char* path, bool& directory);
// Whether `path` names a plain file on disk: not a directory, a pipe or a
// device, which a read could hang on or misread. False when it cannot be
// asked, with the system's error set.
bool isRegularFile(const char* path, bool& regular);
// As `isDirectory`, but a link to a directory counts as none, so that a walk
// that deletes what it finds never leaves the tree it was given.
bool isPlainDirectory(const char* path, bool& directory);
// Names of the entries of a directory without "." and "..", in the system's order.
bool listDirectory(const char* path, std::vector<std::string>& names);
bool makeDirectory(const char* path);
bool removeDirectory(const char* path);
// The path separators the system accepts, "/" first.
const char* pathSeparators();

// ---- process --------------------------------------------------------------

// Memory the process holds privately, in bytes: PagefileUsage on Windows,
// RssAnon on Linux. False when the system will not tell.
bool processMemory(uint64_t& bytes);
// Hands the heap's free pages back to the system, so that `processMemory`
// measures what is in use rather than what a finished pass left behind.
void releaseFreeMemory();
// Zeroed memory straight from the system, in huge pages where the system
// offers them, so that a large table touched at random faults and misses the
// TLB far less often than heap memory. Null when the system refuses.
void* allocatePages(size_t bytes);
// Returns what `allocatePages(bytes)` gave.
void freePages(void* pages, size_t bytes);
// Allows at least `count` files open at once.
bool raiseOpenFileLimit(int count);
// Allows exactly `count` files open at once, lowering the limit too; false
// where the system refuses that number.
bool setOpenFileLimit(int count);
// Seconds since the Unix epoch.
int64_t currentTime();

// The vector units that hand-vectorised loops may use on this processor and
// system: AVX2, and AVX-512 with VPOPCNTDQ. Asked once by each caller.
struct VectorUnits {
  bool avx2 = false;
  bool avx512 = false;
};
VectorUnits vectorUnits();
// The way of reading vectors that the environment variable QUERN_SPAN_WAY
// names ("avx512", "avx2", "word"), to measure or test a slower way on a
// processor that has a faster one; null when it is not set.
const char* vectorWayOverride();

// ---- threads --------------------------------------------------------------

class Thread {
 public:
  Thread() = default;
  ~Thread();  // joins a thread that is still running
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Starts `body` on a new thread; false with `lastSystemError` set on failure.
  bool start(std::function<void()> body);
  // Waits for the thread to end; false if it could not be waited for.
  bool join();
  bool started() const { return m_handle != nullptr; }

 private:
  void* m_handle = nullptr;
  std::function<void()> m_body;
};

void sleepMilliseconds(uint32_t ms);

}  // namespace quern::platform
