// ft_collisions: how many pairs of distinct words share a term id, over the
// words of the generator's vocabulary (every list of tools/qvloggen/vocabulary,
// cut as the index cuts it) and over 1,000,000 distinct made-up words (2 to
// 12 ASCII letters and digits, fixed seed). Beside each count, what a hash
// spread evenly over the id space would give: n(n - 1) / 2 / ids.
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "qvloggen/truthquery.h"
#include "qvloggen/vocabulary.h"
#include "wordcleave.h"

namespace {

// Pairs of distinct words with one id.
void report(const char* what, const std::set<std::string>& words) {
  std::unordered_map<int32_t, uint64_t> perId;
  for (const std::string& word : words) {
    if (word_cleave_run(word.data(), static_cast<uint32_t>(word.size())) != 1) {
      std::printf("%s: \"%s\" is not one word\n", what, word.c_str());
      continue;
    }
    ++perId[word_cleave_word(0)];
  }
  uint64_t pairs = 0;
  for (const auto& [id, count] : perId) pairs += count * (count - 1) / 2;
  const double n = static_cast<double>(words.size());
  std::printf("%s: %zu distinct words, %llu colliding pairs (an even spread: %.2f)\n", what, words.size(),
              static_cast<unsigned long long>(pairs), n * (n - 1) / 2 / word_cleave_terms_size());
}

// The words of a vocabulary text, cut as the generator's truth cuts them;
// `report` checks that each is one word to the cutter.
void addWords(std::set<std::string>& words, std::string_view text) {
  for (std::string& word : quern::qvloggen::truthWords(std::string(text))) words.insert(std::move(word));
}

}  // namespace

int main() {
  using namespace quern::qvloggen;
  std::set<std::string> vocabulary;
  for (const auto list : {englishWords(), chineseWords(), givenNames(), familyNames(), departments(), domains(),
                          fileExtensions()}) {
    for (std::string_view text : list) addWords(vocabulary, text);
  }
  for (const Service& service : services()) {
    addWords(vocabulary, service.name);
    for (std::string_view app : service.apps) addWords(vocabulary, app);
  }
  report("generator vocabulary", vocabulary);

  std::mt19937_64 random(1);
  const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::set<std::string> made;
  while (made.size() < 1000000) {
    std::string word(2 + random() % 11, ' ');
    for (char& c : word) c = alphabet[random() % 36];
    made.insert(word);
  }
  report("made-up words", made);
  return 0;
}
