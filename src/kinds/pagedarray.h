// PagedArray: a growing array in fixed pages of 65,536 elements, so that
// growth never moves what is stored and costs one allocation per page. A
// page is left uninitialized until elements are pushed: for a trivial T its
// memory is not touched before use.
// For the per-term tables of the E1 kind, which reach tens of millions of
// entries. One thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

namespace quern {

template <class T>
class PagedArray {
  static_assert(std::is_trivially_default_constructible_v<T>, "pages are left unwritten until used");

 public:
  static constexpr size_t kPageBits = 16;
  static constexpr size_t kPageSize = size_t{1} << kPageBits;

  T& operator[](size_t i) { return m_pages[i >> kPageBits][i & (kPageSize - 1)]; }
  const T& operator[](size_t i) const { return m_pages[i >> kPageBits][i & (kPageSize - 1)]; }
  size_t size() const { return m_size; }
  void clear() {
    m_pages.clear();
    m_size = 0;
  }

  T& push_back(const T& value) {
    if ((m_size & (kPageSize - 1)) == 0) m_pages.push_back(std::make_unique_for_overwrite<T[]>(kPageSize));
    T& slot = m_pages.back()[m_size & (kPageSize - 1)];
    slot = value;
    ++m_size;
    return slot;
  }

 private:
  std::vector<std::unique_ptr<T[]>> m_pages;
  size_t m_size = 0;
};

}  // namespace quern
