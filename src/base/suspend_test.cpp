#include "base/suspend.h"

#include <gtest/gtest.h>

#include <string>

#include "support/raises.h"
#include "support/tempdir.h"

namespace quern {
namespace {

class SuspenderTest : public ::testing::Test {
 protected:
  SuspenderTest() { Suspender::setCurrent(&m_suspender); }
  void waitForLooks() {
    const uint32_t target = m_suspender.looks() + 2;
    while (m_suspender.looks() < target) platform::sleepMilliseconds(1);
  }
  // Writes the flag file `age` seconds old and lets the watcher see it.
  void touch(int64_t age) {
    test::writeFile(m_file, "");
    ASSERT_TRUE(platform::setModificationTime(m_file.c_str(), platform::currentTime() - age));
    waitForLooks();
  }

  test::TempDir m_dir;
  std::string m_file = m_dir.file("suspend_flag");
  Suspender m_suspender{1, 1};
};

TEST(Suspender, CurrentMustBeSet) {
  Suspender::setCurrent(nullptr);
  EXPECT_TRUE(test::raises([] { Suspender::CheckSuspend(); }, 1, "suspender is null, need to set it first"));
  {
    Suspender suspender(5, 1);
    Suspender::setCurrent(&suspender);
    EXPECT_FALSE(Suspender::CheckSuspend()) << "without a path it never suspends";
  }
  EXPECT_THROW(Suspender::current(), std::logic_error) << "a destroyed suspender is no longer current";
}

TEST_F(SuspenderTest, FreshnessIs120Seconds) {
  m_suspender.setPath(m_file);
  waitForLooks();
  EXPECT_FALSE(Suspender::CheckSuspend()) << "no file: never suspended";
  touch(119);
  EXPECT_EQ(m_suspender.suspended(), 1u);
  EXPECT_TRUE(Suspender::CheckSuspend());
  EXPECT_TRUE(Suspender::CheckSuspend()) << "each test point sleeps again while the file stays fresh";
  touch(121);
  EXPECT_EQ(m_suspender.suspended(), 0u);
  EXPECT_FALSE(Suspender::CheckSuspend());
}

TEST_F(SuspenderTest, OnlyANamedFileSuspendsAndItsRemovalDoesNotEndIt) {
  touch(0);
  EXPECT_FALSE(Suspender::CheckSuspend()) << "the file is not named yet";
  m_suspender.setPath(m_file);
  waitForLooks();
  EXPECT_TRUE(Suspender::CheckSuspend());
  ASSERT_TRUE(platform::removeFile(m_file.c_str()));
  waitForLooks();
  EXPECT_TRUE(Suspender::CheckSuspend());
  touch(500);
  EXPECT_FALSE(Suspender::CheckSuspend()) << "an old file ends it";
}

}  // namespace
}  // namespace quern
