#include "storage/textutil.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace quern {
namespace {

TEST(TrimBlanks, CutsBlanksAndBelToCrAtBothEnds) {
  EXPECT_EQ(trimBlanks(" \a\b\t\n\v\f\r a b \r\n"), "a b");
  EXPECT_EQ(trimBlanks("\x0e" "a\x1f"), "\x0e" "a\x1f") << "other control bytes stay";
  EXPECT_EQ(trimBlanks(" \t "), "");
  EXPECT_EQ(trimBlanks(""), "");
}

TEST(ParseDecimal, ReadsLikeA32BitRuntime) {
  const std::pair<const char*, uint32_t> unsignedCases[] = {
      {"", 0},     {"abc", 0}, {"  \t12abc", 12}, {"+7", 7}, {"-1", 4294967295u}, {"4294967295", 4294967295u},
      {"4294967296", 4294967295u}, {"-99999999999", 4294967295u}, {"0x10", 0}, {"10000001", 10000001}};
  for (const auto& [text, expected] : unsignedCases) EXPECT_EQ(parseDecimal(text), expected) << text;
  const std::pair<const char*, int32_t> signedCases[] = {
      {"", 0},   {"x", 0}, {" -5 ", -5}, {"+12z", 12}, {"2147483647", INT32_MAX}, {"2147483648", INT32_MAX},
      {"-2147483648", INT32_MIN}, {"-2147483649", INT32_MIN}, {"-99999999999999999999", INT32_MIN},
      {"99999999999999999999", INT32_MAX}};
  for (const auto& [text, expected] : signedCases) EXPECT_EQ(parseSignedDecimal(text), expected) << text;
}

}  // namespace
}  // namespace quern
