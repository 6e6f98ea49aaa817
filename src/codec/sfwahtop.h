// SFWAHTop: walks a vector once and keeps the positions (record ids) of
// its last `nTop` one bits, with the total number of one bits. Zero fills
// cost one addition and a one fill at most `nTop` steps, so the memory and
// the work stay bounded by `nTop` whatever the set's size.
#pragma once

#include <cstdint>
#include <memory>

#include "codec/priorityqueue.h"

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
  // A logical word: its ones are put only past the first `quiet` ones.
  void putWord(uint32_t word, uint32_t quiet);
  void putLiteral(uint32_t word);
  void putOnes(uint32_t groups);
  void putTail(uint32_t word, uint32_t length);

  SFWAHVector* m_bits;
  std::unique_ptr<CRingQueue> m_queue;
  uint32_t m_position = 0;
  uint32_t m_n;
  uint32_t m_total = 0;
};

}  // namespace quern
