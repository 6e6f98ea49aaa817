// Whole trees of the four filters against a model of plain sets.
#include "search/filter.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "base/cancel.h"
#include "search/efilter.h"
#include "search/mfilter.h"
#include "search/rfilter.h"
#include "search/search.h"
#include "search/ufilter.h"
#include "support/fixedfilter.h"
#include "support/smallindex.h"

namespace quern {
namespace {

using Ids = std::set<uint32_t>;
constexpr uint32_t kRecords = 500;
const char* const kFields[] = {"a", "b", "c"};

// Field a has 3 values, b 12, c 60: clauses of every selectivity.
std::vector<test::Record> makeRecords(std::mt19937& random) {
  std::vector<test::Record> records(kRecords);
  for (test::Record& record : records) {
    for (uint32_t modulus : {3u, 12u, 60u}) record.push_back(std::string(1, static_cast<char>('A' + random() % modulus)));
  }
  return records;
}

// A random tree; the records of its answer are added to `model`.
std::unique_ptr<Filter> makeTree(std::mt19937& random, Searcher& searcher, const std::vector<test::Record>& records,
                                 int depth, Ids& model) {
  const uint32_t kind = depth == 0 ? random() % 2 : random() % 4;
  const uint32_t field = random() % 3;
  if (kind < 2) {
    std::string from(1, static_cast<char>('A' + random() % 62));
    std::string to = kind == 0 ? from : std::string(1, static_cast<char>(from[0] + random() % 8));
    for (uint32_t id = 1; id <= kRecords; ++id) {
      const std::string& value = records[id - 1][field];
      if (value >= from && value <= to) model.insert(id);
    }
    if (kind == 0) return std::make_unique<EFilter>(&searcher, kFields[field], from.data(), 1);
    return std::make_unique<RFilter>(&searcher, kFields[field], from, to);
  }
  const uint32_t children = random() % 4;
  if (kind == 2) {
    auto all = std::make_unique<MFilter>();
    Ids common;
    for (uint32_t i = 0; i < children; ++i) {
      Ids child;
      all->addFilter(makeTree(random, searcher, records, depth - 1, child));
      if (i == 0) {
        common = child;
      } else {
        std::erase_if(common, [&](uint32_t id) { return child.count(id) == 0; });
      }
    }
    model.insert(common.begin(), common.end());
    return all;
  }
  auto any = std::make_unique<UFilter>(&searcher);
  for (uint32_t i = 0; i < children; ++i) any->addFilter(makeTree(random, searcher, records, depth - 1, model));
  return any;
}

TEST(FilterTree, AnswersAsAModelOfSets) {
  std::mt19937 random(10);
  const std::vector<test::Record> records = makeRecords(random);
  const test::SmallIndex index({{"a", "e1"}, {"b", "e1"}, {"c", "e1"}}, records);
  Searcher searcher(index.out, *index.fields);
  Canceler canceler;
  Canceler::setCurrent(&canceler);
  for (int round = 0; round < 400; ++round) {
    Ids model;
    const std::unique_ptr<Filter> tree = makeTree(random, searcher, records, 3, model);
    const std::unique_ptr<SFWAHVector> set = tree->evaluate();
    Ids found;
    if (set) {
      const test::Bits bits = test::bitsOf(*set);
      ASSERT_EQ(bits.size(), kRecords);
      for (uint32_t i = 0; i < kRecords; ++i) {
        if (bits[i]) found.insert(i + 1);
      }
    }
    ASSERT_EQ(found, model) << "round " << round;
  }
  Canceler::setCurrent(nullptr);
}

}  // namespace
}  // namespace quern
