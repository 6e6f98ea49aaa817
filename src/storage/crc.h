// Checksums: CRC-64 (reflected Jones polynomial, initial all ones, no final
// xor) guards closing blocks and keys strings; CCrc is the IEEE CRC-32.
#pragma once

#include <cstdint>

namespace quern {

// A length of 0 gives 0xFFFFFFFFFFFFFFFF without reading `bytes`.
uint64_t crc64(const void* bytes, uint32_t length);

class CCrc {
 public:
  CCrc();
  virtual ~CCrc() = default;
  uint32_t compute(const void* bytes, uint32_t length) const;

 private:
  uint32_t m_table[256];
};

}  // namespace quern
