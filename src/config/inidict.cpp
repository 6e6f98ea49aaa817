#include "config/inidict.h"

#include <cstdint>

namespace quern {

namespace {
constexpr uint32_t kPrimes[kIniPrimeCount] = {
    5,        11,        19,        53,        107,       223,        463,        983,
    1979,     3907,      7963,      16229,     32531,     65407,      130987,     262237,
    524521,   1048793,   2097397,   4194103,   8388857,   16777447,   33554201,   67108961,
    134217487, 268435697, 536870683, 1073741621, 2147483399};
constexpr size_t kAlign = 8;
}  // namespace

IniArena::Block* IniArena::makeBlock(size_t size) {
  if (size > SIZE_MAX / 2) return nullptr;
  return static_cast<Block*>(::operator new(sizeof(Block) + size, std::nothrow));
}

void* IniArena::allocate(size_t size) {
  size = (size + kAlign - 1) & ~(kAlign - 1);
  if (size > kBlockSize) {
    Block* own = makeBlock(size);
    if (own == nullptr) return nullptr;
    if (m_head == nullptr) {
      own->link = nullptr;
      m_head = own;
      m_used = kBlockSize;  // full: the next small piece starts a block
    } else {
      // Behind the head, so that the head's free bytes stay usable.
      own->link = m_head->link;
      m_head->link = own;
    }
    return own + 1;
  }
  if (m_head == nullptr || kBlockSize - m_used < size) {
    Block* block = makeBlock(kBlockSize);
    if (block == nullptr) return nullptr;
    block->link = m_head;
    m_head = block;
    m_used = 0;
  }
  void* piece = reinterpret_cast<char*>(m_head + 1) + m_used;
  m_used += size;
  return piece;
}

void IniArena::clear() {
  while (m_head != nullptr) {
    Block* link = m_head->link;
    ::operator delete(m_head);
    m_head = link;
  }
  m_used = 0;
}

uint32_t iniHash(const char* bytes, size_t length) {
  uint32_t h = 0;
  for (size_t i = 0; i < length; ++i) {
    // Bytes above 0x7F count negative: the hash runs over signed chars.
    h = (h << 4) + static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(bytes[i])));
    const uint32_t g = h & 0xF0000000u;
    if (g != 0) {
      h ^= g >> 24;
      h &= ~g;
    }
  }
  return h;
}

uint32_t iniPrime(uint32_t index) { return kPrimes[index < kIniPrimeCount ? index : kIniPrimeCount - 1]; }

uint32_t iniPrimeIndex(uint32_t hint) {
  for (uint32_t i = 0; i < kIniPrimeCount; ++i) {
    if (kPrimes[i] >= hint) return i;
  }
  return kIniPrimeCount - 1;
}

}  // namespace quern
