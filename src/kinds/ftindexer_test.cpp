#include "kinds/ftindexer.h"

#include <gtest/gtest.h>

#include <string>

#include "storage/closingblock.h"
#include "support/sfwah.h"
#include "support/tempdir.h"
#include "wordcleave.h"

namespace quern {
namespace {

using test::bytes;
using test::raises;

std::string le32(uint32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); }
std::string le64(uint64_t value) { return std::string(reinterpret_cast<const char*>(&value), 8); }

int32_t idOf(const std::string& word) {
  EXPECT_EQ(word_cleave_run(word.data(), static_cast<uint32_t>(word.size())), 1u);
  return word_cleave_word(0);
}

std::string writeFile(FtIndexer& indexer, const std::string& path) {
  {
    COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
    indexer.write(&output);
  }
  return test::readFile(path);
}

void add(FtIndexer& indexer, const std::string& text) {
  indexer.add(text.data(), static_cast<uint32_t>(text.size()));
}

uint64_t tableOffset(const std::string& file) {
  return loadLE64(file.data() + file.size() - closing::kSize + closing::kTableOffset);
}

// Three values whose words are the terms [s, l, s], [l], [s], s the one of
// "alpha" and "bravo" with the smaller id: the worked example with s for 7
// and l for 9.
TEST(FtIndexer, ThreeValuesByteForByte) {
  test::TempDir dir;
  std::string s = "alpha", l = "bravo";
  if (idOf(s) > idOf(l)) std::swap(s, l);
  FtIndexer indexer(nullptr);
  for (const std::string& text : {s + " " + l + ", " + s, l, s}) add(indexer, text);
  const std::string file = writeFile(indexer, dir.file("f.ft"));
  const std::string expected =
      bytes({1, 2, 2, 1}) + le64(4) + le32(3) + bytes({1, 2, 1}) + le64(3) +  // s, from 0
      bytes({1, 1, 1, 1}) + le64(4) + le32(2) + bytes({2, 1}) + le64(2) +     // l, from 27
      le32(1) + le32(3) + le32(2) +                                           // T = 53
      le32(static_cast<uint32_t>(idOf(s))) + le64(16) + le64(27) +
      le32(static_cast<uint32_t>(idOf(l))) + le64(43) + le64(53);
  ASSERT_EQ(file.size(), expected.size() + closing::kSize);
  EXPECT_EQ(file.substr(0, expected.size()), expected);
  EXPECT_EQ(tableOffset(file), 53u);
  EXPECT_EQ(indexer.termCount(), 2u);
}

// Values without words are records all the same; an indexer with nothing
// to list writes the table alone.
TEST(FtIndexer, RecordsWithoutWords) {
  test::TempDir dir;
  FtIndexer indexer(nullptr);
  for (const char* text : {"[mirtoks]", " !? ", "\xFF\xFE", "", "word"}) {
    if (*text != '\0') add(indexer, text);
  }
  EXPECT_EQ(indexer.recordCount(), 4u);
  const std::string file = writeFile(indexer, dir.file("f.ft"));
  EXPECT_EQ(file.substr(tableOffset(file), 12), le32(1) + le32(4) + le32(2)) << "mirtoks and word";

  FtIndexer wordless(nullptr);
  add(wordless, "...");
  const std::string empty = writeFile(wordless, dir.file("e.ft"));
  ASSERT_EQ(empty.size(), 12u + closing::kSize);
  EXPECT_EQ(empty.substr(0, 12), le32(1) + le32(1) + le32(0));
  EXPECT_EQ(tableOffset(empty), 0u);
}

TEST(FtIndexer, RefusalsAndCaches) {
  FtIndexer indexer(nullptr);
  add(indexer, "some words");
  EXPECT_TRUE(raises([&] { indexer.add(nullptr, 3); }, 2, "invalid param data or size(3)"));
  EXPECT_TRUE(raises([&] { indexer.add("x", 0); }, 2, "invalid param data or size(0)"));
  EXPECT_EQ(indexer.recordCount(), 1u);
  EXPECT_GE(indexer.cacheBytes(), CMemCache::kMinChunk);
  EXPECT_TRUE(raises([&] { indexer.write(nullptr); }, 2, "invalid param(desc)"));

  CMemCache shared;
  FtIndexer sharing(&shared);
  add(sharing, "some words");
  EXPECT_TRUE(raises([&] { (void)sharing.cacheBytes(); }, 1, "no memory cache owned"));
  EXPECT_GE(shared.totalBytes(), CMemCache::kMinChunk);
}

}  // namespace
}  // namespace quern
