// The merge's watcher: while its file (normally "suspend_flag" in the current
// directory) was modified within the last 120 seconds, each test point of the
// merge sleeps one pause. Removing the file does not lift a suspension: the
// host lifts it by ceasing to touch the file.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "base/watchthread.h"

namespace quern {

class Suspender {
 public:
  static constexpr uint32_t kLookIntervalMs = 1000;
  static constexpr uint32_t kPauseMs = 120000;
  // A file touched this many seconds ago or later keeps the merge suspended.
  static constexpr int64_t kFreshSeconds = 120;

  // Starts the watcher with no file yet; raises level 2
  // "create suspend thread fail, %u" when the thread cannot be made.
  explicit Suspender(uint32_t lookIntervalMs = kLookIntervalMs, uint32_t pauseMs = kPauseMs);
  // Stops the watcher and leaves no current pointer to this object behind.
  virtual ~Suspender();
  Suspender(const Suspender&) = delete;
  Suspender& operator=(const Suspender&) = delete;

  // Names the flag file; safe while the watcher runs.
  void setPath(const std::string& path);
  uint32_t suspended() const { return m_flag.load(std::memory_order_relaxed); }
  // Joins the watcher; failures are logged only. Later calls do nothing.
  void stop();
  uint32_t looks() const { return m_watch.looks(); }

  // The process-wide current object, set by the merge that owns it.
  static void setCurrent(Suspender* suspender);
  // Raises level 1 "suspender is null, need to set it first" when none is set.
  static Suspender& current();
  // A test point: sleeps one pause when the current object is suspended and
  // gives whether it did. At most one pause per call.
  static bool CheckSuspend();

 private:
  void look();

  const uint32_t m_pauseMs;
  std::mutex m_pathMutex;  // hands `m_path` over between the two threads
  std::string m_path;
  std::atomic<bool> m_named{false};
  std::atomic<uint32_t> m_flag{0};
  WatchThread m_watch;
};

}  // namespace quern
