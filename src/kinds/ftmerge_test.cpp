#include "kinds/ftmerge.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/cancel.h"
#include "base/suspend.h"
#include "kinds/ftindexer.h"
#include "storage/closingblock.h"
#include "support/fttexts.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::raises;
using Texts = std::vector<std::string>;

void writeSource(const std::string& path, const Texts& texts) {
  FtIndexer indexer(nullptr);
  for (const std::string& text : texts) indexer.add(text.data(), static_cast<uint32_t>(text.size()));
  COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
  indexer.write(&out);
}

void mergeFiles(const std::vector<std::string>& sources, const std::string& target) {
  std::vector<std::unique_ptr<FtIndexReader>> readers;
  FtMerger merger(static_cast<uint32_t>(sources.size()));
  for (const std::string& source : sources) {
    readers.push_back(std::make_unique<FtIndexReader>(source.c_str()));
    readers.back()->close();
    merger.insert(readers.back().get());
  }
  COutputDesc out(std::make_unique<CFileOutput>(target.c_str()));
  merger.merge(&out);
}

int64_t tableOffset(const std::string& file) {
  return static_cast<int64_t>(loadLE64(file.data() + file.size() - closing::kSize + closing::kTableOffset));
}

// The file without its segment list: the blocks and the rows.
std::string withoutSegments(const std::string& file) {
  const int64_t table = tableOffset(file);
  const uint32_t segments = loadLE32(file.data() + table);
  const size_t rows = static_cast<size_t>(table) + 4 + 4 * segments;
  return file.substr(0, static_cast<size_t>(table)) + file.substr(rows, file.size() - closing::kSize - rows);
}

std::vector<uint32_t> segmentsOf(const std::string& file) {
  const int64_t table = tableOffset(file);
  std::vector<uint32_t> segments(loadLE32(file.data() + table));
  for (size_t i = 0; i < segments.size(); ++i) segments[i] = loadLE32(file.data() + table + 4 + 4 * i);
  return segments;
}

class FtMergeTest : public ::testing::Test {
 protected:
  FtMergeTest() {
    Suspender::setCurrent(&m_suspender);
    Canceler::setCurrent(&m_canceler);
  }
  ~FtMergeTest() override {
    Suspender::setCurrent(nullptr);
    Canceler::setCurrent(nullptr);
  }
  // Writes each source and gives their paths.
  std::vector<std::string> sources(const std::vector<Texts>& texts) {
    std::vector<std::string> paths;
    for (const Texts& source : texts) {
      paths.push_back(m_dir.file("s" + std::to_string(paths.size()) + ".ft"));
      writeSource(paths.back(), source);
    }
    return paths;
  }

  test::TempDir m_dir;
  Suspender m_suspender{1, 1};  // never named a file: never suspends
  Canceler m_canceler{1000};
};

// A merge copies streams and rewrites first deltas, so its blocks and rows
// are those of one index over all the records; only the segments differ.
// The sources: terms in one of them only, in the first and last of three, a
// source with records but no term, and a base that makes a seam's first
// delta two bytes long.
TEST_F(FtMergeTest, BlocksAreThoseOfOneIndexOverAllRecords) {
  const Texts first = {"alpha bravo", "bravo", "alpha alpha charlie"};
  const Texts wordless(130, "...");
  const Texts last = {"charlie alpha", "delta"};
  const std::vector<std::string> paths = sources({first, wordless, last});
  Texts all = first;
  all.insert(all.end(), wordless.begin(), wordless.end());
  all.insert(all.end(), last.begin(), last.end());
  writeSource(m_dir.file("all.ft"), all);
  mergeFiles(paths, m_dir.file("m.ft"));
  const std::string merged = test::readFile(m_dir.file("m.ft"));
  EXPECT_EQ(withoutSegments(merged), withoutSegments(test::readFile(m_dir.file("all.ft"))));
  EXPECT_EQ(segmentsOf(merged), (std::vector<uint32_t>{3, 130, 2}));

  // A term of the first source alone keeps its block byte for byte.
  mergeFiles({paths[0], paths[1]}, m_dir.file("m2.ft"));
  EXPECT_EQ(withoutSegments(test::readFile(m_dir.file("m2.ft"))), withoutSegments(test::readFile(paths[0])));
}

