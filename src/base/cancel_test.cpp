#include "base/cancel.h"

#include <gtest/gtest.h>

#include <string>

#include "support/raises.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::writeFile;

// Waits until the watcher has finished `count` more looks: a look that began
// after the caller's change has then been made.
void waitForLooks(const Canceler& canceler, uint32_t count) {
  const uint32_t target = canceler.looks() + count;
  while (canceler.looks() < target) platform::sleepMilliseconds(1);
}

TEST(Canceler, CurrentMustBeSet) {
  Canceler::setCurrent(nullptr);
  EXPECT_TRUE(test::raises([] { Canceler::current(); }, 1, "canceler is null, need to set it first"));
  {
    Canceler canceler(5);
    Canceler::setCurrent(&canceler);
    EXPECT_EQ(&Canceler::current(), &canceler);
  }
  EXPECT_THROW(Canceler::current(), std::logic_error) << "a destroyed canceler is no longer current";
}

TEST(Canceler, FlagFollowsTheFileBothWays) {
  test::TempDir dir;
  const std::string file = dir.file("cancel");
  Canceler canceler(2);
  waitForLooks(canceler, 2);
  EXPECT_EQ(canceler.IsCancelled(), 0u) << "no path, no cancel";
  canceler.setPath(file);
  waitForLooks(canceler, 2);
  EXPECT_EQ(canceler.IsCancelled(), 0u);
  writeFile(file, "");
  waitForLooks(canceler, 2);
  EXPECT_EQ(canceler.IsCancelled(), 1u) << "a file created during the run";
  ASSERT_TRUE(platform::removeFile(file.c_str()));
  waitForLooks(canceler, 2);
  EXPECT_EQ(canceler.IsCancelled(), 0u) << "a removed file lifts the cancel";
}

TEST(Canceler, NewPathClearsTheFlagAtOnce) {
  test::TempDir dir;
  const std::string file = dir.file("cancel");
  writeFile(file, "");
  Canceler canceler(1);
  canceler.setPath(file);
  waitForLooks(canceler, 2);
  ASSERT_EQ(canceler.IsCancelled(), 1u) << "a file that exists before the query";
  // Many hand-overs while the watcher looks: no look of the old path may
  // set the flag after the new path cleared it.
  for (int i = 0; i < 200; ++i) {
    canceler.setPath(dir.file("other" + std::to_string(i)));
    EXPECT_EQ(canceler.IsCancelled(), 0u);
    canceler.setPath(file);
  }
  canceler.setPath(dir.file("other"));
  waitForLooks(canceler, 2);
  EXPECT_EQ(canceler.IsCancelled(), 0u);
}

TEST(Canceler, StopWakesASleepingWatcher) {
  // With a day between looks this test only ends if stop interrupts the sleep;
  // the first look comes at start.
  Canceler canceler(24u * 3600u * 1000u);
  while (canceler.looks() < 1) platform::sleepMilliseconds(1);
  canceler.stop();
  canceler.stop();
  EXPECT_EQ(canceler.looks(), 1u);
}

}  // namespace
}  // namespace quern
