#include "interrupt.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "support/tempdir.h"

namespace quern::cli {
namespace {

bool appears(const std::string& path) {
  for (int i = 0; i < 500 && !std::filesystem::exists(path); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return std::filesystem::exists(path);
}

TEST(CancelOnInterrupt, CtrlCMakesTheCancelFile) {
  const test::TempDir dir;
  const std::string path = dir.file("query.cancel");
  {
    const CancelOnInterrupt cancel(path);
    EXPECT_FALSE(cancel.interrupted());
    EXPECT_FALSE(std::filesystem::exists(path));
    std::raise(SIGINT);
    EXPECT_TRUE(cancel.interrupted());
    EXPECT_TRUE(appears(path)) << "the file the library looks at";
  }
  EXPECT_FALSE(std::filesystem::exists(path)) << "the file it made is removed again";

  // A cancel file that was there before is the host's: left alone.
  test::writeFile(path, "");
  {
    const CancelOnInterrupt cancel(path);
    std::raise(SIGINT);
    EXPECT_TRUE(cancel.interrupted());
  }
  EXPECT_TRUE(std::filesystem::exists(path));
  {
    const CancelOnInterrupt cancel(dir.file("other.cancel"));
    EXPECT_FALSE(cancel.interrupted()) << "each query starts uninterrupted";
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("other.cancel")));
}

}  // namespace
}  // namespace quern::cli
