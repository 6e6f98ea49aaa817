// SFWAHCount: the number of one bits of a vector, from its read position
// on. Zero fills cost nothing, a one fill one multiplication.
#pragma once

#include <cstdint>

namespace quern {

class SFWAHVector;

class SFWAHCount {
 public:
  // `bits` is not owned; null raises.
  explicit SFWAHCount(SFWAHVector* bits);
  virtual ~SFWAHCount() = default;
  SFWAHCount(const SFWAHCount&) = delete;
  SFWAHCount& operator=(const SFWAHCount&) = delete;

  uint32_t run();

 private:
  SFWAHVector* m_bits;
  uint32_t m_count = 0;
};

}  // namespace quern
