#include "interrupt.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace quern::cli {

namespace {

volatile std::sig_atomic_t s_interrupted = 0;

extern "C" void onInterrupt(int) {
  s_interrupted = 1;
  // The next Ctrl-C ends the program.
  std::signal(SIGINT, SIG_DFL);
}

}  // namespace

CancelOnInterrupt::CancelOnInterrupt(std::string cancelPath) : m_path(std::move(cancelPath)) {
  s_interrupted = 0;
  m_former = std::signal(SIGINT, onInterrupt);
  m_thread = std::thread([this] { watch(); });
}

CancelOnInterrupt::~CancelOnInterrupt() {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_stop = true;
  }
  m_wake.notify_all();
  m_thread.join();
  std::signal(SIGINT, m_former == SIG_ERR ? SIG_DFL : m_former);
  // A Ctrl-C just before the end still counts as one.
  if (interrupted()) touch();
  std::error_code ignored;
  if (m_touched) std::filesystem::remove(m_path, ignored);
}

bool CancelOnInterrupt::interrupted() const { return s_interrupted != 0; }

void CancelOnInterrupt::watch() {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (!m_stop) {
    if (interrupted()) {
      touch();
      return;
    }
    m_wake.wait_for(lock, std::chrono::milliseconds(50));
  }
}

void CancelOnInterrupt::touch() {
  if (m_touched || m_path.empty()) return;
  std::error_code error;
  if (std::filesystem::exists(m_path, error)) return;
  std::ofstream(m_path, std::ios::binary).flush();
  m_touched = true;
}

}  // namespace quern::cli
