#include <sys/ioctl.h>
#include <unistd.h>

#include "terminal.h"

namespace quern::cli {

void prepareTerminal() {}

unsigned terminalColumns() {
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

}  // namespace quern::cli
