// POSIX implementation of the platform layer.
#include <dirent.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>

#include "platform/faults.h"
#include "platform/platform.h"
#include "platform/stream.h"

namespace quern::platform {

std::string errorText(int err) {
  char buffer[256];
  // The GNU variant may return a static text instead of filling the buffer.
  const auto result = strerror_r(err, buffer, sizeof buffer);
  if constexpr (std::is_same_v<decltype(result), char*>) {
    return result;
  } else {
    return result == 0 ? std::string(buffer) : "unknown error " + std::to_string(err);
  }
}

uint32_t lastSystemError() { return static_cast<uint32_t>(errno); }

namespace stream {
int seek64(std::FILE* s, int64_t offset, int whence) { return fseeko(s, static_cast<off_t>(offset), whence); }
int64_t tell64(std::FILE* s) { return static_cast<int64_t>(ftello(s)); }
int syncToDisk(std::FILE* s) { return fsync(fileno(s)); }
int getcUnlocked(std::FILE* s) { return getc_unlocked(s); }
#ifdef __GLIBC__
size_t readUnlocked(void* buffer, size_t size, std::FILE* s) { return fread_unlocked(buffer, 1, size, s); }
size_t writeUnlocked(const void* buffer, size_t size, std::FILE* s) { return fwrite_unlocked(buffer, 1, size, s); }
#else
size_t readUnlocked(void* buffer, size_t size, std::FILE* s) { return std::fread(buffer, 1, size, s); }
size_t writeUnlocked(const void* buffer, size_t size, std::FILE* s) { return std::fwrite(buffer, 1, size, s); }
#endif
}  // namespace stream

bool renameReplace(const char* from, const char* to) {
  if (faults::hit(faults::Op::Rename) != faults::Effect::None) return false;
  return std::rename(from, to) == 0;
}

bool fileExists(const char* path) { return access(path, F_OK) == 0; }

bool modificationTime(const char* path, int64_t& seconds) {
  struct stat info;
  if (stat(path, &info) != 0) return false;
  seconds = static_cast<int64_t>(info.st_mtime);
  return true;
}

bool setModificationTime(const char* path, int64_t seconds) {
  struct timeval times[2];
  times[0].tv_sec = static_cast<time_t>(seconds);
  times[0].tv_usec = 0;
  times[1] = times[0];
  return utimes(path, times) == 0;
}

bool isDirectory(const char* path, bool& directory) {
  struct stat info;
  if (stat(path, &info) != 0) return false;
  directory = S_ISDIR(info.st_mode);
  return true;
}

bool isRegularFile(const char* path, bool& regular) {
  struct stat info;
  if (stat(path, &info) != 0) return false;
  regular = S_ISREG(info.st_mode);
  return true;
}

bool isPlainDirectory(const char* path, bool& directory) {
  struct stat info;
  if (lstat(path, &info) != 0) return false;
  directory = S_ISDIR(info.st_mode);
  return true;
}

bool listDirectory(const char* path, std::vector<std::string>& names) {
  DIR* dir = opendir(path);
  if (dir == nullptr) return false;
  names.clear();
  while (const dirent* entry = readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    names.emplace_back(entry->d_name);
  }
  const int saved = errno;
  closedir(dir);
  errno = saved;
  return true;
}

bool makeDirectory(const char* path) { return mkdir(path, 0777) == 0; }

bool removeDirectory(const char* path) { return rmdir(path) == 0; }

const char* pathSeparators() { return "/"; }

bool processMemory(uint64_t& bytes) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("RssAnon:", 0) == 0) {
      bytes = std::strtoull(line.c_str() + 8, nullptr, 10) * 1024;
      return true;
    }
  }
  errno = ENOENT;
  return false;
}

void releaseFreeMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

void* allocatePages(size_t bytes) {
  void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) return nullptr;
#ifdef MADV_HUGEPAGE
  madvise(pages, bytes, MADV_HUGEPAGE);  // advice only: without it the pages are small
#endif
  return pages;
}

void freePages(void* pages, size_t bytes) {
  if (pages != nullptr) munmap(pages, bytes);
}

bool raiseOpenFileLimit(int count) {
  struct rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  const rlim_t wanted = static_cast<rlim_t>(count);
  if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur >= wanted) return true;
  limit.rlim_cur = wanted;
  if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < wanted) {
    errno = EPERM;
    return false;
  }
  return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

bool setOpenFileLimit(int count) {
  struct rlimit limit;
  if (count < 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  limit.rlim_cur = static_cast<rlim_t>(count);
  return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

int64_t currentTime() { return static_cast<int64_t>(std::time(nullptr)); }

Thread::~Thread() { join(); }

namespace {
void* threadMain(void* arg) {
  (*static_cast<std::function<void()>*>(arg))();
  return nullptr;
}
}  // namespace

bool Thread::start(std::function<void()> body) {
  if (m_handle != nullptr) {
    errno = EBUSY;
    return false;
  }
  m_body = std::move(body);
  auto handle = std::make_unique<pthread_t>();
  const int rc = pthread_create(handle.get(), nullptr, threadMain, &m_body);
  if (rc != 0) {
    errno = rc;
    return false;
  }
  m_handle = handle.release();
  return true;
}

bool Thread::join() {
  if (m_handle == nullptr) return true;
  auto* handle = static_cast<pthread_t*>(m_handle);
  const int rc = pthread_join(*handle, nullptr);
  if (rc != 0) {
    errno = rc;
    return false;
  }
  std::unique_ptr<pthread_t>{handle};
  m_handle = nullptr;
  return true;
}

void sleepMilliseconds(uint32_t ms) {
  struct timespec wait {
    static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L
  };
  while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
  }
}

}  // namespace quern::platform
