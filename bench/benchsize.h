// Benchmarks run at full size by default; CI sets QUERN_BENCH_SMOKE=1 to run
// each once at a tiny size so that they keep building and running.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace quern::bench {

inline bool smokeRun() {
  const char* value = std::getenv("QUERN_BENCH_SMOKE");
  return value != nullptr && value[0] != '\0' && value[0] != '0';
}

// `full` normally, `smoke` in a smoke run.
inline uint64_t scaled(uint64_t full, uint64_t smoke) { return smokeRun() ? smoke : full; }

}  // namespace quern::bench
