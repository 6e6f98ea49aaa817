#include "base/watchthread.h"

#include <chrono>

namespace quern {

bool WatchThread::start(std::function<void()> look) {
  m_look = std::move(look);
  m_running = true;
  if (m_thread.start([this] { run(); })) return true;
  m_running = false;
  return false;
}

bool WatchThread::stop() {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_running = false;
  }
  m_wake.notify_all();
  return m_thread.join();
}

void WatchThread::run() {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (m_running) {
    lock.unlock();
    m_look();
    m_looks.fetch_add(1);
    lock.lock();
    m_wake.wait_for(lock, std::chrono::milliseconds(m_intervalMs), [this] { return !m_running; });
  }
}

}  // namespace quern
