#include "kinds/pagedarray.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace quern {
namespace {

// Across several page boundaries: every element keeps its place and value,
// and references stay valid while the array grows.
TEST(PagedArray, ElementsStayWhereTheyArePutAcrossPages) {
  PagedArray<uint32_t> array;
  const size_t count = 3 * PagedArray<uint32_t>::kPageSize + 5;
  uint32_t& first = array.push_back(7);
  for (size_t i = 1; i < count; ++i) array.push_back(static_cast<uint32_t>(i * 2654435761u));
  ASSERT_EQ(array.size(), count);
  EXPECT_EQ(&first, &array[0]);
  EXPECT_EQ(array[0], 7u);
  for (size_t i = 1; i < count; ++i) ASSERT_EQ(array[i], static_cast<uint32_t>(i * 2654435761u)) << i;
  array.clear();
  EXPECT_EQ(array.size(), 0u);
  EXPECT_EQ(array.push_back(9), 9u);
}

}  // namespace
}  // namespace quern
