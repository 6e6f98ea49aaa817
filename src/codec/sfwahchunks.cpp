#include "codec/sfwahchunks.h"

#include <cstring>
#include <exception>

#include "base/exception.h"
#include "base/guard.h"
#include "storage/inputdesc.h"
#include "storage/outputdesc.h"

namespace quern {

SFWAHChunks::SFWAHChunks(CMemCache* cache) : m_cache(cache) {
  if (m_cache == nullptr) {
    // Most sets a query makes are small: the chunks grow from a page.
    m_ownedCache = std::make_unique<CMemCache>(CMemCache::kMinChunk, kOwnedFirstChunk);
    m_cache = m_ownedCache.get();
  }
}

void SFWAHChunks::makeChunk(uint32_t bytes) {
  SFWAHChunk chunk;
  chunk.data = m_cache->alloc(bytes);
  chunk.capacity = bytes;
  try {
    m_chunks.push_back(chunk);
  } catch (...) {
    QRN_RAISE(2, "alloc chunk failed");
  }
}

void SFWAHChunks::closeSegment() {
  try {
    m_segmentWords.push_back(m_wordCount - m_closedWords);
  } catch (...) {
    QRN_RAISE(2, "alloc segment failed");
  }
  m_closedWords = m_wordCount;
}

void SFWAHChunks::clear() {
  m_chunks.clear();
  m_segmentWords.clear();
  m_wordCount = 0;
  m_closedWords = 0;
  rewind();
}

void SFWAHChunks::appendFrom(SFWAHChunks& source, uint32_t count) {
  while (count != 0) {
    source.toReadableChunk();
    const SFWAHChunk& from = source.m_chunks[source.m_readChunk];
    if (m_chunks.empty() || m_chunks.back().used + 4 > m_chunks.back().capacity) {
      makeChunk(count * 4 > sfwah::kChunkBytes ? count * 4 : sfwah::kChunkBytes);
    }
    SFWAHChunk& to = m_chunks.back();
    uint32_t words = (from.used - source.m_readOffset) / 4;
    if (words > count) words = count;
    if (words > (to.capacity - to.used) / 4) words = (to.capacity - to.used) / 4;
    std::memcpy(to.data + to.used, from.data + source.m_readOffset, 4 * words);
    to.used += 4 * words;
    m_wordCount += words;
    source.m_readOffset += 4 * words;
    source.m_wordsRead += words;
    count -= words;
  }
}

void SFWAHChunks::appendWords(std::span<const uint32_t> span) {
  const uint32_t* words = span.data();
  auto count = static_cast<uint32_t>(span.size());
  while (count != 0) {
    if (m_chunks.empty() || m_chunks.back().used + 4 > m_chunks.back().capacity) {
      makeChunk(count * 4 > sfwah::kChunkBytes ? count * 4 : sfwah::kChunkBytes);
    }
    SFWAHChunk& to = m_chunks.back();
    const uint32_t room = (to.capacity - to.used) / 4;
    const uint32_t take = count < room ? count : room;
    for (uint32_t i = 0; i < take; ++i) storeLE32(to.data + to.used + 4 * i, words[i]);
    to.used += 4 * take;
    m_wordCount += take;
    words += take;
    count -= take;
  }
}

void SFWAHChunks::addChunk(const SFWAHChunk* chunk, uint32_t wordCount) {
  if (chunk == nullptr) QRN_RAISE(2, "invalid chunk");
  try {
    m_chunks.push_back(*chunk);
  } catch (...) {
    QRN_RAISE(2, "alloc chunk failed");
  }
  m_wordCount += wordCount;
}

std::unique_ptr<SFWAHChunks> SFWAHChunks::clone() const {
  return raiseAs(QRN_SITE(2), "SFWAHChunks clone", [&] {
    auto copy = std::make_unique<SFWAHChunks>(m_ownedCache ? nullptr : m_cache);
    for (const SFWAHChunk& chunk : m_chunks) {
      SFWAHChunk block;
      block.capacity = chunk.capacity;
      block.used = chunk.used;
      block.data = copy->m_cache->alloc(chunk.capacity);
      if (chunk.used != 0) std::memcpy(block.data, chunk.data, chunk.used);
      copy->addChunk(&block, chunk.used / 4);
    }
    copy->m_segmentWords = m_segmentWords;
    copy->m_closedWords = m_closedWords;
    return copy;
  });
}

void SFWAHChunks::writeTo(COutputDesc* desc) const {
  if (desc == nullptr) QRN_RAISE(2, "index out put is null");
  if (m_closedWords != m_wordCount) QRN_RAISE(1, "%u words outside a closed segment", m_wordCount - m_closedWords);
  CFileOutput& file = desc->file();
  file.writeInt(static_cast<int32_t>(m_segmentWords.size()));
  for (uint32_t words : m_segmentWords) file.writeInt(static_cast<int32_t>(words));
  for (const SFWAHChunk& chunk : m_chunks) {
    if (chunk.used != 0) file.writeChars(chunk.data, chunk.used);
  }
}

void SFWAHChunks::readFrom(CInputDesc* desc) {
  if (desc == nullptr) QRN_RAISE(2, "index input is null");
  if (!m_ownedCache) QRN_RAISE(1, "readFrom needs a private cache");
  CFileInput& file = desc->file();
  const uint32_t segments = static_cast<uint32_t>(file.readInt());
  // Counts are checked against the bytes that are left, so that a damaged
  // image is refused before anything large is allocated.
  const uint64_t left = static_cast<uint64_t>(file.size() - file.position());
  if (uint64_t{segments} * 4 > left) QRN_RAISE(2, "invalid segment count(%u)", segments);
  m_segmentWords.clear();
  m_segmentWords.reserve(segments);
  uint64_t total = 0;
  for (uint32_t i = 0; i < segments; ++i) {
    const uint32_t words = static_cast<uint32_t>(file.readInt());
    if (words < 2) QRN_RAISE(2, "invalid segment words(%u)", words);
    m_segmentWords.push_back(words);
    total += words;
  }
  if (total * 4 > left - uint64_t{segments} * 4) QRN_RAISE(2, "vector of %llu words past the end of file",
                                                           static_cast<unsigned long long>(total));
  m_wordCount = static_cast<uint32_t>(total);
  m_closedWords = m_wordCount;
  m_chunks.clear();
  // The list is one block of known size: a cache of exactly that much, unless
  // the cache of an earlier list can hold it.
  const uint32_t bytes = m_wordCount * 4;
  if (bytes != 0 && m_ownedCache->totalBytes() >= bytes) {
    m_ownedCache->rewind();
  } else {
    m_ownedCache = std::make_unique<CMemCache>(bytes);
    m_cache = m_ownedCache.get();
  }
  rewind();
  makeChunk(bytes);
  SFWAHChunk& chunk = m_chunks.back();
  chunk.used = chunk.capacity == 0 ? 0 : file.readChars(chunk.data, chunk.capacity);
}

uint64_t SFWAHChunks::imageBytes() const {
  return 4 * (1 + uint64_t{m_segmentWords.size()} + m_closedWords);
}

void SFWAHChunks::rewind() {
  m_readChunk = 0;
  m_readOffset = 0;
  m_wordsRead = 0;
  m_segmentLength = 0;
  m_readSegment = -1;
}

bool SFWAHChunks::nextSegment() {
  const uint32_t next = static_cast<uint32_t>(m_readSegment + 1);
  if (next >= m_segmentWords.size()) return false;
  m_readSegment = static_cast<int32_t>(next);
  m_segmentLength = m_segmentWords[next];
  m_wordsRead = 0;
  return true;
}

uint32_t SFWAHChunks::readTail(uint32_t& word) {
  const uint32_t tail = nextWord();
  const uint32_t length = nextWord();
  if (length > 30) QRN_RAISE(2, "invalid tail length(%u)", length);
  word = length == 0 ? 0 : tail & ~0u << (32 - length);
  return length;
}

void SFWAHChunks::nextChunk() {
  while (m_readChunk < m_chunks.size() && m_readOffset + 4 > m_chunks[m_readChunk].used) {
    ++m_readChunk;
    m_readOffset = 0;
  }
  if (m_readChunk >= m_chunks.size()) QRN_RAISE(1, "no word left to read");
}

}  // namespace quern
