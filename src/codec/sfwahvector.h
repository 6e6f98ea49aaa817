// SFWAHVector: one set of record ids as a compressed bitmap. Bit i of the
// stream is record i + 1. A vector is a list of segments, each a complete
// coded stream with its own tail; vectors of one index have segments of the
// same bit lengths, so that operators can pair them. It owns its encoder,
// which takes new bits, and its chunks, which hold the stored words and the
// read position. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>

#include "codec/sfwahchunks.h"
#include "codec/sfwahencoder.h"
#include "codec/sfwahwordcache.h"

namespace quern {

class SFWAHVector {
 public:
  // An empty vector on `cache` (not owned), or on a private cache when null.
  explicit SFWAHVector(CMemCache* cache);
  // Takes over the parts and points the encoder at this vector.
  SFWAHVector(std::unique_ptr<SFWAHEncoder> encoder, uint32_t length, std::unique_ptr<SFWAHChunks> chunks);
  virtual ~SFWAHVector() = default;
  SFWAHVector(const SFWAHVector&) = delete;
  SFWAHVector& operator=(const SFWAHVector&) = delete;

  SFWAHEncoder* encoder() { return m_encoder.get(); }
  SFWAHChunks* chunks() { return m_chunks.get(); }
  // Bits appended so far; kept by the code that appends.
  uint32_t length() const { return m_length; }
  void setLength(uint32_t length) { m_length = length; }

  // An independent copy in any state, half-built ones included.
  std::unique_ptr<SFWAHVector> clone() const;
  // Copies the source's segments, from its read position on, word for word
  // behind this vector's; this vector's encoder must hold nothing.
  void append(SFWAHVector* source);
  // Reads one stored word and pushes its logical words; the cache must be
  // empty when the word is compact.
  void decodeWord(SFWAHWordCache& cache);
  // The number of one bits, from the read position on.
  uint32_t count();

 private:
  std::unique_ptr<SFWAHEncoder> m_encoder;
  uint32_t m_length = 0;
  std::unique_ptr<SFWAHChunks> m_chunks;
};

// Makes the vectors that index code writes into.
class BitEncoderFactory {
 public:
  virtual ~BitEncoderFactory() = default;
  static BitEncoderFactory& instance();
  std::unique_ptr<SFWAHVector> create(CMemCache* cache) const;
};

// Makes the privately cached vectors that `readFrom` fills.
class BitDecoderFactory {
 public:
  virtual ~BitDecoderFactory() = default;
  static BitDecoderFactory& instance();
  std::unique_ptr<SFWAHVector> create() const;
};

}  // namespace quern
