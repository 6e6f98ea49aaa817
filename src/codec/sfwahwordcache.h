// SFWAHWordCache: up to three logical words, oldest first. The encoder keeps
// the words it has not stored yet here, and every reader the words that one
// stored word expands to. One thread at a time.
#pragma once

#include <cstdint>

#include "codec/sfwahformat.h"

namespace quern {


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
