// Watchers of signal files. A host cannot call in while a query or merge runs
// on its thread, so it signals through the file system: a watcher thread
// looks at one file every interval and keeps the answer in a flag that the
// working thread reads without a lock. `Canceler` stops a query when its file
// exists; `Suspender` (suspend.h) pauses a merge while its file is fresh.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "base/watchthread.h"

namespace quern {

class Canceler {
 public:
  static constexpr uint32_t kLookIntervalMs = 1000;

  // Starts the watcher with no file yet; raises level 2
  // "create cancel thread fail, %u" when the thread cannot be made.
  explicit Canceler(uint32_t lookIntervalMs = kLookIntervalMs);
  // Stops the watcher and leaves no current pointer to this object behind.
  virtual ~Canceler();
  Canceler(const Canceler&) = delete;
  Canceler& operator=(const Canceler&) = delete;

  // Names the cancel file and clears the flag; safe while the watcher runs.
  void setPath(const std::string& path);
  // 1 once the named file was seen, 0 again after it went away.
  uint32_t IsCancelled() const { return m_flag.load(std::memory_order_relaxed); }
  // Joins the watcher; failures are logged only. Later calls do nothing.
  void stop();
  uint32_t looks() const { return m_watch.looks(); }

  // The process-wide current object, set by the call that owns it.
  static void setCurrent(Canceler* canceler);
  // Raises level 1 "canceler is null, need to set it first" when none is set.
  static Canceler& current();

 private:
  void look();

  std::mutex m_pathMutex;  // hands `m_path` over between the two threads
  std::string m_path;
  std::atomic<uint32_t> m_flag{0};
  WatchThread m_watch;
};

}  // namespace quern
