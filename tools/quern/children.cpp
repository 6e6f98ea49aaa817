#include "children.h"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace quern::cli {

std::string shellQuoted(const std::string& text) {
  if (text.find_first_of("\"$`\n") != std::string::npos) {
    throw std::invalid_argument("cannot pass to a child process: " + text);
  }
  return "\"" + text + "\"";
}

uint32_t runChildren(const std::vector<std::string>& commands, uint32_t jobs,
                     const std::function<void(size_t, int)>& done) {
  std::atomic<size_t> next{0};
  std::atomic<uint32_t> failures{0};
  std::mutex reporting;
  const auto worker = [&] {
    for (size_t i; (i = next.fetch_add(1)) < commands.size();) {
      // Windows' shell strips the outer quotes of a command that starts with
      // one; a harmless first word keeps the program's quotes on both shells.
      const int code = std::system(("cd . && " + commands[i]).c_str());
      if (code != 0) failures.fetch_add(1);
      std::lock_guard<std::mutex> lock(reporting);
      done(i, code);
    }
  };
  std::vector<std::thread> threads;
  const size_t count = std::min<size_t>(jobs == 0 ? 1 : jobs, commands.size());
  for (size_t t = 0; t < count; ++t) threads.emplace_back(worker);
  for (std::thread& thread : threads) thread.join();
  return failures.load();
}

}  // namespace quern::cli
