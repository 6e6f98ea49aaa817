#include "base/suspend.h"

#include "base/exception.h"

namespace quern {

namespace {
Suspender* s_current = nullptr;
}  // namespace

Suspender::Suspender(uint32_t lookIntervalMs, uint32_t pauseMs) : m_pauseMs(pauseMs), m_watch(lookIntervalMs) {
  if (!m_watch.start([this] { look(); })) {
    QRN_RAISE(2, "create suspend thread fail, %u", platform::lastSystemError());
  }
}

Suspender::~Suspender() {
  stop();
  if (s_current == this) s_current = nullptr;
}

void Suspender::setPath(const std::string& path) {
  std::lock_guard<std::mutex> lock(m_pathMutex);
  m_path = path;
  m_named.store(!path.empty());
}

void Suspender::stop() {
  if (!m_watch.stop()) QRN_TRACE(0, "thread is running, ignored!, errno %u", platform::lastSystemError());
}

void Suspender::look() {
  std::lock_guard<std::mutex> lock(m_pathMutex);
  const int64_t now = platform::currentTime();
  int64_t modified = 0;
  // A file that cannot be looked at (gone, or never named) leaves the flag as it is.
  if (!platform::modificationTime(m_path.c_str(), modified)) return;
  m_flag.store(modified + kFreshSeconds < now ? 0 : 1);
}

void Suspender::setCurrent(Suspender* suspender) { s_current = suspender; }

Suspender& Suspender::current() {
  if (s_current == nullptr) QRN_RAISE(1, "suspender is null, need to set it first");
  return *s_current;
}

bool Suspender::CheckSuspend() {
  const Suspender& suspender = current();
  if (!suspender.m_named.load(std::memory_order_relaxed) || suspender.suspended() == 0) return false;
  QRN_TRACE(3, "suspend %d seconds", static_cast<int>(suspender.m_pauseMs / 1000));
  platform::sleepMilliseconds(suspender.m_pauseMs);
  return true;
}

}  // namespace quern
