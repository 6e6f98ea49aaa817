// WatchThread: the thread both watchers (cancel.h, suspend.h) run.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "platform/platform.h"

namespace quern {

// The thread both watchers run: one look at once, then one per interval,
// until `stop`, which wakes a sleeping watcher at once.
class WatchThread {
 public:
  explicit WatchThread(uint32_t intervalMs) : m_intervalMs(intervalMs) {}
  ~WatchThread() { stop(); }
  WatchThread(const WatchThread&) = delete;
  WatchThread& operator=(const WatchThread&) = delete;

  // False with `platform::lastSystemError` set when no thread can be made.
  bool start(std::function<void()> look);
  // Ends the thread; false with the error set when it could not be waited for.
  bool stop();
  // Looks finished so far; lets tests wait for the watcher instead of a clock.
  uint32_t looks() const { return m_looks.load(); }

 private:
  void run();

  const uint32_t m_intervalMs;
  std::function<void()> m_look;
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_running = false;
  std::atomic<uint32_t> m_looks{0};
  platform::Thread m_thread;
};

}  // namespace quern
