// Slicing a generated log through the C exports, against the generator's own
// block list.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quern.h"
#include "qvloggen/qvloggen.h"
#include "support/tempdir.h"

namespace quern {
namespace {

std::vector<std::string> slices(const std::string& path, int expected) {
  const int count = qrn_indexer_slice(path.c_str());
  EXPECT_EQ(count, expected) << qrn_indexer_error();
  std::vector<std::string> texts;
  for (int i = 0; i < count; ++i) texts.push_back(qrn_indexer_block(static_cast<unsigned>(i)));
  EXPECT_EQ(qrn_indexer_block(static_cast<unsigned>(count < 0 ? 0 : count)), nullptr);
  return texts;
}

std::string sliceText(const qvloggen::TruthBlock& block) {
  return std::to_string(block.offset) + "," + std::to_string(block.end) + "," + std::to_string(block.sliceTag);
}

// The generated blocks, then a copy cut inside the third block (the reader's
// tests check the line it logs), then short files (each slice replaces the
// list of the one before), then refusals.
TEST(Slice, MatchesTheGeneratedBlocksStopsAtACutAndRefusesOnlyWhatCannotOpen) {
  test::TempDir dir;
  const qvloggen::Summary summary = qvloggen::generate({.seed = 41, .bytes = 3u << 20, .truth = false}, dir.path());
  ASSERT_GT(summary.blocks.size(), 3u);
  std::vector<std::string> expected;
  for (const auto& block : summary.blocks) expected.push_back(sliceText(block));
  EXPECT_EQ(slices(summary.logPath, static_cast<int>(expected.size())), expected);

  const std::string cut = dir.file("cut.qvlog");
  test::writeFile(cut, test::readFile(summary.logPath).substr(0, summary.blocks[2].offset + 40));
  expected.resize(2);
  EXPECT_EQ(slices(cut, 2), expected);

  for (const size_t size : {0, 27, 28}) {
    test::writeFile(cut, std::string(size, 'q'));
    EXPECT_EQ(slices(cut, 0).size(), 0u) << size;
  }
  const std::string missing = dir.file("missing.qvlog");
  EXPECT_EQ(qrn_indexer_slice(missing.c_str()), -1);
  EXPECT_NE(std::string(qrn_indexer_error()).find("fileio    :"), std::string::npos) << qrn_indexer_error();
  EXPECT_NE(std::string(qrn_indexer_error()).find("open file " + missing + " failed"), std::string::npos);
  EXPECT_EQ(qrn_indexer_slice(nullptr), -1);
  EXPECT_NE(std::string(qrn_indexer_error()).find("construct CQvlogReader fail"), std::string::npos);
}

}  // namespace
}  // namespace quern
