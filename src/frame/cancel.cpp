#include "frame/cancel.h"

#include <chrono>

#include "frame/exception.h"

namespace quern {

namespace {
Canceler* s_current = nullptr;
}  // namespace

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

Canceler::Canceler(uint32_t lookIntervalMs) : m_watch(lookIntervalMs) {
  if (!m_watch.start([this] { look(); })) {
    QRN_RAISE(2, "create cancel thread fail, %u", platform::lastSystemError());
  }
}

Canceler::~Canceler() {
  stop();
  if (s_current == this) s_current = nullptr;
}

void Canceler::setPath(const std::string& path) {
  std::lock_guard<std::mutex> lock(m_pathMutex);
  m_path = path;
  m_flag.store(0);
}

void Canceler::stop() {
  if (!m_watch.stop()) QRN_TRACE(0, "thread is running, ignored!, errno %u", platform::lastSystemError());
}

void Canceler::look() {
  // Under the lock, so that a look with the old path cannot set the flag
  // after `setPath` has cleared it.
  std::lock_guard<std::mutex> lock(m_pathMutex);
  m_flag.store(!m_path.empty() && platform::fileExists(m_path.c_str()) ? 1 : 0);
}

void Canceler::setCurrent(Canceler* canceler) { s_current = canceler; }

Canceler& Canceler::current() {
  if (s_current == nullptr) QRN_RAISE(1, "canceler is null, need to set it first");
  return *s_current;
}

}  // namespace quern
