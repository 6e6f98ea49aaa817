// Which vector units the library's hand-vectorised loops may use.
#include <cstdlib>

#include "platform/platform.h"

namespace quern::platform {

VectorUnits vectorUnits() {
  VectorUnits units;
  // Not on Windows: GCC there may spill vectors with aligned moves to a stack
  // it has not aligned to 32 bytes.
#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__)) && !defined(_WIN32)
  __builtin_cpu_init();
  units.avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vpopcntdq");
  units.avx2 = __builtin_cpu_supports("avx2");
#endif
  return units;
}

const char* vectorWayOverride() { return std::getenv("QUERN_SPAN_WAY"); }

}  // namespace quern::platform