TEST_F(FtMergeTest, SourcesWithoutTerms) {
  const std::vector<std::string> paths = sources({{"..."}, {"!", "?"}});
  mergeFiles(paths, m_dir.file("m.ft"));
  const std::string merged = test::readFile(m_dir.file("m.ft"));
  ASSERT_EQ(merged.size(), 16u + closing::kSize);
  EXPECT_EQ(merged.substr(0, 16), test::bytes({2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(tableOffset(merged), 0);

  mergeFiles({}, m_dir.file("none.ft"));
  EXPECT_EQ(test::readFile(m_dir.file("none.ft")).substr(0, 8), std::string(8, '\0'));
  EXPECT_EQ(FtIndexReader(m_dir.file("none.ft").c_str()).termCount(), 0u);
}

// Random sources merged, then merged again with one more: phrases found in
// the result are those of the records one source after the other.
TEST_F(FtMergeTest, MergedOfMergedAgreesWithTheModel) {
  std::mt19937 random(91);
  for (int round = 0; round < 5; ++round) {
    std::vector<Texts> texts(2 + random() % 4);
    std::vector<test::Words> words;
    for (Texts& source : texts) {
      source.resize(1 + random() % 150);
      for (std::string& text : source) {
        words.emplace_back();
        text = test::randomText(random, words.back());
      }
    }
    const std::vector<std::string> paths = sources(texts);
    mergeFiles(std::vector<std::string>(paths.begin(), paths.end() - 1), m_dir.file("m1.ft"));
    mergeFiles({m_dir.file("m1.ft"), paths.back()}, m_dir.file("m2.ft"));
    FtIndexReader merged(m_dir.file("m2.ft").c_str());
    ASSERT_EQ(merged.segments().size(), texts.size());
    for (int query = 0; query < 30; ++query) {
      const test::Words phrase = test::randomPhrase(random, words[random() % words.size()]);
      const std::string text = test::phraseText(phrase);
      std::unique_ptr<SFWAHVector> found = merged.search(text.data(), static_cast<uint32_t>(text.size()));
      EXPECT_EQ(found ? test::bitsOf(*found) : test::Bits(words.size()), test::phraseModel(words, phrase))
          << text << " round " << round;
    }
  }
}

TEST_F(FtMergeTest, Refusals) {
  const std::vector<std::string> paths = sources({{"alpha"}});
  FtIndexReader reader(paths[0].c_str());
  FtIndexMergeEntry entry(0, &reader);
  EXPECT_TRUE(raises([&] { entry.lessThan(&entry, nullptr); }, 2, "Invalid param"));

  std::string damaged = test::readFile(paths[0]);
  damaged[damaged.size() - 1] ^= 1;
  test::writeFile(paths[0], damaged);
  FtMerger merger(1);
  EXPECT_TRUE(raises([&] { merger.insert(&reader); }, 2, "read " + paths[0] + " fail, checksum incorrect"));
  const std::string text = test::failureText([&] { merger.insert(&reader); });
  EXPECT_NE(text.find(",m_merger insert fail, "), std::string::npos) << text;
  EXPECT_NE(text.find(",construct FtIndexMergeEntry fail, "), std::string::npos) << text;

  Suspender::setCurrent(nullptr);
  FtMerger none(0);
  COutputDesc out(std::make_unique<CFileOutput>(m_dir.file("m.ft").c_str()));
  EXPECT_TRUE(raises([&] { none.merge(&out); }, 1, "suspender is null, need to set it first"));
}

}  // namespace
}  // namespace quern
