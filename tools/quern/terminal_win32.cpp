#include <windows.h>

#include "terminal.h"

namespace quern::cli {

void prepareTerminal() { SetConsoleOutputCP(CP_UTF8); }

unsigned terminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) return 0;
  return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

}  // namespace quern::cli
