#include "platform/platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "support/tempdir.h"

namespace quern::platform {
namespace {

TEST(Platform, FilesDirectoriesAndTimes) {
  test::TempDir dir;
  const std::string sub = dir.file("sub");
  EXPECT_TRUE(makeDirectory(sub.c_str()));
  EXPECT_FALSE(makeDirectory(sub.c_str()));
  bool directory = false;
  ASSERT_TRUE(isDirectory(sub.c_str(), directory));
  EXPECT_TRUE(directory);

  const std::string a = dir.file("a"), b = dir.file("b");
  test::writeFile(a, "new");
  test::writeFile(b, "old");
  EXPECT_TRUE(renameReplace(a.c_str(), b.c_str()));
  EXPECT_FALSE(fileExists(a.c_str()));
  EXPECT_EQ(test::readFile(b), "new");
  ASSERT_TRUE(isDirectory(b.c_str(), directory));
  EXPECT_FALSE(directory);

  ASSERT_TRUE(setModificationTime(b.c_str(), 1700000000));
  int64_t seconds = 0;
  ASSERT_TRUE(modificationTime(b.c_str(), seconds));
  EXPECT_EQ(seconds, 1700000000);
  EXPECT_FALSE(modificationTime(a.c_str(), seconds));

  std::vector<std::string> names;
  ASSERT_TRUE(listDirectory(dir.path().c_str(), names));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"b", "sub"}));
  EXPECT_FALSE(listDirectory(a.c_str(), names));

  EXPECT_FALSE(removeDirectory(dir.path().c_str())) << "not empty";
  EXPECT_TRUE(removeFile(b.c_str()));
  EXPECT_TRUE(removeDirectory(sub.c_str()));
}

TEST(Platform, ThreadsRunAndJoin) {
  std::atomic<int> value{0};
  Thread thread;
  ASSERT_TRUE(thread.start([&] {
    sleepMilliseconds(5);
    value = 7;
  }));
  EXPECT_TRUE(thread.started());
  EXPECT_TRUE(thread.join());
  EXPECT_EQ(value, 7);
  EXPECT_FALSE(thread.started());
}

TEST(Platform, ProcessFacts) {
  uint64_t bytes = 0;
  ASSERT_TRUE(processMemory(bytes));
  EXPECT_GT(bytes, 0u);
  EXPECT_TRUE(raiseOpenFileLimit(2048));
  EXPECT_GT(currentTime(), 1700000000);
  EXPECT_FALSE(errorText(2).empty());
}

}  // namespace
}  // namespace quern::platform
