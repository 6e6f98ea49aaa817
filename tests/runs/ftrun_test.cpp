// The full-text field end to end: a generated log indexed with the shipped
// configuration in one pass, in a pass per block joined at the end, and in
// slices joined by a merge run. The texts the records hold come from the same
// log indexed with every field an equality field: the terms of `result` are
// then the texts.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "base/cancel.h"
#include "index/index.h"
#include "index/indexmerger.h"
#include "storage/closingblock.h"
#include "support/logdir.h"
#include "wordcleave.h"

namespace quern {
namespace {

using Ids = std::vector<int32_t>;

Ids cut(const std::string& text) {
  Ids ids(word_cleave_run(text.data(), static_cast<uint32_t>(text.size())));
  for (uint32_t i = 0; i < ids.size(); ++i) ids[i] = word_cleave_word(i);
  return ids;
}

// The blocks and rows of a field file: all but the segment list.
std::string blocksAndRows(const std::string& path) {
  const std::string file = test::readFile(path);
  const auto table = static_cast<size_t>(loadLE64(file.data() + file.size() - closing::kSize + closing::kTableOffset));
  const size_t rows = table + 4 + 4 * size_t{loadLE32(file.data() + table)};
  return file.substr(0, table) + file.substr(rows, file.size() - closing::kSize - rows);
}

class FtRunTest : public ::testing::Test {
 protected:
  FtRunTest() {
    Canceler::setCurrent(&m_canceler);
    std::string names, sections;
    for (uint32_t id = 0; id < m_log.fields->fieldCount(); ++id) {
      names += (id == 0 ? "" : ",") + m_log.fields->fieldName(id);
      sections += "[" + m_log.fields->fieldName(id) + "]\nindexer=e1\n";
    }
    test::writeFile("texts.ini", "[Global]\nindexFields=" + names + "\n" + sections);
    const GlobalConfig config("texts.ini");
    // The equality table stands in for the shipped one during this run.
    auto standIn = std::make_unique<FieldsInfo>(config);
    std::swap(m_log.fields, standIn);
    const std::string dir = m_log.index("texts", 0, m_log.summary.bytes);
    for (const auto& [text, bits] : m_log.terms(dir, "result")) {
      m_texts.resize(bits.size());
      for (size_t r = 0; r < bits.size(); ++r) {
        if (bits[r]) m_texts[r] = text;
      }
    }
    std::swap(m_log.fields, standIn);
    for (const std::string& text : m_texts) m_words.push_back(cut(text));
  }
  ~FtRunTest() override { Canceler::setCurrent(nullptr); }

  // Phrases cut from the records' texts at blanks (hits) and joined from two
  // records (mostly misses) give the records whose words hold them.
  void expectPhrases(const std::string& dir) {
    IndexReader reader(dir, *m_log.fields);
    reader.loadSummary();
    ASSERT_EQ(reader.recordCount(), m_texts.size());
    FieldIndexReader* field = reader.fieldReader("result");
    std::mt19937 random(7);
    const auto piece = [&](size_t words) {
      const std::string& text = m_texts[random() % m_texts.size()];
      std::vector<std::string> chunks(1);
      for (char c : text) {
        if (c == ' ') {
          chunks.emplace_back();
        } else {
          chunks.back().push_back(c);
        }
      }
      const size_t from = random() % chunks.size();
      std::string out;
      for (size_t i = from; i < std::min(chunks.size(), from + words); ++i) out += chunks[i] + " ";
      return out;
    };
    int hits = 0;
    for (int query = 0; query < 60; ++query) {
      const std::string text = query % 3 == 0 ? piece(1) + piece(1) : piece(1 + random() % 3);
      const Ids phrase = cut(text);
      test::Bits expected(m_texts.size());
      for (size_t r = 0; r < m_words.size(); ++r) {
        expected[r] = !phrase.empty() &&
                      std::search(m_words[r].begin(), m_words[r].end(), phrase.begin(), phrase.end()) != m_words[r].end();
      }
      std::unique_ptr<SFWAHVector> found = field->search(text.data(), static_cast<uint32_t>(text.size()));
      EXPECT_EQ(found ? test::bitsOf(*found) : test::Bits(m_texts.size()), expected) << text;
      hits += std::count(expected.begin(), expected.end(), true) != 0 ? 1 : 0;
    }
    EXPECT_GT(hits, 30);
  }

  test::LogDir m_log{23, 8, 64u << 10};
  Canceler m_canceler{1000};
  std::vector<std::string> m_texts;  // by record
  std::vector<Ids> m_words;
};

TEST_F(FtRunTest, PassesAndMergesAgreeWithTheTexts) {
  const uint64_t end = m_log.summary.bytes;
  const std::string one = m_log.index("one", 0, end);
  expectPhrases(one);
  const std::string many = m_log.index("many", 0, end, "0");
  expectPhrases(many);
  EXPECT_EQ(blocksAndRows(many + "result.ft"), blocksAndRows(one + "result.ft"));

  // Slices of two blocks, and a slice without records among them.
  const auto& blocks = m_log.summary.blocks;
  std::string input;
  std::vector<std::string> dirs;
  for (size_t b = 0; b + 1 < blocks.size(); b += 2) {
    dirs.push_back(m_log.index("slice" + std::to_string(b), blocks[b].offset, blocks[b + 1].offset + 1));
  }
  dirs.insert(dirs.begin() + 1, m_log.index("empty", end, end + 1));
  for (size_t i = 0; i < dirs.size(); ++i) input += "i" + std::to_string(i) + "=" + dirs[i] + "\n";
  test::writeFile("merge.ini", "[In]\ncount=" + std::to_string(dirs.size()) + "\n" + input + "[Out]\npath=merged/\n");
  std::filesystem::create_directory("merged");
  IndexMerger(*m_log.fields, 1, 1).mergeFile("merge.ini");
  expectPhrases("merged/");
  EXPECT_EQ(blocksAndRows("merged/result.ft"), blocksAndRows(one + "result.ft"));
}

}  // namespace
}  // namespace quern
