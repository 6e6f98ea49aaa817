#include "tracegate.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

struct TraceState {
  std::mutex mutex;
  std::FILE* stream = nullptr;
  std::string path;
  int option = -1;
};

TraceState& state() {
  static TraceState* s = new TraceState;  // never destroyed: logging may run during exit
  return *s;
}

// "YYYY-MM-DD hh:mm:ss" in UTC, without the C library's non-reentrant calls.
void formatTimestamp(char (&out)[32]) {
  using namespace std::chrono;
  const auto now = floor<seconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date{day};
  const hh_mm_ss time{now - day};
  std::snprintf(out, sizeof out, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
}

}  // namespace

extern "C" void trace_set_path(const char* path, int option) {
  try {
    TraceState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.stream != nullptr) std::fclose(s.stream);
    s.stream = nullptr;
    s.path = path != nullptr ? path : "";
    s.option = option;
    if (!s.path.empty()) s.stream = std::fopen(s.path.c_str(), "ab");
  } catch (...) {
  }
}

extern "C" void trace_write(int level, const char* file, int line, const char* format, ...) {
  try {
    TraceState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.stream == nullptr || (s.option >= 0 && level > s.option)) return;
    char stamp[32];
    formatTimestamp(stamp);
    std::fprintf(s.stream, "%s L%d %s:%d ", stamp, level, file != nullptr ? file : "?", line);
    va_list args;
    va_start(args, format);
    if (format != nullptr) std::vfprintf(s.stream, format, args);
    va_end(args);
    std::fputc('\n', s.stream);
    if (level == 0) std::fflush(s.stream);
  } catch (...) {
  }
}

extern "C" const char* trace_get_path(void) {
  TraceState& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  return s.path.c_str();
}
