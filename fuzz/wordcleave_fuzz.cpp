// The word cutter on random bytes: never a failure, never a read outside the
// text, every id inside the id space, and the same words when run again.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "wordcleave.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An exact copy, so that the sanitizer sees any read past the text.
  const std::vector<uint8_t> text(data, data + size);
  const auto length = static_cast<unsigned int>(size);
  const unsigned int count = word_cleave_run(text.data(), length);
  if (count == 0xFFFFFFFFu || count > length) std::abort();
  std::vector<int> ids(count);
  for (unsigned int i = 0; i < count; ++i) {
    ids[i] = word_cleave_word(i);
    if (ids[i] < 0 || ids[i] >= word_cleave_terms_size()) std::abort();
  }
  if (word_cleave_run(text.data(), length) != count) std::abort();
  for (unsigned int i = 0; i < count; ++i) {
    if (word_cleave_word(i) != ids[i]) std::abort();
  }
  return 0;
}
