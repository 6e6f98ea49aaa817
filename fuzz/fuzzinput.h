// The harnesses' shared step: the library reads files, so each input is
// written to a file of this process first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include "storage/closingblock.h"
#include "storage/crc.h"
#include "storage/endian.h"

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

// Writes the input as a field file (named after `name`) whose closing block,
// when it has one, carries the right checksum, so that inputs reach the
// table and the images instead of stopping at the checksum.
inline std::string writeFieldFile(const char* name, const uint8_t* data, size_t size) {
  std::vector<uint8_t> file(data, data + size);
  if (file.size() >= closing::kSize) {
    uint8_t* block = file.data() + file.size() - closing::kSize;
    storeLE64(block + closing::kChecksumOffset, crc64(block + 8, closing::kSize - 8));
  }
  return writeInput(name, file.data(), file.size());
}

}  // namespace quern::fuzz
