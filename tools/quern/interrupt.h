// Ctrl-C during a query. The library looks at the query's cancel file once
// a second and, once it exists, stops at its next test point and returns
// what it has found; so the first Ctrl-C creates that file (from a thread of
// this object, as a signal handler may do next to nothing), and a second
// one ends the program as usual. One object at a time.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace quern::cli {

class CancelOnInterrupt {
 public:
  explicit CancelOnInterrupt(std::string cancelPath);
  // Restores the former handler; a file this object created is removed.
  ~CancelOnInterrupt();
  CancelOnInterrupt(const CancelOnInterrupt&) = delete;
  CancelOnInterrupt& operator=(const CancelOnInterrupt&) = delete;

  // Whether Ctrl-C came; from then on the count may be partial.
  bool interrupted() const;

 private:
  void watch();
  void touch();

  std::string m_path;
  bool m_touched = false;
  std::atomic<bool> m_stop{false};
  std::mutex m_mutex;
  std::condition_variable m_wake;
  std::thread m_thread;
  void (*m_former)(int) = nullptr;
};

}  // namespace quern::cli
