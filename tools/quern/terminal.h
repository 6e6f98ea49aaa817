// The terminal that standard output writes to, one implementation per
// platform (terminal_posix.cpp, terminal_win32.cpp), chosen by CMake.
#pragma once

namespace quern::cli {

// Lets standard output carry UTF-8 text to the terminal.
void prepareTerminal();

// Columns of the terminal, or 0 when standard output is no terminal.
unsigned terminalColumns();

}  // namespace quern::cli
