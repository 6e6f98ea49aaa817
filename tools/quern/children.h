// Runs commands as child processes, at most `jobs` at a time. Each child is
// started by the system's shell (std::system), from a thread of its own that
// waits for it, so the children run side by side on every platform.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quern::cli {

// One argument for the shell, in double quotes. Throws std::invalid_argument
// for texts the quotes cannot carry on every shell ('"', '$', '`', '\n').
std::string shellQuoted(const std::string& text);

// Runs every command; `done(index, exitCode)` is called once per command,
// from one thread at a time. Gives the number of commands that failed.
uint32_t runChildren(const std::vector<std::string>& commands, uint32_t jobs,
                     const std::function<void(size_t, int)>& done);

}  // namespace quern::cli
