// The hash dictionary under the INI engine: byte-string keys to owned values,
// chained buckets that grow through a fixed prime table, and a list that keeps
// insertion order for the write-back. Never throws; allocation failures come
// back as result codes. One thread at a time.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace quern {

// ELF hash over `length` bytes, each taken as a signed 8-bit value.
uint32_t iniHash(const char* bytes, size_t length);

inline constexpr uint32_t kIniPrimeCount = 29;
// The prime at `index` of the growth table (5, 11, 19, 53, ...).
uint32_t iniPrime(uint32_t index);
// Index of the first prime not below `hint`; the last index for larger hints.
uint32_t iniPrimeIndex(uint32_t hint);

// Result codes of the dictionary, as the document layer reports them.
inline constexpr int32_t kIniNotSetUp = -138;
inline constexpr int32_t kIniDuplicate = -154;
inline constexpr int32_t kIniNoMemory = -162;

template <typename V>
class IniDict {
 public:
  // Key bytes follow the entry in the same allocation.
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
  ~IniDict() { clear(); }
  IniDict(const IniDict&) = delete;
  IniDict& operator=(const IniDict&) = delete;

  // Makes the bucket array with the first prime not below `hint`; false when
  // out of memory. An existing array with its entries is kept.
  bool setUp(uint32_t hint) {
    if (m_buckets) return true;
    const uint32_t index = iniPrimeIndex(hint);
    m_buckets.reset(new (std::nothrow) Entry*[iniPrime(index)]());
    if (!m_buckets) return false;
    m_primeIndex = index;
    m_bucketCount = iniPrime(index);
    return true;
  }
  bool isSetUp() const { return m_buckets != nullptr; }

  // Adds `key` with `value`; 0, kIniNotSetUp, kIniDuplicate or kIniNoMemory.
  // `value` is moved from only on success, so a refused value stays with the caller.
  int32_t insert(const char* key, uint32_t length, V& value) {
    if (!m_buckets) return kIniNotSetUp;
    const uint32_t hash = iniHash(key, length);
    if (lookup(hash, key, length) != nullptr) return kIniDuplicate;
    void* memory = ::operator new(sizeof(Entry) + length, std::nothrow);
    if (memory == nullptr) return kIniNoMemory;
    Entry* entry = new (memory) Entry{hash, length, std::move(value), nullptr, m_last, nullptr, nullptr};
    std::memcpy(reinterpret_cast<char*>(entry + 1), key, length);
    (m_last != nullptr ? m_last->next : m_first) = entry;
    m_last = entry;
    linkChain(entry);
    if (++m_count > m_bucketCount && m_primeIndex + 1 < kIniPrimeCount) grow();
    return 0;
  }

  // The value stored under `key`, or null.
  V* find(const char* key, uint32_t length) const {
    if (!m_buckets) return nullptr;
    Entry* entry = lookup(iniHash(key, length), key, length);
    return entry != nullptr ? &entry->value : nullptr;
  }

  // Takes the entry of `key` out and hands back its value (empty if absent).
  V remove(const char* key, uint32_t length) {
    if (!m_buckets) return V{};
    Entry* entry = lookup(iniHash(key, length), key, length);
    if (entry == nullptr) return V{};
    (entry->prev != nullptr ? entry->prev->next : m_first) = entry->next;
    (entry->next != nullptr ? entry->next->prev : m_last) = entry->prev;
    (entry->chainPrev != nullptr ? entry->chainPrev->chainNext : m_buckets[entry->hash % m_bucketCount]) =
        entry->chainNext;
    if (entry->chainNext != nullptr) entry->chainNext->chainPrev = entry->chainPrev;
    --m_count;
    V value = std::move(entry->value);
    destroy(entry);
    return value;
  }

  // Frees every entry and the bucket array: back to the state before `setUp`.
  void clear() {
    for (Entry* entry = m_first; entry != nullptr;) {
      Entry* next = entry->next;
      destroy(entry);
      entry = next;
    }
    m_first = m_last = nullptr;
    m_buckets.reset();
    m_bucketCount = m_primeIndex = m_count = 0;
  }

  // The oldest entry; walk on with `next`.
  const Entry* first() const { return m_first; }
  uint32_t count() const { return m_count; }
  uint32_t bucketCount() const { return m_bucketCount; }

 private:
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
    std::unique_ptr<Entry*[]> buckets(new (std::nothrow) Entry*[size]());
    if (!buckets) return;
    m_buckets = std::move(buckets);
    m_bucketCount = size;
    ++m_primeIndex;
    for (Entry* entry = m_first; entry != nullptr; entry = entry->next) linkChain(entry);
  }

  static void destroy(Entry* entry) {
    entry->~Entry();
    ::operator delete(entry);
  }

  uint32_t m_bucketCount = 0;
  uint32_t m_primeIndex = 0;
  uint32_t m_count = 0;
  Entry* m_first = nullptr;
  Entry* m_last = nullptr;
  std::unique_ptr<Entry*[]> m_buckets;
};

}  // namespace quern
