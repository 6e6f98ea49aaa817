// Win32 implementation of the platform layer.
#include <windows.h>
#include <psapi.h>
#include <io.h>
#include <malloc.h>
#include <sys/stat.h>
#include <sys/utime.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "platform/faults.h"
#include "platform/platform.h"
#include "platform/stream.h"

namespace quern::platform {

std::string errorText(int err) {
  char buffer[256];
  if (strerror_s(buffer, sizeof buffer, err) != 0) return "unknown error " + std::to_string(err);
  return buffer;
}

uint32_t lastSystemError() { return static_cast<uint32_t>(GetLastError()); }

namespace stream {
int seek64(std::FILE* s, int64_t offset, int whence) { return _fseeki64(s, offset, whence); }
int64_t tell64(std::FILE* s) { return _ftelli64(s); }
int syncToDisk(std::FILE* s) { return _commit(_fileno(s)); }
int getcUnlocked(std::FILE* s) { return _getc_nolock(s); }
// The C runtime that mingw links has no unlocked fread or fwrite.
size_t readUnlocked(void* buffer, size_t size, std::FILE* s) { return std::fread(buffer, 1, size, s); }
size_t writeUnlocked(const void* buffer, size_t size, std::FILE* s) { return std::fwrite(buffer, 1, size, s); }
}  // namespace stream

bool renameReplace(const char* from, const char* to) {
  if (faults::hit(faults::Op::Rename) != faults::Effect::None) return false;
  if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0) return true;
  errno = EACCES;
  return false;
}

bool fileExists(const char* path) { return _access(path, 0) == 0; }

bool modificationTime(const char* path, int64_t& seconds) {
  struct __stat64 info;
  if (_stat64(path, &info) != 0) return false;
  seconds = static_cast<int64_t>(info.st_mtime);
  return true;
}

bool setModificationTime(const char* path, int64_t seconds) {
  struct __utimbuf64 times {
    static_cast<__time64_t>(seconds), static_cast<__time64_t>(seconds)
  };
  return _utime64(path, &times) == 0;
}

bool isDirectory(const char* path, bool& directory) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    errno = ENOENT;
    return false;
  }
  directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  return true;
}

bool isRegularFile(const char* path, bool& regular) {
  // No access asked: a device or a pipe is only looked at, never opened for reading.
  const HANDLE handle = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    errno = ENOENT;
    return false;
  }
  BY_HANDLE_FILE_INFORMATION info{};
  const bool disk = GetFileType(handle) == FILE_TYPE_DISK && GetFileInformationByHandle(handle, &info) != 0;
  CloseHandle(handle);
  regular = disk && (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
  return true;
}

bool isPlainDirectory(const char* path, bool& directory) {
  if (!isDirectory(path, directory)) return false;
  // Junctions and directory links are reparse points.
  if (directory && (GetFileAttributesA(path) & FILE_ATTRIBUTE_REPARSE_POINT) != 0) directory = false;
  return true;
}

bool listDirectory(const char* path, std::vector<std::string>& names) {
  std::string pattern(path);
  if (!pattern.empty() && pattern.back() != '/' && pattern.back() != '\\') pattern += '/';
  pattern += '*';
  WIN32_FIND_DATAA data;
  HANDLE find = FindFirstFileA(pattern.c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) {
    errno = ENOENT;
    return false;
  }
  names.clear();
  do {
    if (std::strcmp(data.cFileName, ".") == 0 || std::strcmp(data.cFileName, "..") == 0) continue;
    names.emplace_back(data.cFileName);
  } while (FindNextFileA(find, &data) != 0);
  FindClose(find);
  return true;
}

bool makeDirectory(const char* path) {
  if (CreateDirectoryA(path, nullptr) != 0) return true;
  errno = GetLastError() == ERROR_ALREADY_EXISTS ? EEXIST : EACCES;
  return false;
}

bool removeDirectory(const char* path) {
  if (RemoveDirectoryA(path) != 0) return true;
  errno = EACCES;
  return false;
}

const char* pathSeparators() { return "/\\"; }

bool processMemory(uint64_t& bytes) {
  PROCESS_MEMORY_COUNTERS counters;
  if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == 0) return false;
  bytes = counters.PagefileUsage;
  return true;
}

void releaseFreeMemory() { _heapmin(); }

void* allocatePages(size_t bytes) { return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE); }

void freePages(void* pages, size_t /*bytes*/) {
  if (pages != nullptr) VirtualFree(pages, 0, MEM_RELEASE);
}

bool raiseOpenFileLimit(int count) { return _setmaxstdio(count) != -1; }

bool setOpenFileLimit(int count) { return _setmaxstdio(count) != -1; }

int64_t currentTime() { return static_cast<int64_t>(_time64(nullptr)); }

Thread::~Thread() { join(); }

namespace {
DWORD WINAPI threadMain(LPVOID arg) {
  (*static_cast<std::function<void()>*>(arg))();
  return 0;
}
}  // namespace

bool Thread::start(std::function<void()> body) {
  if (m_handle != nullptr) {
    SetLastError(ERROR_BUSY);
    return false;
  }
  m_body = std::move(body);
  HANDLE handle = CreateThread(nullptr, 0, threadMain, &m_body, 0, nullptr);
  if (handle == nullptr) return false;
  m_handle = handle;
  return true;
}

bool Thread::join() {
  if (m_handle == nullptr) return true;
  if (WaitForSingleObject(static_cast<HANDLE>(m_handle), INFINITE) != WAIT_OBJECT_0) return false;
  CloseHandle(static_cast<HANDLE>(m_handle));
  m_handle = nullptr;
  return true;
}

void sleepMilliseconds(uint32_t ms) { Sleep(ms); }

}  // namespace quern::platform
