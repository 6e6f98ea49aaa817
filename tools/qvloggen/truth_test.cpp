#include "truth.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/tempdir.h"

namespace quern::qvloggen {
namespace {

TEST(QvlogGenTruth, RoundTripsEscapesAndHiddenOrdinals) {
  test::TempDir dir;
  const std::string path = dir.file("t");
  TruthFrame frame;
  frame.blockOffset = 28;
  frame.ordinal = -1;
  frame.type = 8;
  frame.userCrc = 18446744073709551615ULL;
  frame.snap = "tab\there\nline\\slash\r";
  frame.time = "2026/11/22 10:00:00";
  frame.items = {{"url", "a\tb"}, {"", ""}};
  {
    std::ofstream out(path, std::ios::binary);
    writeTruthHead(out);
    writeTruthBlock(out, TruthBlock{28, 100, 3, true, 500, 1});
    writeTruthFrame(out, frame);
  }
  const Truth truth = readTruth(path);
  ASSERT_EQ(truth.blocks.size(), 1u);
  EXPECT_EQ(truth.blocks[0].end, 100u);
  EXPECT_TRUE(truth.blocks[0].compressed);
  ASSERT_EQ(truth.frames.size(), 1u);
  EXPECT_EQ(truth.frames[0].ordinal, -1);
  EXPECT_EQ(truth.frames[0].userCrc, frame.userCrc);
  EXPECT_EQ(truth.frames[0].snap, frame.snap);
  EXPECT_EQ(truth.frames[0].items, frame.items);

  test::writeFile(path, "# qvloggen truth 1\nblock\t1\t2\n");
  EXPECT_THROW(readTruth(path), std::runtime_error);
  test::writeFile(path, "something else\n");
  EXPECT_THROW(readTruth(path), std::runtime_error);
}

}  // namespace
}  // namespace quern::qvloggen
