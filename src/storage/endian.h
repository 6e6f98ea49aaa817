// Little-endian loads and stores of the on-disk integers, safe at any address.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace quern {

template <typename T>
inline T loadLE(const void* source) {
  static_assert(std::endian::native == std::endian::little, "big-endian hosts need a byte swap here");
  T value;
  std::memcpy(&value, source, sizeof value);
  return value;
}

template <typename T>
inline void storeLE(void* target, T value) {
  static_assert(std::endian::native == std::endian::little, "big-endian hosts need a byte swap here");
  std::memcpy(target, &value, sizeof value);
}

inline uint32_t loadLE32(const void* p) { return loadLE<uint32_t>(p); }
inline uint64_t loadLE64(const void* p) { return loadLE<uint64_t>(p); }
// Eight bytes as a big-endian number: compares as the bytes do.
inline uint64_t loadBE64(const void* p) { return __builtin_bswap64(loadLE64(p)); }
inline void storeLE32(void* p, uint32_t v) { storeLE(p, v); }
inline void storeLE64(void* p, uint64_t v) { storeLE(p, v); }

}  // namespace quern
