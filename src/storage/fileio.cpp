#include "storage/fileio.h"

#include <algorithm>
#include <vector>

#include "base/exception.h"
#include "base/guard.h"
#include "storage/endian.h"

namespace quern {

namespace {
std::string systemText() { return platform::errorText(platform::lastErrno()); }
}  // namespace

// ---- CFileInput -------------------------------------------------------------

CFileInput::CFileInput(const char* path, uint32_t readBuffer) : m_readBuffer(readBuffer) { open(path); }

CFileInput::~CFileInput() {
  m_file.reset();
  m_path.clear();
}

CFileInput::CFileInput(const std::string& path, uint32_t readBuffer, int64_t size)
    : m_size(size), m_readBuffer(readBuffer) {
  openStream(path.c_str());
}

void CFileInput::openStream(const char* path) {
  if (path == nullptr) QRN_RAISE(2, "Invalid param(file_path)");
  m_file.reset();
  m_file = platform::File::open(path, "rb", m_readBuffer);
  if (!m_file) {
    const int err = platform::lastErrno();
    QRN_RAISE(2, "open file %s failed, %d %s", path, err, platform::errorText(err).c_str());
  }
  m_path = path;
}

void CFileInput::open(const char* path) {
  openStream(path);
  if (!m_file->seek(0, SEEK_END)) {
    const std::string text = systemText();
    m_file.reset();
    QRN_RAISE(2, "seek file %s failed %s", path, text.c_str());
  }
  m_size = m_file->tell();
  seek(0);
}

std::unique_ptr<CFileInput> CFileInput::clone() const {
  return std::unique_ptr<CFileInput>(new CFileInput(m_path, m_readBuffer, m_size));
}

void CFileInput::seek(int64_t position) {
  // A seek drops the read buffer; readers that walk a file in order seek to
  // where they stand, and keep it.
  if (position == m_file->tell()) return;
  if (!m_file->seek(position, SEEK_SET)) QRN_RAISE(2, "seek file %s failed %s", m_path.c_str(), systemText().c_str());
}

void CFileInput::seekFromEnd(int64_t distance) {
  if (!m_file->seek(-distance, SEEK_END)) {
    QRN_RAISE(2, "seek file %s failed %s", m_path.c_str(), systemText().c_str());
  }
}

int64_t CFileInput::position() const { return m_file->tell(); }

void CFileInput::failRead(const char* what) const {
  if (m_file->error()) QRN_RAISE(2, "%s failed, %s %s", what, systemText().c_str(), m_path.c_str());
  QRN_RAISE(2, "read file %s over", m_path.c_str());
}

uint8_t CFileInput::getChar() {
  const int byte = m_file->getc();
  if (byte == EOF) failRead("get char");
  return static_cast<uint8_t>(byte);
}

uint32_t CFileInput::readVInt(uint32_t& consumed) {
  consumed = 0;
  uint32_t value = 0;
  for (uint32_t shift = 0;; shift += 7) {
    const uint8_t byte = getChar();
    ++consumed;
    // A sixth byte cannot belong to a 32-bit value: the file is damaged.
    if (consumed > 5) QRN_RAISE(2, "read vint failed, too long %s", m_path.c_str());
    value |= static_cast<uint32_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) return value;
  }
}

int32_t CFileInput::readInt() {
  uint8_t bytes[4];
  if (m_file->read(bytes, sizeof bytes) != sizeof bytes) failRead("read int");
  return static_cast<int32_t>(loadLE32(bytes));
}

int64_t CFileInput::readInt64() {
  uint8_t bytes[8];
  if (m_file->read(bytes, sizeof bytes) != sizeof bytes) failRead("read int64");
  return static_cast<int64_t>(loadLE64(bytes));
}

