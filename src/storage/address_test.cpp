#include "storage/address.h"

#include <gtest/gtest.h>

#include <string>

#include "storage/textutil.h"

namespace quern {
namespace {

std::string roundTrip(const char* text) {
  uint8_t address[16];
  if (addressFromText(text, address) != 0) return "refused";
  char out[kAddressTextSize];
  const int length = addressToText(address, out);
  EXPECT_EQ(length, static_cast<int>(std::string(out).size()));
  return out;
}

TEST(Address, IPv4StoredFormAndRoundTrip) {
  uint8_t address[16];
  ASSERT_EQ(addressFromText("1.2.3.4", address), 0);
  const uint8_t expected[16] = {0xFF, 0xBF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4};
  EXPECT_EQ(0, memcmp(address, expected, 16));
  EXPECT_EQ(roundTrip("1.2.3.4"), "1.2.3.4");
  EXPECT_EQ(roundTrip("010.0.0.1"), "10.0.0.1");
  EXPECT_EQ(roundTrip("255.255.255.255"), "255.255.255.255");
}

TEST(Address, IPv6StoredFormAndCompression) {
  uint8_t address[16];
  ASSERT_EQ(addressFromText("::1", address), 0);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(address[i], 0);
  EXPECT_EQ(address[15], 1);
  EXPECT_EQ(roundTrip("::1"), "::1");
  EXPECT_EQ(roundTrip("::"), "::");
  EXPECT_EQ(roundTrip("::ffff:1.2.3.4"), "::ffff:1.2.3.4");
  EXPECT_EQ(roundTrip("::1.2.3.4"), "::1.2.3.4");
  EXPECT_EQ(roundTrip("2001:DB8:0:0:1:0:0:1"), "2001:db8::1:0:0:1");  // first of equal runs
  EXPECT_EQ(roundTrip("2001:db8:0:1:1:1:1:1"), "2001:db8:0:1:1:1:1:1");  // a single zero stays
  EXPECT_EQ(roundTrip("fe80::"), "fe80::");
  EXPECT_EQ(roundTrip("1:2:3:4:5:6:7:8"), "1:2:3:4:5:6:7:8");
  EXPECT_EQ(roundTrip("1:2:3:4:5:6:1.2.3.4"), "1:2:3:4:5:6:102:304");
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
  split(parts, "one", ',');
  EXPECT_EQ(parts, (std::vector<std::string>{"one"}));
}

}  // namespace
}  // namespace quern
