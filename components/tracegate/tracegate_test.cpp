#include "tracegate.h"

#include <gtest/gtest.h>

#include "support/tempdir.h"

namespace {

TEST(TraceGate, WritesLinesUpToTheOptionLevelAndAppends) {
  quern::test::TempDir dir;
  const std::string path = dir.path() + "/trace.log";
  trace_set_path(path.c_str(), 1);
  trace_write(0, "fileio", 12, "open %s failed", "x");
  trace_write(2, "fileio", 13, "not written");
  trace_set_path(path.c_str(), -1);
  trace_write(3, "collector", 7, "skip unknow frame type %d", 3);
  trace_set_path(nullptr, 0);
  trace_write(0, "fileio", 14, "logging is off");

  const std::string text = quern::test::readFile(path);
  EXPECT_NE(text.find(" L0 fileio:12 open x failed\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("not written"), std::string::npos);
  EXPECT_NE(text.find(" L3 collector:7 skip unknow frame type 3\n"), std::string::npos);
  EXPECT_EQ(text.find("logging is off"), std::string::npos);
  EXPECT_STREQ(trace_get_path(), "");
}

}  // namespace
