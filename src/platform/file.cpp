#include <cerrno>
#include <cstring>

#include "platform/faults.h"
#include "platform/platform.h"
#include "platform/stream.h"

namespace quern::platform {

using faults::Effect;
using faults::Op;

std::unique_ptr<File> File::open(const char* path, const char* mode, size_t readBuffer) {
  if (faults::hit(Op::Open) != Effect::None) return nullptr;
  std::FILE* stream = std::fopen(path, mode);
  if (stream == nullptr) return nullptr;
  std::unique_ptr<File> file(new File(stream));
  // Text mode may change line ends on the way, so only binary streams count.
  file->m_binary = std::strchr(mode, 'b') != nullptr;
  if (file->m_binary && mode[0] != 'a') file->m_position = 0;
  // Index files are written in many small pieces: a large buffer saves
  // system calls. Reads keep the default unless the caller asks: lookups
  // seek, and a seek drops what the buffer held.
  const size_t buffer = mode[0] == 'w' || mode[0] == 'a' ? kWriteBuffer : readBuffer;
  if (buffer != 0) {
    file->m_buffer = std::make_unique_for_overwrite<char[]>(buffer);
    std::setvbuf(stream, file->m_buffer.get(), _IOFBF, buffer);
  }
  return file;
}

File::~File() {
  if (m_stream != nullptr) std::fclose(m_stream);
}

size_t File::read(void* buffer, size_t size) {
  if (faults::hit(Op::Read) != Effect::None) {
    m_injectedError = true;
    return 0;
  }
  return advance(stream::readUnlocked(buffer, size, m_stream));
}

size_t File::advance(size_t bytes) {
  if (m_position >= 0) m_position += static_cast<int64_t>(bytes);
  return bytes;
}

size_t File::write(const void* buffer, size_t size) {
  switch (faults::hit(Op::Write)) {
    case Effect::None:
      return advance(stream::writeUnlocked(buffer, size, m_stream));
    case Effect::ShortWrite: {
      const size_t part = size / 2;
      const size_t written = advance(stream::writeUnlocked(buffer, part, m_stream));
      m_injectedError = true;
      errno = ENOSPC;
      return written;
    }
    case Effect::Fail:
      break;
  }
  m_injectedError = true;
  return 0;
}

int File::getc() {
  if (faults::hit(Op::Read) != Effect::None) {
    m_injectedError = true;
    return EOF;
  }
  const int byte = stream::getcUnlocked(m_stream);
  if (byte != EOF) advance(1);
  return byte;
}

bool File::putc(uint8_t byte) { return write(&byte, 1) == 1; }

bool File::seek(int64_t offset, int whence) {
  m_position = -1;
  if (faults::hit(Op::Seek) != Effect::None) return false;
  if (stream::seek64(m_stream, offset, whence) != 0) return false;
  if (m_binary && whence == SEEK_SET) m_position = offset;
  return true;
}

int64_t File::tell() {
  if (m_position >= 0) return m_position;
  const int64_t position = stream::tell64(m_stream);
  if (m_binary) m_position = position;
  return position;
}

bool File::flush() {
  if (faults::hit(Op::Flush) != Effect::None) return false;
  return std::fflush(m_stream) == 0;
}

bool File::sync() {
  if (faults::hit(Op::Sync) != Effect::None) return false;
  if (faults::diskSyncSkipped()) return std::fflush(m_stream) == 0;
  return stream::syncToDisk(m_stream) == 0;
}

bool File::close() {
  std::FILE* stream = m_stream;
  m_stream = nullptr;
  const bool injected = faults::hit(Op::Close) != Effect::None;
  const int saved = errno;
  const bool closed = std::fclose(stream) == 0;
  if (injected) errno = saved;
  return closed && !injected;
}

bool File::error() const { return m_injectedError || std::ferror(m_stream) != 0; }

bool File::eof() const { return std::feof(m_stream) != 0; }

bool removeFile(const char* path) {
  if (faults::hit(Op::Remove) != Effect::None) return false;
  return std::remove(path) == 0;
}

int lastErrno() { return errno; }

}  // namespace quern::platform
