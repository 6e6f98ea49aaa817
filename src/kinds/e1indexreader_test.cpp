#include "kinds/e1indexreader.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "kinds/e1indexer.h"
#include "storage/closingblock.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::raises;
using test::TempDir;
using Model = std::map<std::string, test::Bits>;

// Values of one of several shapes: long runs, few values with NUL bytes and
// lengths that differ only by a trailing byte, unique ones, or values that
// share beginnings of 0 to 40 bytes.
std::vector<std::string> randomValues(std::mt19937& random, uint32_t count) {
  const auto draw = [&](uint32_t high) { return std::uniform_int_distribution<uint32_t>(0, high)(random); };
  const uint32_t shape = draw(3);
  std::vector<std::string> values;
  while (values.size() < count) {
    if (shape == 0) {
      values.insert(values.end(), 1 + draw(300), std::string(1 + draw(2), static_cast<char>('a' + draw(4))));
    } else if (shape == 1) {
      std::string value(1 + draw(3), '\0');
      for (char& c : value) c = static_cast<char>(draw(2) == 0 ? 0 : 0xF0 + draw(3));
      values.push_back(value);
    } else if (shape == 2) {
      values.push_back(std::to_string(values.size()));
    } else {
      values.push_back(std::string(draw(40), draw(1) == 0 ? 'x' : '\0') + std::string(draw(2), '\0') + "ab"[draw(1)]);
    }
  }
  values.resize(count);
  return values;
}

void writeIndex(const std::vector<std::string>& values, const std::string& path) {
  E1Indexer indexer(nullptr);
  for (const std::string& value : values) indexer.add(value.data(), static_cast<uint32_t>(value.size()));
  COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
  indexer.write(&output);
}

std::unique_ptr<SFWAHVector> find(E1IndexReader& reader, const std::string& value) {
  return reader.search(value.data(), static_cast<uint32_t>(value.size()));
}

// Scan mode is walked term by term by every merge of the merge tests.
TEST(E1IndexReader, SearchAgreesWithModel) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  std::mt19937 random(61);
  for (int round = 0; round < 20; ++round) {
    const std::vector<std::string> values = randomValues(random, 1 + random() % 600);
    Model model;
    for (size_t i = 0; i < values.size(); ++i) model.try_emplace(values[i], values.size()).first->second[i] = true;
    writeIndex(values, path);
    E1IndexReader reader(path.c_str());
    ASSERT_EQ(reader.termCount(), model.size());
    ASSERT_EQ(reader.recordCounts(), std::vector<uint32_t>{static_cast<uint32_t>(values.size())});
    uint32_t index = 0;
    for (const auto& [value, bits] : model) {
      EXPECT_EQ(reader.term(index++), value);
      std::unique_ptr<SFWAHVector> first = find(reader, value), second = find(reader, value);
      first.reset();  // the second result stands on its own
      ASSERT_NE(second, nullptr);
      EXPECT_EQ(test::bitsOf(*second), bits);
      EXPECT_EQ(find(reader, value + "z"), nullptr);
    }
  }
}

TEST(E1IndexReader, EmptyFileAndMisuse) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  writeIndex({}, path);
  E1IndexReader reader(path.c_str());
  EXPECT_EQ(reader.termCount(), 0u);
  EXPECT_EQ(find(reader, "a"), nullptr);
  EXPECT_TRUE(raises([&] { reader.search(nullptr, 1); }, 2, "invalid data or size(1)"));
  EXPECT_TRUE(raises([&] { reader.term(0); }, 1, "invalid param(term index (0))"));
  reader.beginScan();
  std::string term;
  EXPECT_TRUE(raises([&] { reader.nextTerm(term); }, 1, "no term left to scan in " + path));
  reader.close();
  EXPECT_TRUE(raises([&] { find(reader, "a"); }, 1, "search on closed reader " + path));
  EXPECT_TRUE(raises([] { E1IndexReader(nullptr); }, 2, "Invalid param(file)"));
}

// Every flipped byte and every cut: a clean refusal, or a reader that finds
// every term it lists; never a crash (the sanitizer build runs this too).
TEST(E1IndexReader, DamagedFilesAreRefusedCleanly) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  writeIndex({"A", std::string("B\0", 2), "A", "C", "B"}, path);
  const std::string good = test::readFile(path);
  const size_t body = good.size() - closing::kSize;
  const std::string checksumText = "open " + path + " fail, meta checksum incorrect";
  const auto tryOpen = [&](const std::string& content) {
    test::writeFile(path, content);
    return test::failureText([&] {
      E1IndexReader reader(path.c_str());
      for (uint32_t i = 0; i < reader.termCount(); ++i) EXPECT_NE(find(reader, reader.term(i)), nullptr);
    });
  };
  // Every byte of the body; the closing block and short cuts are alike
  // throughout, so a stride samples them.
  const auto step = [&](size_t at) { return at + 1 < body ? 1 : 13; };
  for (size_t at = 0; at < good.size(); at += step(at)) {
    std::string flipped = good;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x5A);
    const std::string failure = tryOpen(flipped);
    EXPECT_TRUE(at < body || failure.find(checksumText) != std::string::npos) << at << failure;
  }
  for (size_t size = 0; size < good.size(); size += step(good.size() - size)) {
    EXPECT_NE(tryOpen(good.substr(0, size)), "no failure") << size;
  }
}

// Counts and lengths that point past the end are refused before anything
// of their size is allocated.
TEST(E1IndexReader, AbsurdCountsAreRefused) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  // The table starts at 16, behind the one posting list. The closing block
  // guards only itself, so a patched table still opens up to its checks.
  const auto openWith = [&](uint32_t tableAt, uint32_t value) {
    writeIndex({"A"}, path);
    std::string content = test::readFile(path);
    storeLE32(reinterpret_cast<uint8_t*>(content.data()) + 16 + tableAt, value);
    test::writeFile(path, content);
    E1IndexReader reader(path.c_str());
  };
  const std::string open = "open " + path + " fail, ";
  EXPECT_TRUE(raises([&] { openWith(0, 0xFFFFFFF0u); }, 2, open + "segment count 4294967280 is invalid"));
  EXPECT_TRUE(raises([&] { openWith(8, 0x7FFFFFFFu); }, 2, open + "term count 2147483647 is invalid"));
  EXPECT_TRUE(raises([&] { openWith(12, 0xFFFFFFFFu); }, 2, open + "term length 4294967295 is invalid"));
  EXPECT_TRUE(raises([&] { openWith(17, 16); }, 2, open + "posting offset 16 is invalid"));
}

}  // namespace
}  // namespace quern
