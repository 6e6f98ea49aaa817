// Test helpers for full text: random texts whose words are known, phrases
// taken from them or made up, written as query texts, and the plain model
// of a phrase search: the records whose words hold the phrase's words side
// by side, in order.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/sfwah.h"

namespace quern::test {

using Words = std::vector<std::string>;

// A text of one of several kinds (English, Chinese, mixed, one word
// repeated, no word at all) and, in `words`, the words it cuts into:
// English words in random case (folded in `words`), digits, single CJK
// characters, between separators of several kinds.
inline std::string randomText(std::mt19937& random, Words& words) {
  static const Words english = {"the", "report", "budget", "meeting", "server", "q3", "2026", "alpha"};
  static const Words chinese = {"会", "议", "报", "告", "预", "算"};
  static const Words separators = {" ", ", ", "\t", "\xE3\x80\x81", "-", " \xFF "};
  const auto pick = [&](const Words& from) -> const std::string& { return from[random() % from.size()]; };
  words.clear();
  std::string text;
  const uint32_t kind = random() % 5;
  if (kind == 4) return random() % 2 == 0 ? " ..." : "[mirtoks]" + std::string(random() % 2, '!');
  const uint32_t count = 1 + random() % 14;
  for (uint32_t i = 0; i < count; ++i) {
    const bool han = kind == 1 || (kind == 2 && random() % 2 == 0);
    const std::string& word = kind == 3 ? english[0] : pick(han ? chinese : english);
    // Single CJK characters need no separator; English words do.
    if (!text.empty() && !(han && random() % 2 == 0)) text += pick(separators);
    std::string written = word;
    for (char& c : written) {
      if (random() % 3 == 0) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    text += written;
    words.push_back(word);
  }
  return text;
}

// A phrase of one to four words: from `words` when it has that many, else
// made up from the same vocabulary as `randomText`.
inline Words randomPhrase(std::mt19937& random, const Words& words) {
  static const Words vocabulary = {"the", "report", "budget", "server", "2026", "会", "议", "报", "zeta"};
  Words phrase(1 + random() % 4);
  if (random() % 2 == 0 && words.size() >= phrase.size()) {
    const size_t from = random() % (words.size() - phrase.size() + 1);
    std::copy(words.begin() + static_cast<ptrdiff_t>(from),
              words.begin() + static_cast<ptrdiff_t>(from + phrase.size()), phrase.begin());
  } else {
    for (std::string& word : phrase) word = vocabulary[random() % vocabulary.size()];
  }
  return phrase;
}

// The phrase as a query text: words joined by blanks, some upper case.
inline std::string phraseText(const Words& phrase) {
  std::string text;
  for (const std::string& word : phrase) text += (text.empty() ? "" : " ") + word;
  if (!text.empty() && std::islower(static_cast<unsigned char>(text[0]))) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  }
  return text;
}

// Bit r is set when record r + 1's words hold the phrase.
inline Bits phraseModel(const std::vector<Words>& records, const Words& phrase) {
  Bits bits(records.size());
  for (size_t r = 0; r < records.size(); ++r) {
    bits[r] = std::search(records[r].begin(), records[r].end(), phrase.begin(), phrase.end()) != records[r].end();
  }
  return bits;
}

}  // namespace quern::test
