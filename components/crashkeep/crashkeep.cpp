#include "crashkeep.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "tracegate.h"

namespace {

// The report's path is fixed at install time: the handler must not allocate.
char g_reportPath[1024];

void prepareReportPath(const char* extension, unsigned long pid) {
  std::string dir = trace_get_path();
  const size_t cut = dir.find_last_of("/\\");
  dir = cut == std::string::npos ? std::string(".") : dir.substr(0, cut);
  std::snprintf(g_reportPath, sizeof g_reportPath, "%s/quern-crash-%lu.%s", dir.c_str(), pid, extension);
}

}  // namespace

#ifdef _WIN32

#include <windows.h>
#include <dbghelp.h>

namespace {

LONG WINAPI onUnhandled(EXCEPTION_POINTERS* info) {
  HANDLE file = CreateFileA(g_reportPath, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    MINIDUMP_EXCEPTION_INFORMATION exception{GetCurrentThreadId(), info, FALSE};
    MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), file, MiniDumpWithThreadInfo, &exception,
                      nullptr, nullptr);
    CloseHandle(file);
  }
  trace_write(0, "crashkeep", __LINE__, "unhandled exception 0x%08lx, dump %s",
              static_cast<unsigned long>(info->ExceptionRecord->ExceptionCode), g_reportPath);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

extern "C" int crash_keep_init(void) {
  prepareReportPath("dmp", static_cast<unsigned long>(GetCurrentProcessId()));
  SetUnhandledExceptionFilter(onUnhandled);
  return 0;
}

#else

#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
char g_alternateStack[64 * 1024];

void writeText(int fd, const char* text) {
  if (write(fd, text, std::strlen(text)) < 0) return;
}

void onSignal(int signal) {
  const int fd = open(g_reportPath, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd >= 0) {
    char head[64];
    // snprintf is not formally async-signal-safe; the process is dying anyway.
    std::snprintf(head, sizeof head, "signal %d\nbacktrace:\n", signal);
    writeText(fd, head);
    void* frames[64];
    backtrace_symbols_fd(frames, backtrace(frames, 64), fd);
    close(fd);
  }
  // Die the way the signal would have killed us.
  ::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

extern "C" int crash_keep_init(void) {
  prepareReportPath("txt", static_cast<unsigned long>(getpid()));
  // backtrace() loads its unwinder on first use, which must not happen in the handler.
  void* warmUp[1];
  backtrace(warmUp, 1);
  stack_t stack{};
  stack.ss_sp = g_alternateStack;
  stack.ss_size = sizeof g_alternateStack;
  if (sigaltstack(&stack, nullptr) != 0) return -1;
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = SA_ONSTACK | SA_RESETHAND;
  sigemptyset(&action.sa_mask);
  for (int signal : kSignals) {
    if (sigaction(signal, &action, nullptr) != 0) return -1;
  }
  return 0;
}

#endif
