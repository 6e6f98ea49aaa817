#include "base/exception.h"

#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace quern {

namespace {

std::string& errorTextStorage() {
  static std::string* text = new std::string;  // lives to process end
  return *text;
}

int32_t g_errorNumber = 0;

std::string formatArgs(const char* format, va_list args) {
  char small[1024];
  va_list again;
  va_copy(again, args);
  const int needed = std::vsnprintf(small, sizeof small, format, args);
  if (needed < 0) {
    va_end(again);
    return std::string();
  }
  if (static_cast<size_t>(needed) < sizeof small) {
    va_end(again);
    return std::string(small, static_cast<size_t>(needed));
  }
  std::vector<char> large(static_cast<size_t>(needed) + 1);
  std::vsnprintf(large.data(), large.size(), format, again);
  va_end(again);
  return std::string(large.data(), static_cast<size_t>(needed));
}

}  // namespace

std::string formatText(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = formatArgs(format, args);
  va_end(args);
  return text;
}

void raiseFailure(const FailureSite& site, const char* format, ...) {
  char message[4096];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(message, sizeof message, format, args);
  va_end(args);
  if (length < 0 || static_cast<size_t>(length) >= sizeof message) throw std::runtime_error("throw message too long");

  if (g_errorNumber == 0) g_errorNumber = site.level;
  const std::string text = formatText("%-10s:%-5d,%s", site.module, site.line, message);
  QRN_TRACE(0, "%s", text.c_str());
  if (site.level == 1) throw std::logic_error(text);
  throw std::runtime_error(text);
}

const char* errorText() { return errorTextStorage().c_str(); }

void setErrorText(const std::string& text) noexcept {
  try {
    errorTextStorage() = text;
  } catch (...) {
    // Out of memory: the previous text stays.
  }
}

int32_t errorNumber() { return g_errorNumber; }

}  // namespace quern
