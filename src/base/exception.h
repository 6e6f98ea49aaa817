// Failures and trace. Inside the library a failure is an exception raised
// through `raiseFailure`, at level 1 (logic_error: the library's own misuse)
// or level 2 (runtime_error: what input, files or resources can cause). The
// first level raised in the life of the process is kept in the error state.
#pragma once

#include <cstdint>
#include <string>

#include "tracegate.h"

#if defined(__GNUC__)
#define QRN_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define QRN_PRINTF(fmt, args)
#endif

namespace quern {

struct FailureSite {
  int32_t level;
  const char* module;
  int32_t line;
};

// Formats like printf; never truncates.
std::string formatText(const char* format, ...) QRN_PRINTF(1, 2);

// Raises the failure "%-10s:%-5d,%s" (module, line, message). A message of
// 4,096 bytes or more raises "throw message too long" instead.
[[noreturn]] void raiseFailure(const FailureSite& site, const char* format, ...) QRN_PRINTF(2, 3);

// The process-wide error state read by the host through the exports.
const char* errorText();
void setErrorText(const std::string& text) noexcept;
int32_t errorNumber();

// The module name of a source file: its base name without extension, so that
// log lines and failure texts say "fileio" for storage/fileio.cpp.
template <size_t N>
struct ModuleName {
  char text[N]{};
  constexpr explicit ModuleName(const char (&path)[N]) {
    size_t begin = 0;
    for (size_t i = 0; i + 1 < N; ++i) {
      if (path[i] == '/' || path[i] == '\\') begin = i + 1;
    }
    size_t out = 0;
    for (size_t i = begin; i + 1 < N && path[i] != '.'; ++i) text[out++] = path[i];
  }
};

}  // namespace quern

#define QRN_MODULE_NAME                                          \
  ([]() -> const char* {                                         \
    static constexpr ::quern::ModuleName kModuleName(__FILE__); \
    return kModuleName.text;                                     \
  }())

// Raises a failure of `level` (1 or 2) from this file and line.
#define QRN_RAISE(level, ...) \
  ::quern::raiseFailure(::quern::FailureSite{(level), QRN_MODULE_NAME, __LINE__}, __VA_ARGS__)

// Writes a log line of `level` (0 to 3) from this file and line.
#define QRN_TRACE(level, ...) trace_write((level), QRN_MODULE_NAME, __LINE__, __VA_ARGS__)
