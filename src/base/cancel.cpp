#include "base/cancel.h"

#include "base/exception.h"

namespace quern {

namespace {
Canceler* s_current = nullptr;
}  // namespace

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
