// Reproducible randomness: the same seed gives the same log on every
// platform and compiler, so no std:: distributions (their results differ
// between standard libraries) and no floating point.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace quern::qvloggen {

// xoshiro256** seeded through splitmix64.
class Rng {
 public:
  explicit Rng(uint64_t seed) {
    for (uint64_t& word : m_state) {
      seed += 0x9E3779B97F4A7C15ULL;
      uint64_t z = seed;
      z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
      z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
      word = z ^ (z >> 31);
    }
  }

  uint64_t next() {
    const uint64_t result = rotl(m_state[1] * 5, 7) * 9;
    const uint64_t t = m_state[1] << 17;
    m_state[2] ^= m_state[0];
    m_state[3] ^= m_state[1];
    m_state[1] ^= m_state[2];
    m_state[0] ^= m_state[3];
    m_state[2] ^= t;
    m_state[3] = rotl(m_state[3], 45);
    return result;
  }

  // Uniform in [0, n); n > 0. The modulo bias is far below what a log shows.
  uint32_t below(uint32_t n) { return static_cast<uint32_t>((next() >> 16) % n); }
  // Uniform in [low, high].
  uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }
  bool percent(uint32_t p) { return below(100) < p; }

 private:
  static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
  uint64_t m_state[4];
};

// Ranks 0..n-1 with weights about 1/(rank+1): few popular, a long tail.
class Zipf {
 public:
  explicit Zipf(uint32_t n) : m_cumulative(n) {
    uint64_t sum = 0;
    for (uint32_t rank = 0; rank < n; ++rank) m_cumulative[rank] = sum += 1000000 / (rank + 1);
  }

  uint32_t draw(Rng& rng) const {
    const uint64_t point = rng.next() % m_cumulative.back();
    return static_cast<uint32_t>(std::upper_bound(m_cumulative.begin(), m_cumulative.end(), point) -
                                 m_cumulative.begin());
  }

 private:
  std::vector<uint64_t> m_cumulative;
};

}  // namespace quern::qvloggen
