#include "storage/crc.h"

#include <gtest/gtest.h>


namespace quern {
namespace {

TEST(Crc, CheckValues) {
  EXPECT_EQ(crc64("123456789", 9), 0xCAA717168609F281ULL);
  EXPECT_EQ(crc64("abc", 3), 0xF10896EFC03E0514ULL);
  EXPECT_EQ(crc64(nullptr, 0), 0xFFFFFFFFFFFFFFFFULL);
  const CCrc crc;
  EXPECT_EQ(crc.compute("123456789", 9), 0xCBF43926u);
  EXPECT_EQ(crc.compute("abc", 3), 0x352441C2u);
}

}  // namespace
}  // namespace quern
