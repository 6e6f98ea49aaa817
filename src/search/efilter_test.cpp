#include "search/efilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "search/search.h"
#include "support/fixedfilter.h"
#include "support/raises.h"
#include "support/smallindex.h"

namespace quern {
namespace {

TEST(EFilter, AsksTheFieldForItsValue) {
  const test::SmallIndex index({{"a", "e1"}, {"b", "e1"}}, {{"x", "1"}, {"y", "1"}, {"x", "2"}});
  Searcher searcher(index.out, *index.fields);
  EFilter x(&searcher, "a", "x", 1);
  EXPECT_EQ(test::answer(x), test::bitsWithOnes(3, {1, 3}));
  EXPECT_EQ(EFilter(&searcher, "b", "3", 1).evaluate(), nullptr) << "a value the field lacks";
  EXPECT_TRUE(test::raises([&] { EFilter(&searcher, "c", "x", 1).evaluate(); }, 1, "can not find field(c)"));
  searcher.reader().forgetField("b");
  std::filesystem::remove(index.out + "b.e1");
  EXPECT_THAT(test::failureText([&] { EFilter(&searcher, "b", "1", 1).evaluate(); }),
              ::testing::HasSubstr("construct E1IndexReader fail"))
      << "a missing field file fails when a filter first asks for it";
}

TEST(EFilter, RefusesAnEmptyValue) {
  const test::SmallIndex index({{"a", "e1"}}, {{"x"}});
  Searcher searcher(index.out, *index.fields);
  EXPECT_TRUE(test::raises([&] { EFilter(&searcher, "a", "", 0); }, 2, "invalid param"));
  EXPECT_TRUE(test::raises([&] { EFilter(&searcher, nullptr, "x", 1); }, 2, "invalid param"));
  EXPECT_TRUE(test::raises([&] { EFilter(&searcher, "a", nullptr, 1); }, 2, "invalid param"));
  EXPECT_TRUE(test::raises([&] { EFilter(nullptr, "a", "x", 1); }, 2, "invalid param"));
}

}  // namespace
}  // namespace quern
