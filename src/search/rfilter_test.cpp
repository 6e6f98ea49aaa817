#include "search/rfilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "base/cancel.h"
#include "search/efilter.h"
#include "search/search.h"
#include "support/fixedfilter.h"
#include "support/raises.h"
#include "support/smallindex.h"

namespace quern {
namespace {

using test::answer;
using test::Bits;

// Values of a few bytes drawn from an alphabet with high bytes and NUL, so
// that prefixes and unsigned order both matter.
std::string randomValue(std::mt19937& random) {
  static const char alphabet[] = {'\0', 'a', 'b', '\x7f', '\x80', '\xff'};
  std::string value(1 + random() % 3, ' ');
  for (char& c : value) c = alphabet[random() % sizeof alphabet];
  return value;
}

// Value order written out: unsigned bytes, a prefix below its extensions.
bool below(const std::string& a, const std::string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return static_cast<unsigned char>(x) < static_cast<unsigned char>(y);
  });
}

// Both kinds that answer ranges: an E1 field term by term, a Range field
// from cumulative sets; an EFilter on the Range field gives the set of the
// value and all below it.
TEST(RFilter, RangesMatchAModelOnBothKinds) {
  std::mt19937 random(18);
  std::vector<test::Record> records(700);
  std::vector<std::string> values;
  for (test::Record& record : records) {
    values.push_back(randomValue(random));
    record = {values.back(), values.back()};
  }
  const test::SmallIndex index({{"e", "e1"}, {"r", "range"}}, records);
  Searcher searcher(index.out, *index.fields);
  Canceler canceler;
  Canceler::setCurrent(&canceler);
  const auto model = [&](const std::string& from, const std::string& to) {
    Bits bits(records.size());
    for (size_t i = 0; i < values.size(); ++i) bits[i] = !below(values[i], from) && !below(to, values[i]);
    return bits;
  };
  for (int round = 0; round < 300; ++round) {
    std::string from = round % 3 == 0 ? values[random() % values.size()] : randomValue(random);
    std::string to = randomValue(random);
    if (below(to, from)) std::swap(from, to);
    if (round % 10 == 0) to = from;
    const Bits expected = model(from, to);
    const bool any = std::find(expected.begin(), expected.end(), true) != expected.end();
    for (const char* field : {"e", "r"}) {
      RFilter range(&searcher, field, from, to);
      std::unique_ptr<SFWAHVector> set = range.evaluate();
      ASSERT_EQ(set != nullptr, any) << field << ": no stored value in the range gives null";
      if (set) {
        EXPECT_EQ(test::bitsOf(*set), expected) << field << " " << round;
      }
    }
    const bool stored = std::find(values.begin(), values.end(), from) != values.end();
    EFilter atMost(&searcher, "r", from.data(), static_cast<uint32_t>(from.size()));
    EXPECT_EQ(test::answer(atMost), stored ? model(std::string(1, '\0'), from) : Bits());
  }
  Canceler::setCurrent(nullptr);
}

TEST(RFilter, RefusesReversedRangesAndUnknownFields) {
  const test::SmallIndex index({{"v", "e1"}}, {{"a"}, {"b"}});
  // The searcher's table says "t" is full text, which has no order of
  // values: a range there gives null without opening a file (the directory
  // has none for it).
  test::writeFile(index.dir.file("search.ini"), "[Global]\nindexFields = v,t\n[v]\nindexer = e1\n[t]\nindexer = ft\n");
  const GlobalConfig config(index.dir.file("search.ini").c_str());
  const FieldsInfo fields(config);
  Searcher searcher(index.out, fields);
  EXPECT_TRUE(test::raises([&] { RFilter(&searcher, "v", "b", "a"); }, 1, "from is larger than to"));
  EXPECT_TRUE(test::raises([&] { RFilter(&searcher, "v", "ab", "a"); }, 1, "from is larger than to"));
  EXPECT_TRUE(test::raises([&] { RFilter(&searcher, nullptr, "a", "b"); }, 2, "Invalid param"));
  EXPECT_TRUE(test::raises([&] { RFilter(nullptr, "v", "a", "b"); }, 2, "Invalid param"));
  Canceler canceler;
  Canceler::setCurrent(&canceler);
  RFilter same(&searcher, "v", "b", "b");
  EXPECT_EQ(answer(same), test::bitsWithOnes(2, {2}));
  RFilter fullText(&searcher, "t", "a", "z");
  EXPECT_EQ(fullText.evaluate(), nullptr);
  RFilter unknown(&searcher, "w", "a", "z");
  EXPECT_TRUE(test::raises([&] { unknown.evaluate(); }, 1, "can not find field(w)"));
  Canceler::setCurrent(nullptr);
}

}  // namespace
}  // namespace quern
