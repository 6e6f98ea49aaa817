#include "quern.h"

#include "tracegate.h"

#include <gtest/gtest.h>

#include "support/tempdir.h"

namespace {

TEST(Exports, InitOpensTheTraceLog) {
  quern::test::TempDir dir;
  const std::string log = dir.file("quern.log");
  ASSERT_EQ(qrn_indexer_init(log.c_str(), -1), 0) << qrn_indexer_error();
  trace_write(1, "quern", 1, "hello %d", 5);
  trace_set_path(nullptr, 0);
  EXPECT_NE(quern::test::readFile(log).find("quern:1 hello 5"), std::string::npos);
  EXPECT_NE(qrn_indexer_error(), nullptr);
}

}  // namespace
