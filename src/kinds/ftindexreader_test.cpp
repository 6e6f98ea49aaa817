#include "kinds/ftindexreader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/cancel.h"
#include "kinds/ftindexer.h"
#include "storage/closingblock.h"
#include "support/fttexts.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::raises;

void writeIndex(const std::vector<std::string>& texts, const std::string& path) {
  FtIndexer indexer(nullptr);
  for (const std::string& text : texts) indexer.add(text.data(), static_cast<uint32_t>(text.size()));
  COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
  indexer.write(&output);
}

std::unique_ptr<SFWAHVector> find(FtIndexReader& reader, const std::string& text) {
  return reader.search(text.data(), static_cast<uint32_t>(text.size()));
}

class FtIndexReaderTest : public ::testing::Test {
 protected:
  FtIndexReaderTest() { Canceler::setCurrent(&m_canceler); }
  ~FtIndexReaderTest() override { Canceler::setCurrent(nullptr); }

  // The records of the index at `path` that hold `text`, or none for null.
  test::Bits records(FtIndexReader& reader, const std::string& text, size_t count) {
    std::unique_ptr<SFWAHVector> found = find(reader, text);
    return found ? test::bitsOf(*found) : test::Bits(count);
  }

  test::TempDir m_dir;
  Canceler m_canceler{1000};
};

TEST_F(FtIndexReaderTest, PhrasesStandSideBySideInOrder) {
  const std::string path = m_dir.file("f.ft");
  writeIndex({"a b c", "x a b c y", "a c b", "a x b c", "b a a", "a b a", "c"}, path);
  FtIndexReader reader(path.c_str());
  EXPECT_EQ(records(reader, "A B-c", 7), test::bitsWithOnes(7, {1, 2}));
  EXPECT_EQ(records(reader, "a a", 7), test::bitsWithOnes(7, {5})) << "only neighbouring positions";
  EXPECT_EQ(records(reader, "a", 7), test::bitsWithOnes(7, {1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(records(reader, "c b a", 7), test::Bits(7)) << "words there, never in this order: no bit, not null";
  EXPECT_NE(find(reader, "c b a"), nullptr);
  EXPECT_EQ(find(reader, "a b zulu"), nullptr) << "the last word is no term";
  EXPECT_EQ(find(reader, " ,.!"), nullptr) << "a text without words";
  EXPECT_TRUE(raises([&] { find(reader, ""); }, 2, "invalid param data or size(0)"));
  EXPECT_EQ(reader.segments(), std::vector<uint32_t>{7});
  reader.close();
  reader.close();
  EXPECT_TRUE(raises([&] { find(reader, "a"); }, 1, "search on closed reader " + path));
}

// Random texts (English, Chinese, mixed, repeated words, none) searched for
// random phrases of one to four words, against the texts' own words.
TEST_F(FtIndexReaderTest, SearchAgreesWithTheModel) {
  const std::string path = m_dir.file("f.ft");
  std::mt19937 random(83);
  for (int round = 0; round < 12; ++round) {
    std::vector<std::string> texts(1 + random() % 400);
    std::vector<test::Words> words(texts.size());
    for (size_t i = 0; i < texts.size(); ++i) texts[i] = test::randomText(random, words[i]);
    writeIndex(texts, path);
    FtIndexReader reader(path.c_str());
    for (int query = 0; query < 40; ++query) {
      const test::Words phrase = test::randomPhrase(random, words[random() % words.size()]);
      EXPECT_EQ(records(reader, test::phraseText(phrase), texts.size()), test::phraseModel(words, phrase))
          << test::phraseText(phrase) << " round " << round;
    }
  }
}

// Every flipped byte and every cut: a clean refusal, or a reader that
// answers; never a crash (the sanitizer build runs this too).
TEST_F(FtIndexReaderTest, DamagedFilesAreRefusedCleanly) {
  const std::string path = m_dir.file("f.ft");
  writeIndex({"alpha beta", "beta", "gamma alpha beta alpha"}, path);
  const std::string good = test::readFile(path);
  const size_t body = good.size() - closing::kSize;
  const std::string checksum = ",read " + path + " fail, checksum incorrect";
  const auto tryOpen = [&](const std::string& content) {
    test::writeFile(path, content);
    return test::failureText([&] {
      FtIndexReader reader(path.c_str());
      for (const char* text : {"alpha beta", "beta alpha", "gamma", "alpha"}) find(reader, text);
    });
  };
  const auto step = [&](size_t at) { return at + 1 < body ? 1 : 13; };
  for (size_t at = 0; at < good.size(); at += step(at)) {
    std::string flipped = good;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x5A);
    const std::string failure = tryOpen(flipped);
    EXPECT_TRUE(at < body || (failure.find(",construct FtIndexReader fail, ") != std::string::npos &&
                              failure.find(checksum) != std::string::npos))
        << at << failure;
  }
  for (size_t size = 0; size < good.size(); size += step(good.size() - size)) {
    EXPECT_NE(tryOpen(good.substr(0, size)), "no failure") << size;
  }
  EXPECT_TRUE(raises([] { FtIndexReader(nullptr); }, 2, "Invalid param(file)"));
}

}  // namespace
}  // namespace quern
