#include "codec/sfwahtop.h"

#include <new>

#include "codec/sfwahbytes.h"
#include "codec/sfwahspan.h"
#include "codec/sfwahtuning.h"
#include "codec/sfwahvector.h"
#include "base/exception.h"
#include "storage/endian.h"

namespace quern {

using namespace sfwah;

SFWAHTop::SFWAHTop(SFWAHVector* bits, uint32_t nTop) : m_bits(bits), m_n(nTop) {
  if (bits == nullptr) QRN_RAISE(2, "invalid param(bits)");
  if (nTop == 0) QRN_RAISE(2, "invalid param(nTop)");
}

std::unique_ptr<CRingQueue> SFWAHTop::run(uint32_t* total) {
  if (total == nullptr) QRN_RAISE(2, "invalid param(total)");
  if (!m_queue) m_queue = std::make_unique<CRingQueue>(m_n);
  // One pass sums the stored words a block at a time; ones before the last
  // nTop need no position, so the blocks that hold only such ones are passed
  // whole and the words are walked from the first block that may hold one of
  // the newest. The ring ends the same, as it keeps the last nTop positions
  // put.
  const uint32_t all = sumBlocks();
  const uint32_t quiet = all > m_n ? all - m_n : 0;
  for (const Block& block : m_blocks) {
    if (block.data == nullptr) {
      putTail(block.tail, block.words);
    } else if (!pass(block.ones, block.bits, quiet)) {
      putWords(block.data, block.words, quiet);
    }
  }
  *total = m_total;
  m_queue->setSize(m_total);
  return std::move(m_queue);
}

uint32_t SFWAHTop::sumBlocks() {
  SFWAHChunks& chunks = *m_bits->chunks();
  uint32_t all = 0;
  m_blocks.clear();
  try {
    while (chunks.nextSegment()) {
      chunks.forEachCodedSpan([this, &all](const uint8_t* data, uint32_t n) {
        for (uint32_t at = 0; at < n; at += sfwah::kTopBlockWords) {
          const uint32_t words = n - at < sfwah::kTopBlockWords ? n - at : sfwah::kTopBlockWords;
          const SpanSums sums = sumSpan(data + 4 * at, words);
          m_blocks.push_back({data + 4 * at, words, sums.ones, sums.bits, 0});
          all += sums.ones;
        }
      });
      uint32_t tail = 0;
      const uint32_t length = chunks.readTail(tail);
      m_blocks.push_back({nullptr, length, 0, 0, tail});
      all += onesIn32(tail);
    }
  } catch (const std::bad_alloc&) {
    QRN_RAISE(2, "alloc top blocks failed");
  }
  return all;
}

bool SFWAHTop::pass(uint32_t ones, uint32_t bits, uint32_t quiet) {
  if (m_total + ones > quiet) return false;
  m_total += ones;
  m_position += bits;
  return true;
}

void SFWAHTop::putWords(const uint8_t* data, uint32_t count, uint32_t quiet) {
  // Pieces of the block pass whole first, then its stored words, and only
  // the words that may hold one of the newest are expanded.
  for (uint32_t at = 0; at < count; at += sfwah::kTopPieceWords) {
    const uint32_t words = count - at < sfwah::kTopPieceWords ? count - at : sfwah::kTopPieceWords;
    const SpanSums sums = sumSpan(data + 4 * at, words);
    if (pass(sums.ones, sums.bits, quiet)) continue;
    for (const uint8_t* word = data + 4 * at; word != data + 4 * (at + words); word += 4) {
      const uint32_t stored = loadLE32(word);
      if (pass(onesInStored(stored), groupsOf(stored) * kGroupSize, quiet)) continue;
      uint32_t logical[3];
      const uint32_t n = expandWord(stored, logical);
      for (uint32_t i = 0; i < n; ++i) putWord(logical[i], quiet);
    }
  }
}

void SFWAHTop::putWord(uint32_t word, uint32_t quiet) {
  if (isLiteral(word)) {
    const uint32_t ones = onesIn31(word);
    if (m_total + ones > quiet) {
      putLiteral(word);
    } else {
      m_total += ones;
      m_position += kGroupSize;
    }
  } else if (isOneFill(word)) {
    const uint32_t ones = fillCount(word) * kGroupSize;
    if (m_total + ones > quiet) {
      putOnes(fillCount(word));
    } else {
      m_total += ones;
      m_position += ones;
    }
  } else {
    m_position += word * kGroupSize;
  }
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
