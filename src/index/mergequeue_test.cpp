#include "index/mergequeue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "support/tempdir.h"

namespace quern {
namespace {

// Ordered by key, then by ordinal, as the merge sources are.
class KeyEntry : public CEntry {
 public:
  KeyEntry(uint32_t key, uint32_t ordinal, int* alive = nullptr) : m_key(key), m_ordinal(ordinal), m_alive(alive) {
    if (m_alive) ++*m_alive;
  }
  ~KeyEntry() override {
    if (m_alive) --*m_alive;
  }
  bool lessThan(const CEntry* a, const CEntry* b) const override {
    const auto* x = static_cast<const KeyEntry*>(a);
    const auto* y = static_cast<const KeyEntry*>(b);
    return std::pair(x->m_key, x->m_ordinal) < std::pair(y->m_key, y->m_ordinal);
  }
  uint32_t m_key;
  uint32_t m_ordinal;
  int* m_alive;
};

std::pair<uint32_t, uint32_t> keyOf(const CEntry* entry) {
  const auto* e = static_cast<const KeyEntry*>(entry);
  return {e->m_key, e->m_ordinal};
}

// The k-way walk of a merge, against a std::multiset of (key, ordinal).
TEST(CPriorityQueue, MergeWalkMatchesSortedModel) {
  std::mt19937 random(7);
  for (uint32_t sources : {1u, 2u, 5u, 16u}) {
    std::vector<std::vector<uint32_t>> streams(sources);
    std::multiset<std::pair<uint32_t, uint32_t>> model;
    for (uint32_t s = 0; s < sources; ++s) {
      std::set<uint32_t> keys;
      const uint32_t count = 1 + random() % 40;
      while (keys.size() < count) keys.insert(random() % 60);
      streams[s].assign(keys.begin(), keys.end());
      for (uint32_t key : keys) model.insert({key, s});
    }
    std::vector<KeyEntry> entries;
    entries.reserve(sources);
    std::vector<size_t> cursor(sources, 0);
    CPriorityQueue queue(sources);
    for (uint32_t s = sources; s-- > 0;) entries.emplace_back(streams[s][0], s);
    for (KeyEntry& entry : entries) EXPECT_TRUE(queue.insert(&entry));
    std::vector<std::pair<uint32_t, uint32_t>> walked;
    while (CEntry* top = queue.top()) {
      auto* entry = static_cast<KeyEntry*>(top);
      walked.push_back(keyOf(entry));
      const uint32_t s = entry->m_ordinal;
      if (++cursor[s] < streams[s].size()) {
        entry->m_key = streams[s][cursor[s]];
        queue.adjustTop();
      } else {
        queue.removeTop();
      }
    }
    const std::vector<std::pair<uint32_t, uint32_t>> expected(model.begin(), model.end());
    EXPECT_EQ(walked, expected) << sources;
  }
}

TEST(CPriorityQueue, FullOwningQueueKeepsTheLargestAndFreesTheRest) {
  int alive = 0;
  {
    CPriorityQueue queue(3, true);
    for (uint32_t key : {5u, 1u, 9u, 7u, 2u, 8u}) {
      auto* entry = new KeyEntry(key, 0, &alive);
      if (!queue.insert(entry)) delete entry;  // refused elements stay the caller's
    }
    ASSERT_EQ(queue.size(), 3u);
    EXPECT_EQ(keyOf(queue.top()).first, 7u);
    EXPECT_EQ(alive, 3);
  }
  EXPECT_EQ(alive, 0) << "the owning queue frees what it holds";
}

TEST(CPriorityQueue, RefusesNullFullAndZeroCapacity) {
  CPriorityQueue none(0);
  KeyEntry a(1, 0), b(2, 0);
  EXPECT_FALSE(none.insert(&a));
  EXPECT_EQ(none.top(), nullptr);
  EXPECT_THROW(none.put(&a), std::runtime_error);
  CPriorityQueue one(1);
  EXPECT_THROW(one.insert(nullptr), std::runtime_error);
  EXPECT_THROW(one.put(nullptr), std::runtime_error);
  one.put(&a);
  EXPECT_THAT(test::failureText([&] { one.put(&b); }),
              ::testing::EndsWith(",put error, the queue is full!"));
}

}  // namespace
}  // namespace quern
