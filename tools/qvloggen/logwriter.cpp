#include "logwriter.h"

#include <cstring>
#include <stdexcept>

namespace quern::qvloggen {

LogWriter::LogWriter(std::ostream& out, int level, int64_t created) : m_out(out) {
  if (deflateInit(&m_zip, level) != Z_OK) throw std::runtime_error("deflateInit failed");
  uint8_t head[kFileHeaderSize] = {};
  std::memcpy(head, kFileMagic, sizeof kFileMagic);
  storeLE32(head + 8, 1);
  storeLE64(head + 16, static_cast<uint64_t>(created));
  m_out.write(reinterpret_cast<const char*>(head), sizeof head);
  m_offset = sizeof head;
}

LogWriter::~LogWriter() { deflateEnd(&m_zip); }

LogBlockHeader LogWriter::addBlock(const uint8_t* raw, uint32_t size, bool compressed, uint32_t sliceTag,
                                   uint32_t frameCount, int64_t stamp) {
  LogBlockHeader header;
  header.mark = kBlockMark;
  header.rawSize = size;
  header.compressed = compressed ? 1 : 0;
  header.frameCount = frameCount;
  header.sliceTag = sliceTag;
  header.stamp = static_cast<uint64_t>(stamp);
  const uint8_t* payload = raw;
  header.blockSize = size;
  if (compressed) {
    m_compressed.resize(deflateBound(&m_zip, size));
    deflateReset(&m_zip);
    m_zip.next_in = const_cast<uint8_t*>(raw);
    m_zip.avail_in = size;
    m_zip.next_out = m_compressed.data();
    m_zip.avail_out = static_cast<uInt>(m_compressed.size());
    if (deflate(&m_zip, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("deflate failed");
    header.blockSize = static_cast<uint32_t>(m_zip.total_out);
    payload = m_compressed.data();
  }
  if (header.rawSize > kLogBufferSize || header.blockSize > kLogBufferSize) {
    throw std::length_error("block larger than the reader's buffer");
  }
  uint8_t head[kBlockHeaderSize];
  encodeBlockHeader(header, head);
  m_out.write(reinterpret_cast<const char*>(head), sizeof head);
  m_out.write(reinterpret_cast<const char*>(payload), header.blockSize);
  if (!m_out) throw std::runtime_error("writing the log failed");
  m_offset += kBlockHeaderSize + header.blockSize;
  return header;
}

}  // namespace quern::qvloggen
