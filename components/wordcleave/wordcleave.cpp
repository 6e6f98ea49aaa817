#include "wordcleave.h"

#include <array>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "wordclasses.h"

namespace {

// A term id is FNV-1a 64 of the word's bytes (ASCII letters lower case),
// then the 64-bit finalizer of MurmurHash3, then the remainder by 2^31 - 1:
// ids fill the largest space a signed 32-bit id allows, and every step is
// fixed-width arithmetic, the same on every platform.
constexpr uint32_t kTermsSize = 0x7FFFFFFF;
constexpr uint64_t kFnvBasis = 0xCBF29CE484222325ull;
constexpr uint64_t kFnvPrime = 0x100000001B3ull;

int32_t finishTerm(uint64_t hash) {
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCDull;
  hash ^= hash >> 33;
  hash *= 0xC4CEB9FE1A85EC53ull;
  hash ^= hash >> 33;
  return static_cast<int32_t>(hash % kTermsSize);
}

// ASCII as the cutter sees it: a letter or digit as it goes into the hash,
// 0 for a separator.
constexpr std::array<uint8_t, 128> kAscii = [] {
  std::array<uint8_t, 128> table{};
  for (uint32_t c = '0'; c <= '9'; ++c) table[c] = static_cast<uint8_t>(c);
  for (uint32_t c = 'a'; c <= 'z'; ++c) table[c] = static_cast<uint8_t>(c);
  for (uint32_t c = 'A'; c <= 'Z'; ++c) table[c] = static_cast<uint8_t>(c - 'A' + 'a');
  return table;
}();

bool continuation(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// Decodes the well-formed UTF-8 sequence at `p` (not ASCII): gives its
// length and code point, or 0 when it is not well-formed (overlong forms,
// surrogates and values above 0x10FFFF are not).
uint32_t decode(const uint8_t* p, const uint8_t* end, uint32_t& cp) {
  const uint8_t lead = p[0];
  const auto left = end - p;
  if (lead >= 0xC2 && lead <= 0xDF) {
    if (left < 2 || !continuation(p[1])) return 0;
    cp = (lead & 0x1Fu) << 6 | (p[1] & 0x3Fu);
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (left < 3 || !continuation(p[1]) || !continuation(p[2])) return 0;
    if ((lead == 0xE0 && p[1] < 0xA0) || (lead == 0xED && p[1] > 0x9F)) return 0;
    cp = (lead & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (left < 4 || !continuation(p[1]) || !continuation(p[2]) || !continuation(p[3])) return 0;
    if ((lead == 0xF0 && p[1] < 0x90) || (lead == 0xF4 && p[1] > 0x8F)) return 0;
    cp = (lead & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
    return 4;
  }
  return 0;
}

struct CleaveState {
  std::vector<int32_t> words;
  std::string error;
};

// Never destroyed: a host may cut text while the process exits.
CleaveState& state() {
  static CleaveState* s = new CleaveState;
  return *s;
}

void cut(const uint8_t* p, const uint8_t* end, std::vector<int32_t>& words) {
  uint64_t hash = kFnvBasis;
  bool inWord = false;
  const auto endWord = [&] {
    if (!inWord) return;
    words.push_back(finishTerm(hash));
    hash = kFnvBasis;
    inWord = false;
  };
  while (p < end) {
    if (*p < 0x80) {
      const uint8_t c = kAscii[*p++];
      if (c == 0) {
        endWord();
      } else {
        hash = (hash ^ c) * kFnvPrime;
        inWord = true;
      }
      continue;
    }
    uint32_t cp = 0;
    const uint32_t length = decode(p, end, cp);
    // A byte that starts no well-formed sequence separates; the bytes after
    // it are looked at anew.
    const wordcleave::WordClass kind = length == 0 ? wordcleave::kSeparator : wordcleave::classOf(cp);
    if (kind != wordcleave::kRun) endWord();
    if (kind == wordcleave::kSeparator) {
      p += length == 0 ? 1 : length;
      continue;
    }
    for (const uint8_t* stop = p + length; p < stop; ++p) hash = (hash ^ *p) * kFnvPrime;
    inWord = true;
    if (kind == wordcleave::kSingle) endWord();
  }
  endWord();
}

unsigned int fail(const char* reason) {
  try {
    state().words.clear();
    state().error = reason;
  } catch (...) {
  }
  return 0xFFFFFFFFu;
}

}  // namespace

extern "C" int word_cleave_terms_size(void) { return static_cast<int>(kTermsSize); }

extern "C" unsigned int word_cleave_run(const void* text, unsigned int size) {
  if (text == nullptr && size != 0) return fail("null text");
  try {
    CleaveState& s = state();
    s.words.clear();
    s.error.clear();
    const auto* begin = static_cast<const uint8_t*>(text);
    cut(begin, begin + size, s.words);
    // A word takes a byte at least, so this needs a text of 4 GiB less one byte.
    if (s.words.size() >= 0xFFFFFFFFu) return fail("too many words");
    return static_cast<unsigned int>(s.words.size());
  } catch (const std::bad_alloc&) {
    return fail("out of memory");
  }
}

extern "C" int word_cleave_word(unsigned int index) {
  const std::vector<int32_t>& words = state().words;
  return index < words.size() ? words[index] : -1;
}

extern "C" const char* word_cleave_error(void) { return state().error.c_str(); }
