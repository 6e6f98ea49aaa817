// SFWAHTop: walks a vector once and keeps the positions (record ids) of
// its last `nTop` one bits, with the total number of one bits. Zero fills
// cost one addition and a one fill at most `nTop` steps, so the memory and
// the work stay bounded by `nTop` whatever the set's size.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/ringqueue.h"

namespace quern {

class SFWAHVector;

class SFWAHTop {
 public:
  // `bits` is not owned; null raises, and so does an `nTop` of 0.
  SFWAHTop(SFWAHVector* bits, uint32_t nTop);
  virtual ~SFWAHTop() = default;
  SFWAHTop(const SFWAHTop&) = delete;
  SFWAHTop& operator=(const SFWAHTop&) = delete;

  // Sets `total` to the number of one bits and returns the queue of the last
  // min(total, nTop) positions, which `pop` gives newest first. The caller
  // owns the queue.
  std::unique_ptr<CRingQueue> run(uint32_t* total);

 private:
  // Stored words summed together, or a segment's tail (no data; `words` is
  // its length).
  struct Block {
    const uint8_t* data;
    uint32_t words;
    uint32_t ones;
    uint32_t bits;
    uint32_t tail;
  };

  // Reads every segment from the read position on into blocks; returns the
  // ones of all.
  uint32_t sumBlocks();
  // Counts ones and bits without putting them when none of the ones lies
  // past the first `quiet` ones; false, and nothing counted, otherwise.
  bool pass(uint32_t ones, uint32_t bits, uint32_t quiet);
  // Stored words: their ones are put only past the first `quiet` ones.
  void putWords(const uint8_t* data, uint32_t count, uint32_t quiet);
  // A logical word, likewise.
  void putWord(uint32_t word, uint32_t quiet);
  void putLiteral(uint32_t word);
  void putOnes(uint32_t groups);
  void putTail(uint32_t word, uint32_t length);

  SFWAHVector* m_bits;
  std::unique_ptr<CRingQueue> m_queue;
  std::vector<Block> m_blocks;
  uint32_t m_position = 0;
  uint32_t m_n;
  uint32_t m_total = 0;
};

}  // namespace quern
