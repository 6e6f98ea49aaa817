// Fault injection for tests: makes the Nth file operation fail or cut a write
// short, so that I/O-error and crash paths can be exercised on real files.
// Inert until `arm` is called; the library itself never arms it.
#pragma once

#include <atomic>
#include <cstdint>

namespace quern::platform::faults {

enum class Op : unsigned {
  Open = 1u << 0,
  Read = 1u << 1,
  Write = 1u << 2,
  Seek = 1u << 3,
  Flush = 1u << 4,
  Sync = 1u << 5,
  Close = 1u << 6,
  Rename = 1u << 7,
  Remove = 1u << 8,
};
constexpr unsigned kAllOps = 0x1FF;

enum class Effect { None, Fail, ShortWrite };

// The `nth` operation (1 = the next one) among those in `opMask` gets `effect`;
// a short write stores half of what was asked. The hook disarms itself after firing.
void arm(uint64_t nth, Effect effect = Effect::Fail, unsigned opMask = kAllOps);
void disarm();
// Operations in the mask seen since the last `arm`.
uint64_t seen();
// Tests that run thousands of writes may leave the forcing of files to disk
// out; the sync operation is still counted and can still fail.
void skipDiskSync(bool skip);
bool diskSyncSkipped();

namespace detail {
extern std::atomic<bool> g_armed;
Effect hitSlow(Op op);
}  // namespace detail

// Called by the file layer before each operation.
inline Effect hit(Op op) {
  if (!detail::g_armed.load(std::memory_order_relaxed)) return Effect::None;
  return detail::hitSlow(op);
}

}  // namespace quern::platform::faults