uint32_t CFileInput::readChars(void* buffer, uint32_t length) {
  if (length == 0) return 0;
  const int64_t start = m_file->tell();
  const size_t delivered = m_file->read(buffer, length);
  if (delivered == length) return length;
  if (m_file->error()) {
    QRN_RAISE(2, "read chars failed, %llu %d %d %s %s", static_cast<unsigned long long>(start),
              static_cast<int>(length), static_cast<int>(delivered), systemText().c_str(), m_path.c_str());
  }
  QRN_RAISE(2, "read file %s over", m_path.c_str());
}

// ---- CFileOutput ------------------------------------------------------------

CFileOutput::CFileOutput(const char* path) { open(path); }

CFileOutput::~CFileOutput() {
  if (!m_file) return;
  keepFailures(QRN_SITE(0), "destructor CFileOutput", [&] {
    commit();
  });
  if (!m_file->close()) QRN_TRACE(0, "destructor CFileOutput fail, close %s, %s", m_path.c_str(), systemText().c_str());
}

void CFileOutput::open(const char* path) {
  if (path == nullptr) QRN_RAISE(2, "Invalid param(file_path)");
  m_path = path;
  m_file.reset();
  m_position = 0;
  m_file = platform::File::open(path, "wb");
  if (!m_file) QRN_RAISE(2, "open file %s failed, %s", path, systemText().c_str());
}

// Output is strictly front to back, so the position is counted, not asked.
int64_t CFileOutput::position() const { return m_position; }

void CFileOutput::put(const void* buffer, size_t length, const char* what) {
  if (!m_file) QRN_RAISE(1, "write %s after close", m_path.c_str());
  const size_t written = m_file->write(buffer, length);
  m_position += static_cast<int64_t>(written);
  if (written != length) QRN_RAISE(2, "%s failed, %s", what, systemText().c_str());
}

void CFileOutput::writeChar(uint8_t byte) { put(&byte, 1, "write char"); }

void CFileOutput::writeChars(const void* buffer, uint32_t length) { put(buffer, length, "write chars"); }

void CFileOutput::writeInt(int32_t value) {
  uint8_t bytes[4];
  storeLE32(bytes, static_cast<uint32_t>(value));
  put(bytes, sizeof bytes, "write int");
}

void CFileOutput::writeInt64(int64_t value) {
  uint8_t bytes[8];
  storeLE64(bytes, static_cast<uint64_t>(value));
  put(bytes, sizeof bytes, "write int64");
}

uint32_t CFileOutput::writeVInt(uint32_t value) {
  uint32_t length = 1;
  while ((value & ~0x7Fu) != 0) {
    writeChar(static_cast<uint8_t>((value & 0x7F) | 0x80));
    value >>= 7;
    ++length;
  }
  writeChar(static_cast<uint8_t>(value));
  return length;
}

void CFileOutput::copyFrom(CFileInput& source, uint64_t count) {
  // Block-wise through a buffer; a source that ends early still gets the
  // bytes it had copied before the failure is raised.
  std::vector<uint8_t> buffer(static_cast<size_t>(std::min<uint64_t>(count, 1u << 16)));
  while (count > 0) {
    const int64_t left = std::max<int64_t>(0, source.size() - source.position());
    const uint32_t step = static_cast<uint32_t>(std::min<uint64_t>(count, buffer.size()));
    const uint32_t take = static_cast<uint32_t>(std::min<int64_t>(step, left));
    source.readChars(buffer.data(), take);
    put(buffer.data(), take, "write char");
    if (take < step) QRN_RAISE(2, "read file %s over", source.path().c_str());
    count -= step;
  }
}

void CFileOutput::commit() {
  if (!m_file) QRN_RAISE(1, "commit %s after close", m_path.c_str());
  if (!m_file->flush()) QRN_RAISE(2, "fflush file failed, %s", systemText().c_str());
  if (!m_file->sync()) QRN_RAISE(2, "commit %s fail, %s", m_path.c_str(), systemText().c_str());
}

void CFileOutput::close() {
  commit();
  const std::unique_ptr<platform::File> file = std::move(m_file);
  if (!file->close()) QRN_RAISE(2, "close %s fail, %s", m_path.c_str(), systemText().c_str());
}

}  // namespace quern
