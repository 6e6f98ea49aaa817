#include "frame/suspend.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "support/tempdir.h"

namespace quern {
namespace {

using test::TempDir;
using test::writeFile;

void waitForLooks(const Suspender& suspender, uint32_t count) {
  const uint32_t target = suspender.looks() + count;
  while (suspender.looks() < target) platform::sleepMilliseconds(1);
}

class SuspenderTest : public ::testing::Test {
 protected:
  SuspenderTest() { Suspender::setCurrent(&m_suspender); }
  // Writes the flag file `age` seconds old and lets the watcher see it.
  void touch(int64_t age) {
    writeFile(m_file, "");
    ASSERT_TRUE(platform::setModificationTime(m_file.c_str(), platform::currentTime() - age));
    waitForLooks(m_suspender, 2);
  }

  TempDir m_dir;
  std::string m_file = m_dir.file("suspend_flag");
  Suspender m_suspender{1, 1};
};

TEST(Suspender, CurrentMustBeSet) {
  Suspender::setCurrent(nullptr);
  try {
    Suspender::CheckSuspend();
    FAIL() << "no current suspender must raise";
  } catch (const std::logic_error& failure) {
    EXPECT_NE(std::string(failure.what()).find("suspend"), std::string::npos);
    EXPECT_NE(std::string(failure.what()).find(",suspender is null, need to set it first"), std::string::npos);
  }
  {
    Suspender suspender(5, 1);
    Suspender::setCurrent(&suspender);
    EXPECT_FALSE(Suspender::CheckSuspend()) << "without a path it never suspends";
  }
  EXPECT_THROW(Suspender::current(), std::logic_error) << "a destroyed suspender is no longer current";
}

TEST_F(SuspenderTest, FreshnessIs120Seconds) {
  m_suspender.setPath(m_file);
  waitForLooks(m_suspender, 2);
  EXPECT_FALSE(Suspender::CheckSuspend()) << "no file: never suspended";
  touch(119);
  EXPECT_EQ(m_suspender.suspended(), 1u);
  EXPECT_TRUE(Suspender::CheckSuspend());
  EXPECT_TRUE(Suspender::CheckSuspend()) << "each test point sleeps again while the file stays fresh";
  touch(121);
  EXPECT_EQ(m_suspender.suspended(), 0u);
  EXPECT_FALSE(Suspender::CheckSuspend());
}

TEST_F(SuspenderTest, RemovingTheFileKeepsTheSuspension) {
  m_suspender.setPath(m_file);
  touch(0);
  ASSERT_TRUE(platform::removeFile(m_file.c_str()));
  waitForLooks(m_suspender, 2);
  EXPECT_TRUE(Suspender::CheckSuspend());
  touch(500);
  EXPECT_FALSE(Suspender::CheckSuspend()) << "an old file ends it";
}

TEST_F(SuspenderTest, AnOldFileDoesNotSuspend) {
  touch(0);
  EXPECT_FALSE(Suspender::CheckSuspend()) << "the file is not named yet";
  m_suspender.setPath(m_file);
  waitForLooks(m_suspender, 2);
  EXPECT_TRUE(Suspender::CheckSuspend());
}

}  // namespace
}  // namespace quern
