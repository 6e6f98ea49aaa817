#include "codec/sfwahtop.h"

#include <array>

#include "codec/sfwahcursor.h"
#include "codec/sfwahvector.h"
#include "frame/exception.h"

namespace quern {

using namespace sfwah;

namespace {

// For each byte value: how many bits are set and their offsets from the top
// bit (offset 0) down.
struct ByteBits {
  uint8_t count = 0;
  uint8_t offsets[8] = {};
};

constexpr std::array<ByteBits, 256> makeByteTable() {
  std::array<ByteBits, 256> table{};
  for (uint32_t value = 0; value < 256; ++value) {
    for (uint32_t offset = 0; offset < 8; ++offset) {
      if (value & (0x80u >> offset)) table[value].offsets[table[value].count++] = static_cast<uint8_t>(offset);
    }
  }
  return table;
}

constexpr std::array<ByteBits, 256> kByteBits = makeByteTable();

}  // namespace

SFWAHTop::SFWAHTop(SFWAHVector* bits, uint32_t nTop) : m_bits(bits), m_n(nTop) {
  if (bits == nullptr) QRN_RAISE(2, "invalid param(bits)");
  if (nTop == 0) QRN_RAISE(2, "invalid param(nTop)");
}

std::unique_ptr<CRingQueue> SFWAHTop::run(uint32_t* total) {
  if (total == nullptr) QRN_RAISE(2, "invalid param(total)");
  if (!m_queue) m_queue = std::make_unique<CRingQueue>(m_n);
  SFWAHChunks& chunks = *m_bits->chunks();
  while (chunks.nextSegment()) {
    for (SFWAHCursor cursor(chunks); cursor.ready(); cursor.pop()) {
      const uint32_t word = cursor.front();
      if (isLiteral(word)) {
        putLiteral(word);
      } else if (isOneFill(word)) {
        putOnes(fillCount(word));
      } else {
        m_position += word * kGroupSize;
      }
    }
    uint32_t tail = 0;
    const uint32_t length = chunks.readTail(tail);
    putTail(tail, length);
  }
  *total = m_total;
  m_queue->setSize(m_total);
  return std::move(m_queue);
}

void SFWAHTop::putLiteral(uint32_t word) {
  // Bit 30 is position + 1: the top byte's offsets start at bit 31, which a
  // literal's group never holds.
  for (uint32_t byte = 0; byte < 4; ++byte) {
    const uint32_t value = (word >> (24 - 8 * byte)) & (byte == 0 ? 0x7F : 0xFF);
    const ByteBits& bits = kByteBits[value];
    const uint32_t base = m_position + 8 * byte;
    for (uint32_t i = 0; i < bits.count; ++i) m_queue->put(base + bits.offsets[i]);
    m_total += bits.count;
  }
  m_position += kGroupSize;
}

void SFWAHTop::putOnes(uint32_t groups) {
  // Only the last nTop positions of the fill can still be among the newest.
  const uint64_t bits = uint64_t{groups} * kGroupSize;
  const uint64_t first = bits > m_n ? bits - m_n + 1 : 1;
  m_queue->putRange(m_position + static_cast<uint32_t>(first), static_cast<uint32_t>(bits - first + 1));
  m_position += static_cast<uint32_t>(bits);
  m_total += static_cast<uint32_t>(bits);
}

void SFWAHTop::putTail(uint32_t word, uint32_t length) {
  for (uint32_t i = 0; i < length; ++i) {
    if (word >> (31 - i) & 1) {
      m_queue->put(m_position + i + 1);
      ++m_total;
    }
  }
  m_position += length;
}

}  // namespace quern
