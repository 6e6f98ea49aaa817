#include "search/ufilter.h"

#include <gtest/gtest.h>

#include "base/cancel.h"
#include "platform/platform.h"
#include "search/efilter.h"
#include "search/search.h"
#include "support/fixedfilter.h"
#include "support/raises.h"
#include "support/smallindex.h"

namespace quern {
namespace {

using test::answer;
using test::Bits;
using test::bitsWithOnes;
using test::FixedFilter;

Bits ones(std::initializer_list<uint32_t> list) { return bitsWithOnes(40, list); }

// A searcher on 40 records of one field "f": "x" for the multiples of 5,
// else "y"; it serves `addEqual`.
class UFilterTest : public ::testing::Test {
 protected:
  UFilterTest() : m_index({{"f", "e1"}}, records()), m_searcher(m_index.out, *m_index.fields) {
    Canceler::setCurrent(&m_canceler);
  }
  ~UFilterTest() override { Canceler::setCurrent(nullptr); }

  static std::vector<test::Record> records() {
    std::vector<test::Record> list;
    for (uint32_t id = 1; id <= 40; ++id) list.push_back({id % 5 == 0 ? "x" : "y"});
    return list;
  }

  test::SmallIndex m_index;
  Searcher m_searcher;
  Canceler m_canceler{1};
  int m_runs[3] = {0, 0, 0};
};

TEST_F(UFilterTest, UnitesTheChildrenThatFindSomething) {
  UFilter any(&m_searcher);
  any.addFilter(std::make_unique<FixedFilter>(std::nullopt, m_runs[0]));
  any.addFilter(std::make_unique<FixedFilter>(ones({1, 40}), m_runs[1]));
  any.addFilter(std::make_unique<FixedFilter>(std::nullopt, m_runs[2]));
  any.addEqual("f", "x", 1);
  EXPECT_EQ(answer(any), ones({1, 5, 10, 15, 20, 25, 30, 35, 40})) << "a first child without records is passed over";
  EXPECT_EQ(m_runs[2], 1);
  UFilter one(&m_searcher);
  one.addFilter(std::make_unique<FixedFilter>(ones({7, 33}), m_runs[0]));
  EXPECT_EQ(answer(one), ones({7, 33})) << "one child's set comes back unchanged";
}

TEST_F(UFilterTest, NothingFoundIsNullAndStillAsksForTheCanceler) {
  UFilter none(&m_searcher);
  none.addFilter(std::make_unique<FixedFilter>(std::nullopt, m_runs[0]));
  none.addEqual("f", "z", 1);
  EXPECT_EQ(none.evaluate(), nullptr);
  UFilter empty(&m_searcher);
  EXPECT_EQ(empty.evaluate(), nullptr);
  Canceler::setCurrent(nullptr);
  EXPECT_TRUE(test::raises([&] { none.evaluate(); }, 1, "canceler is null, need to set it first"));
}

TEST_F(UFilterTest, ACancelGivesTheUnionFoundSoFar) {
  const test::TempDir dir;
  m_canceler.setPath(dir.file("cancel"));
  UFilter any(&m_searcher);
  any.addFilter(std::make_unique<FixedFilter>(std::nullopt, m_runs[0]));
  any.addFilter(std::make_unique<FixedFilter>(ones({2}), m_runs[1], [&] {
    test::writeFile(dir.file("cancel"), "");
    while (m_canceler.IsCancelled() == 0) platform::sleepMilliseconds(1);
  }));
  any.addFilter(std::make_unique<FixedFilter>(ones({3}), m_runs[2]));
  EXPECT_EQ(answer(any), ones({2}));
  EXPECT_EQ(m_runs[2], 0);
}

TEST_F(UFilterTest, RefusesWhatCannotBeSearched) {
  EXPECT_TRUE(test::raises([] { UFilter none(nullptr); }, 2, "invalid param (pSearcher)"));
  UFilter any(&m_searcher);
  EXPECT_TRUE(test::raises([&] { any.addEqual(nullptr, "x", 1); }, 2, "invalid param"));
  EXPECT_TRUE(test::raises([&] { any.addEqual("f", nullptr, 1); }, 2, "invalid param"));
  EXPECT_TRUE(test::raises([&] { any.addEqual("f", "x", 0); }, 2, "invalid param"));
  EXPECT_TRUE(any.filters().empty());
  EXPECT_TRUE(test::raises([&] { EFilter(nullptr, "f", "x", 1); }, 2, "invalid param"));
  // A field outside the table fails when it is evaluated, not when added.
  any.addEqual("g", "x", 1);
  EXPECT_TRUE(test::raises([&] { any.evaluate(); }, 1, "can not find field(g)"));
}

}  // namespace
}  // namespace quern
