// The hash dictionary under the INI engine: byte-string keys to values kept
// inside the entries, chained buckets that grow through a fixed prime table,
// and a list that keeps insertion order for the write-back. All memory comes
// from an `IniArena` and goes back with it at once, so values must be
// trivially destructible. Never throws; running out of memory gives result
// codes. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

namespace quern {

// Bump allocation in blocks of 1 MiB; nothing is freed before `clear`.
class IniArena {
 public:
  static constexpr size_t kBlockSize = 1048576;

  IniArena() = default;
  ~IniArena() { clear(); }
  IniArena(const IniArena&) = delete;
  IniArena& operator=(const IniArena&) = delete;

  // `size` bytes aligned for pointers, or null when out of memory. A piece
  // larger than a block gets a block of its own.
  void* allocate(size_t size);
  // Frees every piece.
  void clear();

 private:
  struct alignas(8) Block {
    Block* link;
  };
  Block* makeBlock(size_t size);

  Block* m_head = nullptr;
  size_t m_used = 0;  // bytes taken from the head block
};

// ELF hash over `length` bytes, each taken as a signed 8-bit value.
uint32_t iniHash(const char* bytes, size_t length);

inline constexpr uint32_t kIniPrimeCount = 29;
// The prime at `index` of the growth table (5, 11, 19, 53, ...).
uint32_t iniPrime(uint32_t index);
// Index of the first prime not below `hint`; the last index for larger hints.
uint32_t iniPrimeIndex(uint32_t hint);

// Result codes of the dictionary.
inline constexpr int32_t kIniNotSetUp = -138;
inline constexpr int32_t kIniDuplicate = -154;
inline constexpr int32_t kIniNoMemory = -162;

template <typename V>
class IniDict {
  static_assert(std::is_trivially_destructible_v<V>, "the arena frees values without destructors");

 public:
  // Key bytes follow the entry in the same piece.
  struct Entry {
    uint32_t hash;
    uint32_t length;
    V value;
    Entry* next;  // insertion order
    Entry* prev;
    Entry* chainNext;
    Entry* chainPrev;
    const char* key() const { return reinterpret_cast<const char*>(this + 1); }
  };

  IniDict() = default;
  IniDict(const IniDict&) = delete;
  IniDict& operator=(const IniDict&) = delete;

  // Makes the bucket array with the first prime not below `hint`, in
  // `arena`, which then holds every piece of this dictionary. False when out
  // of memory. A dictionary already set up stays as it is.
  bool setUp(IniArena& arena, uint32_t hint) {
    if (m_buckets != nullptr) return true;
    const uint32_t index = iniPrimeIndex(hint);
    m_buckets = newBuckets(arena, iniPrime(index));
    if (m_buckets == nullptr) return false;
    m_arena = &arena;
    m_primeIndex = index;
    m_bucketCount = iniPrime(index);
    return true;
  }
  bool isSetUp() const { return m_buckets != nullptr; }

  // Adds `key` with a value-initialized value and gives the value to fill in;
  // null with `result` kIniNotSetUp, kIniDuplicate or kIniNoMemory.
  V* insert(const char* key, uint32_t length, int32_t& result) {
    result = kIniNotSetUp;
    if (m_buckets == nullptr) return nullptr;
    const uint32_t hash = iniHash(key, length);
    result = kIniDuplicate;
    if (lookup(hash, key, length) != nullptr) return nullptr;
    result = kIniNoMemory;
    void* memory = m_arena->allocate(sizeof(Entry) + length);
    if (memory == nullptr) return nullptr;
    Entry* entry = new (memory) Entry{hash, length, V{}, nullptr, m_last, nullptr, nullptr};
    std::memcpy(reinterpret_cast<char*>(entry + 1), key, length);
    (m_last != nullptr ? m_last->next : m_first) = entry;
    m_last = entry;
    linkChain(entry);
    if (++m_count > m_bucketCount && m_primeIndex + 1 < kIniPrimeCount) grow();
    result = 0;
    return &entry->value;
  }

  // The value stored under `key`, or null.
  V* find(const char* key, uint32_t length) const {
    if (m_buckets == nullptr) return nullptr;
    Entry* entry = lookup(iniHash(key, length), key, length);
    return entry != nullptr ? &entry->value : nullptr;
  }

  // Takes the entry of `key` out of both lists; false if absent. Its memory
  // stays in the arena.
  bool remove(const char* key, uint32_t length) {
    if (m_buckets == nullptr) return false;
    Entry* entry = lookup(iniHash(key, length), key, length);
    if (entry == nullptr) return false;
    (entry->prev != nullptr ? entry->prev->next : m_first) = entry->next;
    (entry->next != nullptr ? entry->next->prev : m_last) = entry->prev;
    (entry->chainPrev != nullptr ? entry->chainPrev->chainNext : m_buckets[entry->hash % m_bucketCount]) =
        entry->chainNext;
    if (entry->chainNext != nullptr) entry->chainNext->chainPrev = entry->chainPrev;
    --m_count;
    return true;
  }

  // Back to the state before `setUp`; the arena's owner frees the memory.
  void reset() {
    m_first = m_last = nullptr;
    m_buckets = nullptr;
    m_arena = nullptr;
    m_bucketCount = m_primeIndex = m_count = 0;
  }

  // The oldest entry; walk on with `next`.
  const Entry* first() const { return m_first; }
  uint32_t count() const { return m_count; }
  uint32_t bucketCount() const { return m_bucketCount; }

 private:
  static Entry** newBuckets(IniArena& arena, uint32_t count) {
    void* memory = arena.allocate(sizeof(Entry*) * count);
    if (memory == nullptr) return nullptr;
    return static_cast<Entry**>(std::memset(memory, 0, sizeof(Entry*) * count));
  }

  Entry* lookup(uint32_t hash, const char* key, uint32_t length) const {
    for (Entry* entry = m_buckets[hash % m_bucketCount]; entry != nullptr; entry = entry->chainNext) {
      if (entry->hash == hash && entry->length == length && std::memcmp(entry->key(), key, length) == 0) {
        return entry;
      }
    }
    return nullptr;
  }

  void linkChain(Entry* entry) {
    Entry*& head = m_buckets[entry->hash % m_bucketCount];
    entry->chainPrev = nullptr;
    entry->chainNext = head;
    if (head != nullptr) head->chainPrev = entry;
    head = entry;
  }

  // Without memory for the larger array the dictionary keeps its size.
  void grow() {
    const uint32_t size = iniPrime(m_primeIndex + 1);
    Entry** buckets = newBuckets(*m_arena, size);
    if (buckets == nullptr) return;
    m_buckets = buckets;
    m_bucketCount = size;
    ++m_primeIndex;
    for (Entry* entry = m_first; entry != nullptr; entry = entry->next) linkChain(entry);
  }

  uint32_t m_bucketCount = 0;
  uint32_t m_primeIndex = 0;
  uint32_t m_count = 0;
  Entry* m_first = nullptr;
  Entry* m_last = nullptr;
  Entry** m_buckets = nullptr;
  IniArena* m_arena = nullptr;
};

}  // namespace quern
