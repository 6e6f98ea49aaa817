// ZeroedArray: a fixed number of trivial elements, all zero at first, on
// memory taken straight from the system (huge pages where it offers them),
// for large tables filled at random. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "base/exception.h"
#include "platform/platform.h"

namespace quern {

template <class T>
class ZeroedArray {
  static_assert(std::is_trivially_copyable_v<T>, "elements start as zero bytes");

 public:
  ZeroedArray() = default;
  explicit ZeroedArray(size_t size) : m_size(size) {
    if (size == 0) return;
    if (size > SIZE_MAX / sizeof(T)) QRN_RAISE(2, "alloc %llu elements failed", static_cast<unsigned long long>(size));
    m_data = static_cast<T*>(platform::allocatePages(size * sizeof(T)));
    if (m_data == nullptr) QRN_RAISE(2, "alloc %llu bytes failed", static_cast<unsigned long long>(size * sizeof(T)));
  }
  ~ZeroedArray() { platform::freePages(m_data, m_size * sizeof(T)); }
  ZeroedArray(ZeroedArray&& other) noexcept { swap(other); }
  ZeroedArray& operator=(ZeroedArray&& other) noexcept {
    swap(other);
    return *this;
  }
  void swap(ZeroedArray& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
  }

  T& operator[](size_t i) { return m_data[i]; }
  const T& operator[](size_t i) const { return m_data[i]; }
  T* data() { return m_data; }
  const T* data() const { return m_data; }
  size_t size() const { return m_size; }

 private:
  T* m_data = nullptr;
  size_t m_size = 0;
};

}  // namespace quern
