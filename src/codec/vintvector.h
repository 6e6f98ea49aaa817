// VINTVector: the read side of one VINT stream (vintchunks.h writes them):
// it owns its descriptor, takes the stream's bytes from it in blocks of up
// to 64 KiB into a buffer of its own and decodes them there, so that no
// other reader may move that descriptor; the stream's length bounds every
// read, so bytes behind the stream are never taken. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "codec/vintchunks.h"
#include "storage/inputdesc.h"

namespace quern {

class VINTVector {
 public:
  static constexpr uint32_t kReadBlock = 1u << 16;

  VINTVector() = default;
  virtual ~VINTVector() = default;
  VINTVector(const VINTVector&) = delete;
  VINTVector& operator=(const VINTVector&) = delete;

  // Makes the vector the reader of the `length` bytes at the
  // descriptor's position, taking the descriptor.
  void attach(std::unique_ptr<CInputDesc> input, int64_t length);
  // Gives the descriptor back, leaving the vector empty; null when none.
  std::unique_ptr<CInputDesc> detach();
  bool hasMore() const { return m_readOffset < m_length; }
  // 1 with the next value in `out`, 0 at the end of the stream. A null `out`
  // raises level 2 "invalid param v32s"; a value cut by the stream's end
  // "read file %s over", one of six bytes or more "read vint failed, too long %s".
  int read(uint32_t* out) {
    constexpr auto kLongest = static_cast<ptrdiff_t>(VINTChunks::kMaxValueBytes);
    if (out == nullptr || m_readOffset >= m_length || m_end - m_next < kLongest) return readSlow(out);
    const uint8_t* p = m_next;
    *out = decode(p);
    consume(p);
    return 1;
  }
  // Decodes the value at `p`, which must have five bytes behind it, and
  // moves `p` past it.
  uint32_t decode(const uint8_t*& p) const {
    // Values of one or two bytes, most of a list, without a branch on which.
    const uint32_t first = p[0];
    const uint32_t second = p[1];
    if ((first & second & 0x80) == 0) {
      const uint32_t more = first >> 7;
      p += 1 + more;
      return (first & 0x7F) | ((second & 0x7F) << 7 & (0u - more));
    }
    uint32_t value = *p & 0x7Fu;
    for (uint32_t shift = 7; *p++ >= 0x80; shift += 7) {
      if (shift == 35) tooLong();
      value |= static_cast<uint32_t>(*p & 0x7F) << shift;
    }
    return value;
  }
  // Drops the next `count` values without decoding them; false when the
  // stream ends first.
  bool skip(uint32_t count);
  // For loops that decode in place: the unread bytes of the buffer, at
  // least `want` (at most 1 KiB) unless the stream has fewer left; empty at
  // the end of the stream. `consume` then takes the bytes up to `upTo`.
  struct Window {
    const uint8_t* next;
    const uint8_t* end;
  };
  Window window(uint32_t want) {
    if (m_end - m_next < static_cast<ptrdiff_t>(want)) fill(want);
    return {m_next, m_end};
  }
  void consume(const uint8_t* upTo) {
    m_readOffset += static_cast<uint64_t>(upTo - m_next);
    m_next = upTo;
  }
  // The stream's file, for failure texts; only while attached.
  const std::string& path() const;

 private:
  int readSlow(uint32_t* out);
  // Refills until `want` bytes are unread or the stream has no more.
  void fill(uint32_t want);
  // Keeps the unread bytes and reads more of the stream behind them; false
  // when the stream has no byte left in the file.
  bool refill();
  [[noreturn]] void tooLong() const;

  // The stream's length, the bytes consumed by reads, the bytes
  // still in the file, and the buffer's unread bytes [m_next, m_end).
  std::unique_ptr<CInputDesc> m_input;
  uint64_t m_length = 0;
  uint64_t m_readOffset = 0;
  uint64_t m_fileLeft = 0;
  std::unique_ptr<uint8_t[]> m_buffer;
  uint32_t m_bufferSize = 0;      // of the buffer, the part this stream uses
  uint32_t m_bufferCapacity = 0;
  const uint8_t* m_next = nullptr;
  const uint8_t* m_end = nullptr;
};

}  // namespace quern
