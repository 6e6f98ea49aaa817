#include "codec/vintvector.h"

#include <algorithm>
#include <cstring>

#include "base/exception.h"
#include "storage/endian.h"

namespace quern {

void VINTVector::attach(std::unique_ptr<CInputDesc> input, int64_t length) {
  if (!input) QRN_RAISE(2, "invalid param(input)");
  if (length < 0) QRN_RAISE(2, "stream length %lld in %s is invalid", static_cast<long long>(length),
                            input->file().path().c_str());
  m_input = std::move(input);
  m_length = m_fileLeft = static_cast<uint64_t>(length);
  m_readOffset = 0;
  m_bufferSize = static_cast<uint32_t>(std::min<uint64_t>(m_length, kReadBlock));
  // A vector attached again keeps a buffer that is large enough.
  if (m_bufferSize > m_bufferCapacity) {
    m_buffer = std::make_unique_for_overwrite<uint8_t[]>(m_bufferSize);
    m_bufferCapacity = m_bufferSize;
  }
  m_next = m_end = m_buffer.get();
}

std::unique_ptr<CInputDesc> VINTVector::detach() {
  m_length = m_readOffset = m_fileLeft = 0;
  m_next = m_end = m_buffer.get();
  return std::move(m_input);
}

const std::string& VINTVector::path() const {
  if (!m_input) QRN_RAISE(1, "stream not attached");
  return m_input->file().path();
}

bool VINTVector::refill() {
  if (m_fileLeft == 0) return false;
  const auto kept = static_cast<uint32_t>(m_end - m_next);
  std::memmove(m_buffer.get(), m_next, kept);
  const auto take = static_cast<uint32_t>(std::min<uint64_t>(m_bufferSize - kept, m_fileLeft));
  m_input->file().readChars(m_buffer.get() + kept, take);
  m_fileLeft -= take;
  m_next = m_buffer.get();
  m_end = m_next + kept + take;
  return true;
}

void VINTVector::tooLong() const { QRN_RAISE(2, "read vint failed, too long %s", path().c_str()); }

void VINTVector::fill(uint32_t want) {
  while (m_end - m_next < static_cast<ptrdiff_t>(want) && refill()) {
  }
}

int VINTVector::readSlow(uint32_t* out) {
  if (out == nullptr) QRN_RAISE(2, "invalid param v32s");
  if (m_readOffset >= m_length) return 0;
  fill(VINTChunks::kMaxValueBytes);
  const uint32_t length = decodeVInt(m_next, m_end, *out);
  if (length != 0) {
    consume(m_next + length);
    return 1;
  }
  if (m_end - m_next >= static_cast<ptrdiff_t>(VINTChunks::kMaxValueBytes)) tooLong();
  QRN_RAISE(2, "read file %s over", path().c_str());
}

bool VINTVector::skip(uint32_t count) {
  // A value ends at each byte below 0x80: eight bytes at a time, those
  // bytes are counted, and the walk stops in the word that holds the last.
  constexpr uint64_t kHighBits = 0x8080808080808080ull;
  while (count != 0) {
    if (m_next == m_end && !refill()) return false;
    const uint8_t* p = m_next;
    while (m_end - p >= 8) {
      // The marks of value ends, moved to the low bit of each byte and
      // summed into the top byte (no popcount instruction is assumed).
      const auto ends = static_cast<uint32_t>(((~loadLE64(p) & kHighBits) >> 7) * 0x0101010101010101ull >> 56);
      if (ends >= count) break;
      count -= ends;
      p += 8;
    }
    for (; p < m_end && count != 0; ++p) count -= *p < 0x80 ? 1 : 0;
    m_readOffset += static_cast<uint64_t>(p - m_next);
    m_next = p;
  }
  return true;
}

}  // namespace quern
