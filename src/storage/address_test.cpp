#include "storage/address.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "storage/textutil.h"

namespace quern {
namespace {

TEST(Address, StoredFormsAndRoundTrips) {
  uint8_t address[16];
  ASSERT_EQ(addressFromText("1.2.3.4", address), 0);
  const uint8_t v4[16] = {0xFF, 0xBF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4};
  EXPECT_EQ(0, std::memcmp(address, v4, 16));
  ASSERT_EQ(addressFromText("::1", address), 0);
  const uint8_t v6[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  EXPECT_EQ(0, std::memcmp(address, v6, 16));

  const std::pair<const char*, const char*> cases[] = {
      {"1.2.3.4", "1.2.3.4"}, {"010.0.0.1", "10.0.0.1"}, {"255.255.255.255", "255.255.255.255"},
      {"::1", "::1"}, {"::", "::"}, {"::ffff:1.2.3.4", "::ffff:1.2.3.4"}, {"::1.2.3.4", "::1.2.3.4"},
      {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},     // the first of equal zero runs
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // a single zero stays
      {"fe80::", "fe80::"}, {"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"}, {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"}};
  for (const auto& [text, expected] : cases) {
    ASSERT_EQ(addressFromText(text, address), 0) << text;
    char out[kAddressTextSize];
    EXPECT_EQ(addressToText(address, out), static_cast<int>(std::strlen(expected))) << text;
    EXPECT_STREQ(out, expected);
  }
}

TEST(Address, Refusals) {
  uint8_t address[16] = {7};
  for (const char* bad : {"1.2.3", "1.2.3.4.5", "256.1.1.1", "1..2.3", "1.2.3.4.", ".1.2.3", "1.2.3.a", "",
                          "1:2", ":1::", "1::2::3", "12345::", "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7::8",
                          "1:", "ffbf::1", "FFBF:0::1", "::1.2.3", "g::1"}) {
    EXPECT_EQ(addressFromText(bad, address), -1) << bad;
  }
  EXPECT_EQ(address[0], 7) << "a refused text leaves the output as it was";
  uint8_t quad[4];
  EXPECT_EQ(parseIPv4("1.2.3.4", quad), 1);
  EXPECT_EQ(parseIPv6("1.2.3.4", address), 0);
}

TEST(TextUtil, SplitDropsEmptyPieces) {
  std::vector<std::string> parts{"stale"};
  split(parts, ",a,,b,", ',');
  EXPECT_EQ(parts, (std::vector<std::string>{"a", "b"}));
  split(parts, "", ',');
  EXPECT_TRUE(parts.empty());
}

}  // namespace
}  // namespace quern
