// SFWAHCursor: the logical words of the segment being read, one at a time,
// straight from the chunk memory. It stands for the word cache of a walker:
// a stored word is expanded only when the previous one is used up.
#pragma once

#include <cstdint>

#include "codec/sfwahchunks.h"
#include "codec/sfwahwordcache.h"

namespace quern {

class SFWAHCursor {
 public:
  explicit SFWAHCursor(SFWAHChunks& chunks) : m_chunks(chunks) {}
  SFWAHCursor(const SFWAHCursor&) = delete;
  SFWAHCursor& operator=(const SFWAHCursor&) = delete;

  // True while a logical word is at the front.
  [[gnu::always_inline]] bool ready() { return m_next < m_size || load(); }
  // The front word; a fill's count may be lowered in place.
  uint32_t& front() { return m_words[m_next]; }
  void pop() { ++m_next; }
  // Passes over n groups, whatever they hold; whole stored words are passed
  // without expanding them. Returns the groups it could not find.
  uint32_t skipGroups(uint32_t n) {
    while (n != 0 && m_next < m_size) n -= takeFromFront(n);
    while (n != 0) {
      if (m_data == m_end && !m_chunks.takeCodedSpan(m_data, m_end)) return n;
      const uint32_t word = loadLE32(m_data);
      const uint32_t groups = sfwah::groupsOf(word);
      if (groups > n) {
        load();
        while (n != 0) n -= takeFromFront(n);
        return 0;
      }
      n -= groups;
      m_data += 4;
    }
    return 0;
  }

 private:
  // Takes up to n groups of the front word; returns how many it took.
  uint32_t takeFromFront(uint32_t n) {
    uint32_t& word = m_words[m_next];
    const uint32_t groups = sfwah::isLiteral(word) ? 1 : sfwah::fillCount(word);
    if (groups <= n) {
      ++m_next;
      return groups;
    }
    word -= n;
    return n;
  }
  [[gnu::always_inline]] bool load() {
    if (m_data == m_end && !m_chunks.takeCodedSpan(m_data, m_end)) return false;
    const uint32_t word = loadLE32(m_data);
    if (((word >> 29) - 1) < 2) {
      m_size = sfwah::expandWord(word, m_words);
    } else {
      m_words[0] = word;
      m_size = 1;
    }
    m_next = 0;
    m_data += 4;
    return true;
  }

  SFWAHChunks& m_chunks;
  const uint8_t* m_data = nullptr;
  const uint8_t* m_end = nullptr;
  uint32_t m_words[3] = {0, 0, 0};
  uint32_t m_size = 0;
  uint32_t m_next = 0;
};

}  // namespace quern
