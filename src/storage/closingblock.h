// The closing block: the last 1024 bytes of every field file and of the data
// store. It holds the offset of the file's table and the file's only
// checksum, the CRC-64 of its bytes 8 to 1023.
#pragma once

#include <cstdint>

namespace quern::closing {

constexpr uint32_t kSize = 1024;
constexpr uint32_t kChecksumOffset = 0;
constexpr uint32_t kTableOffset = 8;
constexpr uint32_t kMagicOffset = 16;
constexpr uint32_t kVersionOffset = 20;
constexpr uint32_t kTimeOffset = 24;
constexpr uint32_t kPathOffset = 32;
constexpr uint32_t kPathSize = 259;
constexpr uint32_t kMagic = 0x81234567u;
constexpr uint32_t kVersion = 0x100;

}  // namespace quern::closing
