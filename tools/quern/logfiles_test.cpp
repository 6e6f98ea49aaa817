#include "logfiles.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/tempdir.h"

namespace quern::cli {
namespace {

TEST(LogFiles, LocatorsAndNumbers) {
  const auto locator = parseLocator("17:4294967295:3");
  ASSERT_TRUE(locator.has_value());
  EXPECT_EQ(locator->log, 17u);
  EXPECT_EQ(locator->offset, 4294967295u);
  EXPECT_EQ(locator->ordinal, 3u);
  for (const char* bad : {"", "1:2", "1:2:3:4", "1::3", "a:2:3", "1:4294967296:0", "-1:2:3", " 1:2:3"}) {
    EXPECT_FALSE(parseLocator(bad).has_value()) << bad;
  }
  EXPECT_EQ(logNumber("20261122.qvlog"), 20261122u);
  EXPECT_EQ(logNumber("sample.qvlog"), 0u);
  EXPECT_EQ(logNumber("7b.qvlog"), 7u);
  EXPECT_EQ(logNumber("4294967297.qvlog"), 1u) << "wraps as the library's reading does";
}

TEST(LogFiles, FoundByNumberInADirectoryOrOneFileForAll) {
  const test::TempDir dir;
  for (const char* name : {"17.qvlog", "17b.qvlog", "sample.qvlog", "5.qvlog.truth", "5.txt", "6.qvlog"}) {
    test::writeFile(dir.file(name), "");
  }
  const LogFiles logs(dir.path());
  EXPECT_EQ(std::filesystem::path(logs.path(6)), std::filesystem::path(dir.file("6.qvlog")));
  EXPECT_EQ(std::filesystem::path(logs.path(0)), std::filesystem::path(dir.file("sample.qvlog")));
  const auto problem = [&](uint32_t number) {
    try {
      logs.path(number);
    } catch (const std::runtime_error& failure) {
      return std::string(failure.what());
    }
    return std::string("found");
  };
  EXPECT_EQ(problem(5), "no log of number 5 in " + dir.path()) << "only *.qvlog files are logs";
  EXPECT_NE(problem(17).find("log number 17 is ambiguous in " + dir.path() + ":"), std::string::npos);
  EXPECT_NE(problem(17).find(" 17b.qvlog"), std::string::npos);

  const LogFiles single(dir.file("6.qvlog"));
  EXPECT_EQ(single.path(99), dir.file("6.qvlog"));
  EXPECT_THROW(LogFiles(dir.file("missing")), std::runtime_error);
}

}  // namespace
}  // namespace quern::cli
