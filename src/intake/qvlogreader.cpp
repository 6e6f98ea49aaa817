#include "intake/qvlogreader.h"

#include <zlib.h>

#include <cstring>
#include <exception>

#include "base/exception.h"
#include "base/guard.h"
#include "platform/platform.h"

namespace quern {

namespace {

uint64_t s_blockReads = 0;

uint8_t* sharedBuffer(int which) {
  static uint8_t* const buffers[2] = {new uint8_t[kLogBufferSize], new uint8_t[kLogBufferSize]};
  return buffers[which];
}

// True when the frames fill `size` bytes exactly, each inside what remains.
bool framesFit(const uint8_t* payload, uint32_t size) {
  uint32_t remaining = size;
  while (remaining != 0) {
    if (remaining < kFrameHeaderSize) return false;
    const uint32_t frameSize = loadLE32(payload + 4);
    if (frameSize > remaining - kFrameHeaderSize) return false;
    payload += kFrameHeaderSize + frameSize;
    remaining -= kFrameHeaderSize + frameSize;
  }
  return true;
}

}  // namespace

// ---- CQvlogIterator ---------------------------------------------------------

void CQvlogIterator::reset(const uint8_t* base, uint32_t total) {
  m_base = base;
  m_current = base;
  m_remaining = total;
  m_total = total;
}

const uint8_t* CQvlogIterator::Next(FrameHeader* header) {
  if (header == nullptr) return nullptr;
  while (m_remaining != 0) {
    const uint32_t frameSize = m_remaining >= kFrameHeaderSize ? loadLE32(m_current + 4) : 0;
    if (m_remaining < kFrameHeaderSize || frameSize > m_remaining - kFrameHeaderSize) {
      QRN_TRACE(3, "frame size %u does not fit the block, remaining %u", frameSize, m_remaining);
      m_remaining = 0;
      return nullptr;
    }
    *header = decodeFrameHeader(m_current);
    const uint8_t* body = m_current + kFrameHeaderSize;
    m_current = body + frameSize;
    m_remaining -= kFrameHeaderSize + frameSize;
    const bool hidden = header->frameType == body::kHiddenType && frameSize >= body::kPrivateMark + 4 &&
                        loadLE32(body + body::kPrivateMark) == body::kHiddenMark;
    if (!hidden) return body;
  }
  return nullptr;
}

void CQvlogIterator::Rewind() {
  m_current = m_base;
  m_remaining = m_total;
}

// ---- CQvlogReader -----------------------------------------------------------

uint8_t* CQvlogReader::rawBuffer() { return sharedBuffer(0); }
uint8_t* CQvlogReader::blockBuffer() { return sharedBuffer(1); }
uint64_t CQvlogReader::blockReads() { return s_blockReads; }

CQvlogReader::CQvlogReader(const char* path) {
  raiseAs(QRN_SITE(2), "construct CQvlogReader", [&] {
    if (path == nullptr) QRN_RAISE(2, "invalid param, file is null");
    m_path = path;
    m_rawBuffer = rawBuffer();
    m_blockBuffer = blockBuffer();
    m_iterator = std::make_unique<CQvlogIterator>();
  }, [&] { m_iterator.reset(); });
}

CQvlogReader::~CQvlogReader() {
  m_input.reset();
  m_iterator.reset();
}

void CQvlogReader::Open() {
  // A pipe without a writer would block the open, a device or a directory
  // would be misread: only plain files are logs. A path that cannot be asked
  // about is left to the open, which names its error.
  bool regular = false;
  if (platform::isRegularFile(m_path.c_str(), regular) && !regular) {
    QRN_RAISE(2, "open file %s failed, not a regular file", m_path.c_str());
  }
  m_input = std::make_unique<CFileInput>(m_path.c_str());
}

CQvlogIterator* CQvlogReader::ReadBlock(LogBlockHeader* header, int decompress) {
  if (header == nullptr) {
    QRN_TRACE(3, "invalid param, hdr is null");
    return nullptr;
  }
  const char* path = m_path.c_str();
  if (!m_input) {
    Open();
    if (m_input->size() < kFileHeaderSize) {
      QRN_TRACE(3, "file size is less than FileHeader size, %s", path);
      return nullptr;
    }
    m_input->seek(kFileHeaderSize);
  }
  const int64_t size = m_input->size();
  int64_t position = m_input->position();
  if (position == size) return nullptr;
  if (position + kBlockHeaderSize > size) {
    QRN_TRACE(3, "file size is less than LogBlockHeader size, %s", path);
    return nullptr;
  }
  if (decompress != 0) ++s_blockReads;
  uint8_t head[kBlockHeaderSize];
  m_input->readChars(head, kBlockHeaderSize);
  *header = decodeBlockHeader(head);
  position += kBlockHeaderSize;
  // Larger blocks cannot be held; they end the pass like any damaged block.
  if (header->rawSize > kLogBufferSize || header->blockSize > kLogBufferSize) {
    QRN_TRACE(3, "block size %u or raw size %u is larger than the buffer, %s", header->blockSize, header->rawSize,
              path);
    return nullptr;
  }
  if (header->compressed == 0) {
    if (position + header->rawSize > size) {
      QRN_TRACE(3, "file size is less than rawSize, %s", path);
      return nullptr;
    }
    if (decompress != 0) {
      m_input->readChars(m_rawBuffer, header->rawSize);
    } else {
      m_input->seek(position + header->rawSize);
    }
  } else {
    if (position + header->blockSize > size) {
      QRN_TRACE(3, "file size is less than blockSize, %s", path);
      return nullptr;
    }
    if (decompress != 0) {
      m_input->readChars(m_blockBuffer, header->blockSize);
      // The target length is the header's rawSize: a longer stream stops
      // there with an error instead of overrunning the buffer.
      uLongf produced = header->rawSize;
      if (uncompress(m_rawBuffer, &produced, m_blockBuffer, header->blockSize) != Z_OK) {
        QRN_TRACE(3, "uncompress %s fail, skip it", path);
        return nullptr;
      }
      header->rawSize = static_cast<uint32_t>(produced);
    } else {
      m_input->seek(position + header->blockSize);
    }
  }
  if (decompress != 0 && !framesFit(m_rawBuffer, header->rawSize)) {
    QRN_TRACE(3, "frame size does not fit the block, %s", path);
    return nullptr;
  }
  m_iterator->reset(m_rawBuffer, header->rawSize);
  return m_iterator.get();
}

}  // namespace quern
