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

Options small(uint64_t seed) {
  Options options;
  options.seed = seed;
  options.bytes = 256u << 10;
  options.maxBlock = 64u << 10;
  return options;
}

TEST(QvlogGen, SameSeedSameBytes) {
  TempDir one, two, three;
  const Summary a = generate(small(5), one.path());
  const Summary b = generate(small(5), two.path());
  const Summary c = generate(small(6), three.path());
  EXPECT_GE(a.bytes, 256u << 10);
  EXPECT_EQ(readFile(a.logPath), readFile(b.logPath));
  EXPECT_EQ(readFile(a.truthPath), readFile(b.truthPath));
  EXPECT_EQ(readFile(one.file("groups.ini")), readFile(two.file("groups.ini")));
  EXPECT_NE(readFile(a.logPath), readFile(c.logPath));
  EXPECT_EQ(readFile(a.logPath).size(), a.bytes);
}

// Group paths of every depth (the collector checks each name's CRC); the
// config and resource files a host needs.
TEST(QvlogGen, IniFilesMatchTheLog) {
  TempDir dir;
  Options options = small(9);
  options.groups = 80;
  generate(options, dir.path());
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

  const std::string config = readFile(dir.file("config.ini"));
  EXPECT_EQ(config.substr(0, config.find('\n', 10)),
            "[Global]\nindexFields=g1,g2,g3,g4,g5,g6,g7,g8,g9,g10,g11,g12,g13,g14,g15,user,host,serv,snap,app,"
            "private,time,result");
  EXPECT_NE(config.find("[time]\nindexer=range\n"), std::string::npos);
  EXPECT_NE(config.find("[result]\nindexer=ft\n"), std::string::npos);
  const std::string resource = readFile(dir.file("resource.ini"));
  for (const char* id : {"RES_MAIL_RECV_SEND=", "RES_HTTP_APP=", "RES_WEB_MAIL=", "RES_MAIL="}) {
    EXPECT_NE(resource.find(std::string("\n") + id), std::string::npos) << id;
  }
}

TEST(QvlogGen, RefusesBadOptions) {
  TempDir dir;
  Options options;
  options.start = "2026-11-22 10:00:00";
  EXPECT_THROW(generate(options, dir.path()), std::invalid_argument);
  options = Options();
  options.maxBlock = 3u << 20;
  EXPECT_THROW(generate(options, dir.path()), std::invalid_argument);

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
