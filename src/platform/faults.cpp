#include "platform/faults.h"

#include <cerrno>

namespace quern::platform::faults {

namespace detail {
std::atomic<bool> g_armed{false};
}

namespace {
std::atomic<uint64_t> g_target{0};
std::atomic<uint64_t> g_seen{0};
std::atomic<unsigned> g_mask{0};
std::atomic<Effect> g_effect{Effect::None};
std::atomic<bool> g_skipSync{false};
}  // namespace

void arm(uint64_t nth, Effect effect, unsigned opMask) {
  g_target = nth;
  g_seen = 0;
  g_mask = opMask;
  g_effect = effect;
  detail::g_armed = true;
}

void disarm() { detail::g_armed = false; }

uint64_t seen() { return g_seen; }

void skipDiskSync(bool skip) { g_skipSync = skip; }

bool diskSyncSkipped() { return g_skipSync.load(std::memory_order_relaxed); }

Effect detail::hitSlow(Op op) {
  if ((g_mask.load() & static_cast<unsigned>(op)) == 0) return Effect::None;
  if (++g_seen != g_target.load()) return Effect::None;
  g_armed = false;
  Effect effect = g_effect.load();
  // A short write is only meaningful for writes; elsewhere it is a failure.
  if (effect == Effect::ShortWrite && op != Op::Write) effect = Effect::Fail;
  errno = effect == Effect::ShortWrite ? ENOSPC : EIO;
  return effect;
}

}  // namespace quern::platform::faults
