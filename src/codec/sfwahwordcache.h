// SFWAHWordCache: up to three logical words, oldest first. The encoder keeps
// the words it has not stored yet here, and every reader the words that one
// stored word expands to. One thread at a time.
#pragma once

#include <bit>
#include <cstdint>

namespace quern {

// The logical word forms and the helpers every walker of the code shares.
namespace sfwah {

constexpr uint32_t kLiteralBit = 0x80000000u;
constexpr uint32_t kGroupBits = 0x7FFFFFFFu;   // the 31 bits of one group
constexpr uint32_t kMaxCount = 0x1FFFFFFFu;    // the largest fill count
constexpr uint32_t kOneFill = 0x60000000u;     // top bits of a one fill
constexpr uint32_t kKindMask = 0xE0000000u;    // the top three bits
constexpr uint32_t kLFL = 0x20000000u;
constexpr uint32_t kFLF = 0x40000000u;
constexpr uint32_t kGroupSize = 31;
constexpr uint32_t kMaxTailLength = 30;

inline bool isLiteral(uint32_t word) { return (word & kLiteralBit) != 0; }
inline bool isZeroFill(uint32_t word) { return (word & kKindMask) == 0; }
inline bool isOneFill(uint32_t word) { return (word & kKindMask) == kOneFill; }
inline uint32_t fillCount(uint32_t word) { return word & kMaxCount; }
// A literal whose ones all lie in one byte, which a compact word can hold.
inline bool isSingleByte(uint32_t literal) {
  const uint32_t bits = literal & kGroupBits;
  return bits != 0 && (31 - std::countl_zero(bits)) / 8 == std::countr_zero(bits) / 8;
}

// Groups of 31 bits that a stored word stands for.
inline uint32_t groupsOf(uint32_t word) {
  const uint32_t top = word >> 29;
  if (top >= 4) return 1;
  if (top == 1) return 2 + ((word >> 8) & 0xFF);
  if (top == 2) return 1 + ((word >> 16) & 0xFF) + (word & 0xFF);
  return word & kMaxCount;
}

// Expands a stored word into its one to three logical words; returns how many.
inline uint32_t expandWord(uint32_t word, uint32_t* out) {
  switch (word & kKindMask) {
    case kLFL:  // literal, zero fill, literal
      out[0] = kLiteralBit | ((word >> 16) & 0xFF) << (8 * ((word >> 27) & 3));
      out[1] = (word >> 8) & 0xFF;
      out[2] = kLiteralBit | (word & 0xFF) << (8 * ((word >> 25) & 3));
      return 3;
    case kFLF:  // zero fill, literal, zero fill
      out[0] = (word >> 16) & 0xFF;
      out[1] = kLiteralBit | ((word >> 8) & 0xFF) << (8 * ((word >> 27) & 3));
      out[2] = word & 0xFF;
      return 3;
    default:
      out[0] = word;
      return 1;
  }
}

}  // namespace sfwah

class SFWAHWordCache {
 public:
  static constexpr uint32_t kCapacity = 3;

  SFWAHWordCache() = default;
  virtual ~SFWAHWordCache() = default;
  SFWAHWordCache(const SFWAHWordCache&) = default;
  SFWAHWordCache& operator=(const SFWAHWordCache&) = default;

  // Appends at the end; a fourth word is a fault of the caller.
  void push(uint32_t word) {
    if (m_size >= kCapacity) failFull();
    m_words[m_size++] = word;
  }
  // Removes and returns the oldest word.
  uint32_t pop() {
    if (m_size == 0) failEmpty();
    const uint32_t word = m_words[0];
    m_words[0] = m_words[1];
    m_words[1] = m_words[2];
    --m_size;
    return word;
  }
  // The newest word, changeable in place (the encoder grows a cached fill).
  uint32_t& back() {
    if (m_size == 0) failEmpty();
    return m_words[m_size - 1];
  }
  uint32_t get(uint32_t index) const {
    if (index >= m_size) failIndex(index);
    return m_words[index];
  }
  uint32_t size() const { return m_size; }
  bool empty() const { return m_size == 0; }
  void clear() { m_size = 0; }

 private:
  [[noreturn]] static void failFull();
  [[noreturn]] static void failEmpty();
  [[noreturn]] static void failIndex(uint32_t index);

  uint32_t m_words[kCapacity] = {0, 0, 0};
  uint32_t m_size = 0;
};

}  // namespace quern
