// The harnesses' shared step: the library reads files, so each input is
// written to a file of this process first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace quern::fuzz {

// Writes `size` bytes to this process's scratch file (named after the first
// call's `name`) and returns its path; the next call overwrites it.
inline std::string writeInput(const char* name, const uint8_t* data, size_t size) {
  // Removed when the process ends.
  struct Scratch {
    std::string path;
    ~Scratch() { std::remove(path.c_str()); }
  };
  static const Scratch scratch{"/tmp/quern-fuzz-" + std::to_string(getpid()) + "-" + name};
  const std::string& path = scratch.path;
  if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
    if (size != 0) std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  return path;
}

}  // namespace quern::fuzz
