// SFWAHChunks: the stored words of a vector. While a list is built it grows
// by blocks of 128 bytes (or of a whole appended run of words) from a
// CMemCache, never copied; a loaded list is one block. Words are grouped in
// segments, each closed by its tail word and tail length. The object also
// keeps the read position of one walker.
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "codec/sfwahtuning.h"
#include "storage/endian.h"
#include "storage/memcache.h"

namespace quern {

class CInputDesc;
class COutputDesc;

struct SFWAHChunk {
  uint32_t capacity = 0;  // bytes in data
  uint32_t used = 0;      // bytes filled
  uint8_t* data = nullptr;  // lives in the cache
};

class SFWAHChunks {
 public:
  // On `cache` (not owned), or on a private cache when it is null.
  explicit SFWAHChunks(CMemCache* cache);
  virtual ~SFWAHChunks() = default;
  SFWAHChunks(const SFWAHChunks&) = delete;
  SFWAHChunks& operator=(const SFWAHChunks&) = delete;

  void appendWord(uint32_t word) {
    if (m_chunks.empty() || m_chunks.back().used + 4 > m_chunks.back().capacity) makeChunk(sfwah::kChunkBytes);
    SFWAHChunk& chunk = m_chunks.back();
    storeLE32(chunk.data + chunk.used, word);
    chunk.used += 4;
    ++m_wordCount;
  }
  // Appends `count` words at once: the room left in the last chunk first,
  // then one chunk for the rest.
  void appendWords(std::span<const uint32_t> words);
  // Ends the segment of the words appended since the last close.
  void closeSegment();
  // Adds a filled chunk (the record is copied; its block stays where it is).
  void addChunk(const SFWAHChunk* chunk, uint32_t wordCount);
  // A copy of the words and segments, read position at the start, on the same
  // cache when it is shared and on a new private one otherwise.
  std::unique_ptr<SFWAHChunks> clone() const;
  // Writes the image: segment count, segment word counts, words.
  void writeTo(COutputDesc* desc) const;
  // Reads an image at the file's position into this privately cached object,
  // as one chunk, in place of what it held. The cache is kept for the next
  // image when it is large enough, so one object can load list after list.
  void readFrom(CInputDesc* desc);
  // Drops every word and segment; the blocks stay in the cache, which the
  // owner of a shared cache rewinds.
  void clear();
  // Appends `count` words from the source's read position on, moving it.
  void appendFrom(SFWAHChunks& source, uint32_t count);

  void rewind();
  // The read position, to walk the same words again.
  struct ReadMark {
    uint32_t chunk, offset, wordsRead, segmentLength;
    int32_t segment;
  };
  ReadMark readMark() const { return {m_readChunk, m_readOffset, m_wordsRead, m_segmentLength, m_readSegment}; }
  void restoreMark(const ReadMark& mark) {
    m_readChunk = mark.chunk;
    m_readOffset = mark.offset;
    m_wordsRead = mark.wordsRead;
    m_segmentLength = mark.segmentLength;
    m_readSegment = mark.segment;
  }
  // Moves to the next segment; false when none is left.
  bool nextSegment();
  // True while coded words are left in the current segment; its last two
  // words are the tail word and tail length.
  bool hasWords() const { return m_wordsRead + 2 < m_segmentLength; }
  uint32_t nextWord() {
    toReadableChunk();
    const uint32_t word = loadLE32(m_chunks[m_readChunk].data + m_readOffset);
    m_readOffset += 4;
    ++m_wordsRead;
    return word;
  }

  // Takes the coded words that follow the read position in its chunk, up to
  // the segment's closing words: points `data` at them and returns how many
  // (0 when the segment has none left). The read position moves past them.
  uint32_t takeCodedWords(const uint8_t*& data) {
    if (!hasWords()) return 0;
    toReadableChunk();
    const SFWAHChunk& chunk = m_chunks[m_readChunk];
    const uint32_t inChunk = (chunk.used - m_readOffset) / 4;
    const uint32_t left = m_segmentLength - 2 - m_wordsRead;
    const uint32_t count = inChunk < left ? inChunk : left;
    data = chunk.data + m_readOffset;
    m_readOffset += 4 * count;
    m_wordsRead += count;
    return count;
  }
  // The same as a span: [data, end). False when the segment has none left.
  bool takeCodedSpan(const uint8_t*& data, const uint8_t*& end) {
    const uint32_t count = takeCodedWords(data);
    end = data + 4 * count;
    return count != 0;
  }
  // Calls `visit(data, count)` with each run of coded words left in the
  // segment being read, moving the read position up to the closing words.
  template <typename Visit>
  void forEachCodedSpan(Visit visit) {
    const uint8_t* data = nullptr;
    for (uint32_t n = takeCodedWords(data); n != 0; n = takeCodedWords(data)) visit(data, n);
  }
  // Reads the two closing words of the segment: returns the tail length and
  // sets `word` to the tail word cut to its top `length` bits. A length above
  // 30 is damage and raises.
  uint32_t readTail(uint32_t& word);

  uint32_t wordCount() const { return m_wordCount; }
  // Words of the segment being read, the two closing ones included.
  uint32_t segmentLength() const { return m_segmentLength; }
  const std::vector<uint32_t>& segmentWords() const { return m_segmentWords; }
  const std::vector<SFWAHChunk>& chunks() const { return m_chunks; }
  CMemCache* cache() const { return m_cache; }
  // Bytes of the image that `writeTo` writes.
  uint64_t imageBytes() const;

 private:
  static constexpr uint32_t kOwnedFirstChunk = 4096;
  void makeChunk(uint32_t bytes);
  // Moves the read position to the next chunk that has a word left.
  void nextChunk();
  // Makes sure the read position is at a word: moves on when its chunk is used up.
  void toReadableChunk() {
    if (m_readChunk >= m_chunks.size() || m_readOffset + 4 > m_chunks[m_readChunk].used) nextChunk();
  }

  std::vector<SFWAHChunk> m_chunks;
  std::vector<uint32_t> m_segmentWords;
  std::unique_ptr<CMemCache> m_ownedCache;
  CMemCache* m_cache = nullptr;
  uint32_t m_wordCount = 0;      // all stored words
  uint32_t m_closedWords = 0;    // words of the closed segments
  uint32_t m_segmentLength = 0;  // words of the segment being read
  uint32_t m_wordsRead = 0;
  uint32_t m_readChunk = 0;
  uint32_t m_readOffset = 0;
  int32_t m_readSegment = -1;
};

}  // namespace quern
