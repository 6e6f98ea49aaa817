// Sums over runs of stored words, read many at a time: the one bits, and
// the bits they stand for. Counting and top pass over every stored word of a
// vector, so they read them with AVX-512 or AVX2 where the processor has
// them (chosen once, at first use, from what the platform layer allows),
// else a word at a time. The platform's way override (QUERN_SPAN_WAY)
// picks a way the processor has instead. Every way gives
// the same sums, wrapping at 2^32 as a word-at-a-time sum does.
#pragma once

#include <cstdint>
#include <vector>

namespace quern::sfwah {

struct SpanSums {
  uint32_t ones = 0;
  uint32_t bits = 0;  // 31 per group
};

// The one bits of `count` stored words at `data` (a compact word's fills
// hold none).
uint32_t onesInSpan(const uint8_t* data, uint32_t count);
// The one bits and the bits of `count` stored words at `data`.
SpanSums sumSpan(const uint8_t* data, uint32_t count);

// A way of reading spans, with what it needs of the processor.
struct SpanWay {
  const char* name;
  uint32_t (*ones)(const uint8_t* data, uint32_t count);
  SpanSums (*sums)(const uint8_t* data, uint32_t count);
};

// The ways this processor can take, fastest first; the last reads a word at
// a time and is always there.
std::vector<SpanWay> spanWays();

}  // namespace quern::sfwah
