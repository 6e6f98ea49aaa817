#include "wordcleave.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "wordclasses.h"

namespace {

// The documented term id, written from its description alone: FNV-1a 64 of
// the word's bytes, MurmurHash3's 64-bit finalizer, remainder by 2^31 - 1.
int32_t referenceId(const std::string& word) {
  uint64_t h = 0xCBF29CE484222325ull;
  for (unsigned char c : word) h = (h ^ c) * 0x100000001B3ull;
  h = (h ^ (h >> 33)) * 0xFF51AFD7ED558CCDull;
  h = (h ^ (h >> 33)) * 0xC4CEB9FE1A85EC53ull;
  h ^= h >> 33;
  return static_cast<int32_t>(h % 2147483647u);
}

std::vector<int32_t> cut(const std::string& text) {
  const unsigned int count = word_cleave_run(text.data(), static_cast<unsigned int>(text.size()));
  EXPECT_NE(count, 0xFFFFFFFFu) << word_cleave_error();
  std::vector<int32_t> ids;
  for (unsigned int i = 0; i < count; ++i) ids.push_back(word_cleave_word(i));
  EXPECT_EQ(word_cleave_word(count), -1);
  return ids;
}

std::vector<int32_t> idsOf(const std::vector<std::string>& words) {
  std::vector<int32_t> ids;
  for (const std::string& word : words) ids.push_back(referenceId(word));
  return ids;
}

TEST(WordCleave, TheWordRuleOnExamples) {
  struct Case {
    std::string text;
    std::vector<std::string> words;
  };
  const Case cases[] = {
      {"Please confirm the quarterly report.", {"please", "confirm", "the", "quarterly", "report"}},
      {"QuErN quern QUERN", {"quern", "quern", "quern"}},
      {"2026/11/22 10:00:00 v2.5rc1", {"2026", "11", "22", "10", "00", "00", "v2", "5rc1"}},
      {"会议报告", {"会", "议", "报", "告"}},
      {"budget预算2026年Q1", {"budget", "预", "算", "2026", "年", "q1"}},
      {"カタカナ ひらがな", {"カ", "タ", "カ", "ナ", "ひ", "ら", "が", "な"}},
      {"한국어 sub", {"한", "국", "어", "sub"}},
      // Only ASCII is folded; other letters and digits of any script run on.
      {"Über naïve Αθήνα ٣٤x", {"Über", "naïve", "Αθήνα", "٣٤x"}},
      // Invalid bytes separate: a stray continuation, a cut sequence, an
      // overlong form, a surrogate, a value above 0x10FFFF, a bad lead.
      {"ab\x80" "cd", {"ab", "cd"}},
      {"ab\xE4\xBC" "cd", {"ab", "cd"}},
      {"ab\xC0\xAF" "cd\xED\xA0\x80" "ef\xF4\x90\x80\x80" "gh\xFFij", {"ab", "cd", "ef", "gh", "ij"}},
      {"\xE4\xBC\xE4\xBC\x9A", {"会"}},  // a cut sequence, then a whole one
      {"end\xC3", {"end"}},
      // Punctuation of any script, symbols and the separator of result texts.
      {"a\xE3\x80\x81" "b\xEF\xBC\x8C" "c [mirtoks] ©™€", {"a", "b", "c", "mirtoks"}},
      {"", {}},
      {" \t\n!?", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(cut(c.text), idsOf(c.words)) << c.text;
}

// The ids of a fixed list of words, the same in every build: a change of the
// hash or of the fold would make stored indexes unreadable.
TEST(WordCleave, FixedWordsKeepTheirIds) {
  const std::vector<std::pair<std::string, int32_t>> known = {
      {"the", 1326048159}, {"report", 2100579617}, {"quern", 1090623033},
      {"2026", 126685517}, {"会", 1532585735}, {"mirtoks", 212417944},
  };
  EXPECT_EQ(word_cleave_terms_size(), 2147483647);
  for (const auto& [word, id] : known) {
    EXPECT_EQ(referenceId(word), id) << word;
    EXPECT_EQ(cut(word), std::vector<int32_t>{id}) << word;
  }
}

TEST(WordCleave, FailuresAndTheirText) {
  EXPECT_EQ(word_cleave_run(nullptr, 3), 0xFFFFFFFFu);
  EXPECT_STREQ(word_cleave_error(), "null text");
  EXPECT_EQ(word_cleave_word(0), -1) << "a failed run keeps no words";
  EXPECT_EQ(word_cleave_run(nullptr, 0), 0u);
  EXPECT_STREQ(word_cleave_error(), "");
  EXPECT_EQ(word_cleave_run("two words", 9), 2u);
  EXPECT_EQ(word_cleave_word(1), referenceId("words"));
}

TEST(WordCleave, ClassTableAgreesWithKnownCharacters) {
  using wordcleave::classOf;
  EXPECT_STREQ(wordcleave::kUnicodeVersion, "14.0.0");
  for (uint32_t cp : {0x41u, 0x7Au, 0x30u, 0xE9u, 0x3B1u, 0x663u, 0x10400u, 0x1D7CEu}) {
    EXPECT_EQ(classOf(cp), wordcleave::kRun) << std::hex << cp;
  }
  for (uint32_t cp : {0x4E2Du, 0x3400u, 0x20000u, 0xF900u, 0x3042u, 0x30A2u, 0x30FCu, 0xFF76u, 0xAC00u, 0xD7A3u}) {
    EXPECT_EQ(classOf(cp), wordcleave::kSingle) << std::hex << cp;
  }
  for (uint32_t cp : {0x20u, 0x2Du, 0x3000u, 0x3001u, 0xFF0Cu, 0x300u, 0xE000u, 0x10FFFFu, 0xD7A4u}) {
    EXPECT_EQ(classOf(cp), wordcleave::kSeparator) << std::hex << cp;
  }
}

// Random texts made of pieces whose words are known: ASCII words in random
// case, runs of non-ASCII letters, CJK characters, separators of every kind
// and invalid bytes, against the list of words they must give.
TEST(WordCleave, RandomTextsAgainstTheirWords) {
  std::mt19937 random(19);
  const auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
  const std::vector<std::string> runs = {"ab", "X9", "0", "été", "Ωμέγα", "٣", "zz"};
  const std::vector<std::string> singles = {"中", "文", "カ", "ひ", "한", "𠀀"};
  // A cut sequence ends in a blank, so that the next piece cannot complete it.
  const std::vector<std::string> separators = {" ", ",", "\t", "\xE3\x80\x80", "\xFF", "\x80", "\xC0\xAF",
                                               "\xED\xA0\x80", "\xE4\xBC ", "-", "\xCC\x80"};
  for (int round = 0; round < 300; ++round) {
    std::string text;
    std::vector<std::string> words;
    std::string open;  // the run being built
    const auto close = [&] {
      if (!open.empty()) words.push_back(open);
      open.clear();
    };
    for (size_t piece = pick(12); piece > 0; --piece) {
      const size_t kind = pick(3);
      if (kind == 0) {
        std::string run = runs[pick(runs.size())];
        std::string folded = run;
        for (size_t i = 0; i < run.size(); ++i) {
          if (run[i] >= 'a' && run[i] <= 'z' && pick(2) == 0) run[i] = static_cast<char>(run[i] - 'a' + 'A');
          if (folded[i] >= 'A' && folded[i] <= 'Z') folded[i] = static_cast<char>(folded[i] - 'A' + 'a');
        }
        text += run;
        open += folded;
      } else if (kind == 1) {
        close();
        const std::string& single = singles[pick(singles.size())];
        text += single;
        words.push_back(single);
      } else {
        close();
        text += separators[pick(separators.size())];
      }
    }
    close();
    EXPECT_EQ(cut(text), idsOf(words)) << text;
  }
}

}  // namespace
