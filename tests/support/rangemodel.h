// The plain model of a Range field: records as their values, the value
// streams the tests draw, and the sets a Range file must give for them.
#pragma once

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kinds/rangeindexer.h"
#include "support/sfwah.h"

namespace quern::test {

using Values = std::vector<std::string>;

// A value stream of one shape, drawn by `random`: 0 ascending texts of one
// width (about one new value per 5 records, as time grows), 1 descending,
// 2 random over a small vocabulary, 3 runs of repeats, 4 values that differ
// only in length, 5 values of 0x00 and 0xFF bytes, 6 one value only.
inline Values valueStream(std::mt19937& random, uint32_t shape, uint32_t count) {
  const auto draw = [&](uint32_t high) { return std::uniform_int_distribution<uint32_t>(0, high)(random); };
  const auto text = [](uint32_t number) {
    std::string digits = std::to_string(number);
    return std::string(8 - digits.size(), '0') + digits;
  };
  Values values;
  uint32_t clock = 1000 + draw(1000);
  const uint32_t vocabulary = 1 + draw(40);
  while (values.size() < count) {
    switch (shape) {
      case 0: values.push_back(text(clock += draw(4) == 0 ? 1 + draw(3) : 0)); break;
      case 1: values.push_back(text(clock -= draw(4) == 0 ? 1 : 0)); break;
      case 2: values.push_back("v" + std::to_string(draw(vocabulary))); break;
      case 3: values.insert(values.end(), 1 + draw(200), std::string(1 + draw(3), static_cast<char>('a' + draw(5)))); break;
      case 4: values.push_back(std::string("a") + std::string(draw(4), '\0') + std::string(draw(1), 'a')); break;
      case 5: {
        std::string value(1 + draw(2), '\0');
        for (char& c : value) c = draw(1) == 0 ? '\0' : '\xFF';
        values.push_back(value);
        break;
      }
      default: values.push_back("only"); break;
    }
  }
  values.resize(count);
  return values;
}

// Records whose value lies in [from, to].
inline Bits rangeBits(const Values& records, const std::string& from, const std::string& to) {
  Bits bits(records.size());
  for (size_t r = 0; r < records.size(); ++r) bits[r] = from <= records[r] && records[r] <= to;
  return bits;
}

// Records at or below `value`: its cumulative set.
inline Bits cumulativeBits(const Values& records, const std::string& value) {
  return rangeBits(records, std::string(), value);
}

inline std::set<std::string> distinct(const Values& records) { return {records.begin(), records.end()}; }

// The bits of a result, a null one being no record of `length`.
inline Bits bitsOrNone(const std::unique_ptr<SFWAHVector>& vector, size_t length) {
  return vector ? bitsOf(*vector) : Bits(length);
}

inline void writeRangeFile(const Values& records, const std::string& path) {
  RangeIndexer indexer(nullptr);
  for (const std::string& value : records) indexer.add(value.data(), static_cast<uint32_t>(value.size()));
  COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
  indexer.write(&output);
}

}  // namespace quern::test
