#include "search/mfilter.h"

#include <gtest/gtest.h>

#include "base/cancel.h"
#include "platform/platform.h"
#include "support/fixedfilter.h"
#include "support/raises.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::answer;
using test::Bits;
using test::bitsWithOnes;
using test::FixedFilter;

// Children of 40 records.
Bits ones(std::initializer_list<uint32_t> list) { return bitsWithOnes(40, list); }

class MFilterTest : public ::testing::Test {
 protected:
  MFilterTest() { Canceler::setCurrent(&m_canceler); }
  ~MFilterTest() override { Canceler::setCurrent(nullptr); }

  // Touches the cancel file and waits for the watcher to see it.
  void cancelNow() {
    test::writeFile(m_cancelFile, "");
    while (m_canceler.IsCancelled() == 0) platform::sleepMilliseconds(1);
  }

  test::TempDir m_dir;
  std::string m_cancelFile = m_dir.file("cancel");
  Canceler m_canceler{1};
  int m_runs[3] = {0, 0, 0};
};

TEST_F(MFilterTest, NoChildFindsNothing) {
  MFilter root;
  EXPECT_EQ(root.evaluate(), nullptr) << "a query without a clause finds nothing, not everything";
}

TEST_F(MFilterTest, IntersectsItsChildrenInOrder) {
  MFilter root;
  root.addFilter(std::make_unique<FixedFilter>(ones({1, 2, 3, 31, 32, 40}), m_runs[0]));
  root.addFilter(std::make_unique<FixedFilter>(ones({2, 3, 32, 33, 40}), m_runs[1]));
  root.addFilter(std::make_unique<FixedFilter>(ones({3, 32, 40, 39}), m_runs[2]));
  EXPECT_EQ(answer(root), ones({3, 32, 40}));
}

TEST_F(MFilterTest, AChildThatFindsNothingEndsTheWalk) {
  MFilter root;
  root.addFilter(std::make_unique<FixedFilter>(ones({1, 2}), m_runs[0]));
  root.addFilter(std::make_unique<FixedFilter>(std::nullopt, m_runs[1]));
  root.addFilter(std::make_unique<FixedFilter>(ones({1}), m_runs[2]));
  EXPECT_EQ(root.evaluate(), nullptr);
  EXPECT_EQ(m_runs[1], 1);
  EXPECT_EQ(m_runs[2], 0) << "the third child doesn't run";
}

TEST_F(MFilterTest, TheCancelerIsNeededOnlyFromTheSecondChildOn) {
  Canceler::setCurrent(nullptr);
  MFilter empty;
  empty.addFilter(std::make_unique<FixedFilter>(std::nullopt, m_runs[0]));
  empty.addFilter(std::make_unique<FixedFilter>(ones({1}), m_runs[1]));
  EXPECT_EQ(empty.evaluate(), nullptr) << "a first child without records hides the missing canceler";
  MFilter found;
  found.addFilter(std::make_unique<FixedFilter>(ones({1}), m_runs[2]));
  found.addFilter(std::make_unique<FixedFilter>(ones({1}), m_runs[1]));
  EXPECT_TRUE(test::raises([&] { found.evaluate(); }, 1, "canceler is null, need to set it first"));
  EXPECT_EQ(m_runs[1], 0);
}

TEST_F(MFilterTest, ACancelGivesTheSetFoundSoFar) {
  m_canceler.setPath(m_cancelFile);
  MFilter root;
  root.addFilter(std::make_unique<FixedFilter>(ones({1, 2, 3}), m_runs[0], [&] { cancelNow(); }));
  root.addFilter(std::make_unique<FixedFilter>(ones({2}), m_runs[1]));
  EXPECT_EQ(answer(root), ones({1, 2, 3})) << "the first child's set is the result";
  EXPECT_EQ(m_runs[1], 0);
  // A cancel between the second and the third child keeps the intersection.
  MFilter later;
  later.addFilter(std::make_unique<FixedFilter>(ones({1, 2, 3}), m_runs[0]));
  m_canceler.setPath(m_dir.file("other"));
  later.addFilter(std::make_unique<FixedFilter>(ones({2, 3, 4}), m_runs[1], [&] {
    m_canceler.setPath(m_cancelFile);
    cancelNow();
  }));
  later.addFilter(std::make_unique<FixedFilter>(ones({2}), m_runs[2]));
  EXPECT_EQ(answer(later), ones({2, 3}));
  EXPECT_EQ(m_runs[2], 0);
}

}  // namespace
}  // namespace quern
