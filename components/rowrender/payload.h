// The payload format that rowrender reads: items back to back to the end of
// the payload, each a little-endian u16 key length, the key bytes, a
// little-endian u32 value length and the value bytes. Writers use these.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace rowrender {

constexpr uint32_t kKeyLengthSize = 2;
constexpr uint32_t kValueLengthSize = 4;

inline uint32_t itemSize(std::string_view key, std::string_view value) {
  return kKeyLengthSize + static_cast<uint32_t>(key.size()) + kValueLengthSize + static_cast<uint32_t>(value.size());
}

// Writes one item at `out` (itemSize bytes) and returns the byte behind it.
// Keys longer than 65,535 bytes are the writer's error and are cut.
inline uint8_t* putItem(uint8_t* out, std::string_view key, std::string_view value) {
  const uint16_t keyLength = static_cast<uint16_t>(key.size() > 0xFFFF ? 0xFFFF : key.size());
  const uint32_t valueLength = static_cast<uint32_t>(value.size());
  const uint8_t keyBytes[2] = {static_cast<uint8_t>(keyLength), static_cast<uint8_t>(keyLength >> 8)};
  const uint8_t valueBytes[4] = {static_cast<uint8_t>(valueLength), static_cast<uint8_t>(valueLength >> 8),
                                 static_cast<uint8_t>(valueLength >> 16), static_cast<uint8_t>(valueLength >> 24)};
  std::memcpy(out, keyBytes, 2);
  if (keyLength != 0) std::memcpy(out + 2, key.data(), keyLength);
  out += 2 + keyLength;
  std::memcpy(out, valueBytes, 4);
  if (valueLength != 0) std::memcpy(out + 4, value.data(), valueLength);
  return out + 4 + valueLength;
}

}  // namespace rowrender
