// SFWAHEncoder: turns a bit stream into stored words. Whole groups of 31
// bits become logical words (literal, zero fill, one fill); an eight-state
// machine over the word cache merges fills and packs a single-byte literal
// with a short zero fill and another single-byte literal into one compact
// word (LFL or FLF). The stored words go to the owning vector's chunks.
// Until `finish` up to three words and 30 bits live only here.
#pragma once

#include <cstdint>
#include <span>

#include <vector>

#include "codec/sfwahchunks.h"
#include "codec/sfwahwordcache.h"

namespace quern {

class SFWAHVector;

class SFWAHEncoder {
 public:
  // An empty encoder writing into `vector` (not owned; null raises).
  explicit SFWAHEncoder(SFWAHVector* vector);
  // A copy of a running encoder, for cloning a half-built vector.
  SFWAHEncoder(SFWAHVector* vector, uint32_t activeWord, uint32_t activeBits, uint32_t state,
               const SFWAHWordCache* cache);
  virtual ~SFWAHEncoder() = default;
  SFWAHEncoder(const SFWAHEncoder&) = delete;
  SFWAHEncoder& operator=(const SFWAHEncoder&) = delete;

  void appendBit(uint32_t bit);
  // Adds `count` zero bits; 0 does nothing. A gap costs one division.
  void appendZeros(uint32_t count);
  // Adds `count` one bits; 0 raises.
  void appendOnes(uint32_t count);
  // Adds a whole logical word; the active word must be empty. Compact words
  // are not logical words and would be taken for literals.
  [[gnu::always_inline]] void putWord(uint32_t word) {
    // The frequent cases of a walk are taken here; the rest of the state
    // machine is in putCachedWord.
    if (sfwah::isLiteral(word)) {
      if (!sfwah::isSingleByte(word) && (m_state == 0 || m_state == 1 || m_state == 2 || m_state == 7)) {
        // A literal that joins no compact word stores what is cached, a lone
        // fill at most, and itself.
        if (m_state != 0) emit(m_cache.pop());
        m_state = 0;
        emit(word);
        return;
      }
    } else if (m_state == 0) {
      // A fill with nothing cached waits for what follows.
      m_cache.push(word);
      if (sfwah::isOneFill(word)) {
        m_state = 7;
      } else {
        setStateBySize(word);
      }
      return;
    } else if (sfwah::isZeroFill(word)) {
      if (m_state - 1 < 2 && m_cache.back() + word <= sfwah::kMaxCount) {
        m_cache.back() += word;
        setStateBySize(m_cache.back());
        return;
      }
    } else if (m_state == 7 && sfwah::fillCount(m_cache.back()) + sfwah::fillCount(word) <= sfwah::kMaxCount) {
      m_cache.back() += sfwah::fillCount(word);
      return;
    }
    putCachedWord(word);
  }
  // Puts `count` logical words, storing what putting them one at a time
  // would. Where no two fills of one kind meet, the machine's choices are
  // those of taking each compact pattern (single-byte literal, short zero
  // fill, single-byte literal; short zero fill, single-byte literal, zero
  // fill) leftmost first and every other word as it stands: so those
  // stretches are stored from marks found four words at a time, and only
  // the others and the words after the last plain literal go word by word.
  void putWords(std::span<const uint32_t> words);
  // Stores everything cached, then the tail word and the tail length. The
  // owner closes the segment of its chunks next.
  void finish();

  uint32_t activeWord() const { return m_activeWord; }
  uint32_t activeBits() const { return m_activeBits; }
  uint32_t state() const { return m_state; }
  const SFWAHWordCache& cache() const { return m_cache; }
  // True when every bit given so far has been stored.
  bool empty() const { return m_activeBits == 0 && m_state == 0; }
  void setVector(SFWAHVector* vector);

 private:
  // Appends `count` copies of `bit` that fit in the active group.
  void fillActive(uint32_t count, uint32_t bit);
  void putCachedWord(uint32_t word);
  void putZeroFill(uint32_t count);
  void putOneFill(uint32_t word);
  void putSingleByte(uint32_t literal);
  // Stores what the cache holds, as `finish` does, and empties it.
  void flush();
  // Adds two fill counts of one kind; a sum past the largest count first
  // stores a full fill. Returns the count that stays.
  uint32_t mergeCount(uint32_t count, uint32_t add, uint32_t fullWord);
  void emit(uint32_t word) { m_out->appendWord(word); }
  void setStateBySize(uint32_t count) { m_state = count < 256 ? 1 : 2; }
  // Marks, 64 words to an entry, the plain literals of `words` (those that
  // join no compact word), the words that begin a compact pattern and those
  // followed by a fill of their own kind.
  void markWords(const uint32_t* words, uint32_t count);
  // The first word at or after `from`, up to `end`, whose stretch between
  // plain literals holds two fills of one kind; `end` when there is none.
  uint32_t nextMergeStretch(uint32_t from, uint32_t end) const;
  // Stores the words from `from` up to `stop`, patterns as compact words.
  // Returns `stop`, or where it stopped with a zero fill cached: the rest
  // of a fill that a compact word could not hold whole.
  uint32_t putPatterns(const uint32_t* words, uint32_t from, uint32_t stop);

  uint32_t m_activeWord = 0;
  uint32_t m_activeBits = 0;
  uint32_t m_state = 0;
  SFWAHWordCache m_cache;
  SFWAHVector* m_vector = nullptr;
  SFWAHChunks* m_out = nullptr;  // the vector's chunks
  std::vector<uint64_t> m_plainMarks;
  std::vector<uint64_t> m_patternMarks;
  std::vector<uint64_t> m_mergeMarks;
};

}  // namespace quern
