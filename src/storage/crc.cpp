#include "storage/crc.h"

#include <array>

namespace quern {

namespace {

constexpr uint64_t kCrc64Polynomial = 0x95AC9329AC4BC9B5ULL;  // reflected Jones
constexpr uint32_t kCrc32Polynomial = 0xEDB88320u;           // reflected IEEE

// Built at compile time, so that no thread can see a half-built table.
constexpr std::array<uint64_t, 256> kCrc64Table = [] {
  std::array<uint64_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint64_t value = i;
    for (int step = 0; step < 8; ++step) value = (value & 1) ? (value >> 1) ^ kCrc64Polynomial : value >> 1;
    table[i] = value;
  }
  return table;
}();

}  // namespace

uint64_t crc64(const void* bytes, uint32_t length) {
  const auto* p = static_cast<const uint8_t*>(bytes);
  uint64_t crc = ~0ULL;
  for (uint32_t i = 0; i < length; ++i) crc = kCrc64Table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
  return crc;
}

CCrc::CCrc() {
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int step = 0; step < 8; ++step) value = (value & 1) ? (value >> 1) ^ kCrc32Polynomial : value >> 1;
    m_table[i] = value;
  }
}

uint32_t CCrc::compute(const void* bytes, uint32_t length) const {
  const auto* p = static_cast<const uint8_t*>(bytes);
  uint32_t crc = 0xFFFFFFFFu;
  for (uint32_t i = 0; i < length; ++i) crc = m_table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFu;
}

}  // namespace quern
