#include "qvloggen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "clock.h"
#include "options.h"
#include "support/tempdir.h"

namespace quern::qvloggen {
namespace {

using test::readFile;
using test::TempDir;

Options small(uint64_t seed) { return {.seed = seed, .bytes = 256u << 10, .maxBlock = 64u << 10}; }

TEST(QvlogGen, SameSeedSameBytes) {
  TempDir one, two, three;
  const Summary a = generate(small(5), one.path());
  const Summary b = generate(small(5), two.path());
  const Summary c = generate(small(6), three.path());
  EXPECT_EQ(readFile(a.logPath), readFile(b.logPath));
  EXPECT_EQ(readFile(a.truthPath), readFile(b.truthPath));
  EXPECT_EQ(readFile(one.file("groups.ini")), readFile(two.file("groups.ini")));
  EXPECT_NE(readFile(a.logPath), readFile(c.logPath));
  EXPECT_EQ(readFile(a.logPath).size(), a.bytes);
}

// Group paths of every depth, so that every group level gets values.
TEST(QvlogGen, GroupsOfEveryDepth) {
  TempDir dir;
  generate({.seed = 9, .bytes = 256u << 10, .groups = 80, .maxBlock = 64u << 10}, dir.path());
  const std::string groups = readFile(dir.file("groups.ini"));
  EXPECT_EQ(groups.substr(0, 18), "[global]\ncount=80\n");
  std::set<size_t> depths;
  for (size_t at = groups.find("name="); at != std::string::npos; at = groups.find("name=", at + 1)) {
    const std::string name = groups.substr(at + 5, groups.find('\n', at) - at - 5);
    EXPECT_EQ(name[0], '/');
    depths.insert(static_cast<size_t>(std::count(name.begin(), name.end(), '/')));
  }
  EXPECT_EQ(*depths.begin(), 1u);
  EXPECT_EQ(*depths.rbegin(), 15u);
}

TEST(QvlogGen, RefusesBadOptions) {
  TempDir dir;
  EXPECT_THROW(generate({.start = "2026-11-22 10:00:00"}, dir.path()), std::invalid_argument);
  EXPECT_THROW(generate({.maxBlock = 3u << 20}, dir.path()), std::invalid_argument);
  Options options;

  std::string out, error;
  ASSERT_TRUE(parseOptions({"--size", "2M", "--seed", "77", "--no-truth", "--out", "x", "--level", "6"}, options, out,
                           error));
  EXPECT_TRUE(options.bytes == 2u << 20 && options.seed == 77u && !options.truth && out == "x" && options.level == 6);
  const std::pair<std::vector<std::string>, const char*> bad[] = {{{"--size", "2Q"}, "bad value for --size: 2Q"},
                                                                 {{"--users", "99999999999"}, "--users"},
                                                                 {{"--blocks"}, "missing value for --blocks"},
                                                                 {{"--colour", "red"}, "--colour"}};
  for (const auto& [args, words] : bad) {
    EXPECT_FALSE(parseOptions(args, options, out, error)) << words;
    EXPECT_NE(error.find(words), std::string::npos) << error;
  }
}

TEST(QvlogGenClock, CarriesAcrossMonthsYearsAndStopsAt9999) {
  Clock clock;
  ASSERT_TRUE(clock.set("2024/02/28 23:59:59"));
  clock.advance(1);
  EXPECT_STREQ(clock.text(), "2024/02/29 00:00:00");
  clock.advance(86400);
  EXPECT_STREQ(clock.text(), "2024/03/01 00:00:00");
  ASSERT_TRUE(clock.set("2025/12/31 23:59:58"));
  clock.advance(3);
  EXPECT_STREQ(clock.text(), "2026/01/01 00:00:01");
  EXPECT_EQ(clock.epochSeconds(), 1767225601);
  ASSERT_TRUE(clock.set("9999/12/31 23:59:00"));
  clock.advance(3600);
  EXPECT_STREQ(clock.text(), "9999/12/31 23:59:59");
  EXPECT_FALSE(clock.set("2023/02/29 00:00:00"));
  EXPECT_FALSE(clock.set("2023/1/29 00:00:00"));
  EXPECT_STREQ(clock.text(), "9999/12/31 23:59:59");
}

}  // namespace
}  // namespace quern::qvloggen
