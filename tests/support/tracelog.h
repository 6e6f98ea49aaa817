// Captures the trace log for the life of the object, for tests that check
// which level-3 lines a refusal writes.
#pragma once

#include <string>

#include "support/tempdir.h"
#include "tracegate.h"

namespace quern::test {

class TraceLog {
 public:
  TraceLog() { trace_set_path(m_dir.file("trace.log").c_str(), -1); }
  ~TraceLog() { trace_set_path(nullptr, 0); }
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;

  // Reopening the log flushes what is buffered.
  std::string text() const {
    trace_set_path(m_dir.file("trace.log").c_str(), -1);
    return readFile(m_dir.file("trace.log"));
  }
  bool has(const std::string& fragment) const { return text().find(fragment) != std::string::npos; }

 private:
  TempDir m_dir;
};

}  // namespace quern::test
