#include "codec/priorityqueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "support/raises.h"

namespace quern {
namespace {

using test::raises;

// Ordered by key, then by source, as the merge entries are; counts the living.
struct KeyEntry : CEntry {
  KeyEntry(uint32_t k, uint32_t s) : key(k), source(s) { ++alive; }
  ~KeyEntry() override { --alive; }
  bool lessThan(const CEntry* a, const CEntry* b) const override {
    return static_cast<const KeyEntry*>(a)->order() < static_cast<const KeyEntry*>(b)->order();
  }
  std::pair<uint32_t, uint32_t> order() const { return {key, source}; }
  uint32_t key, source;
  static inline int alive = 0;
};

// The k-way walk of a merge against the sorted union of its sources.
TEST(CPriorityQueue, MergeWalkMatchesSortedModel) {
  std::mt19937 random(7);
  for (uint32_t sources : {1u, 2u, 5u, 16u}) {
    std::vector<std::set<uint32_t>> streams(sources);
    std::vector<std::pair<uint32_t, uint32_t>> expected, walked;
    std::vector<KeyEntry> entries;
    entries.reserve(sources);
    CPriorityQueue queue(sources);
    for (uint32_t s = 0; s < sources; ++s) {
      for (uint32_t count = 1 + random() % 40; streams[s].size() < count;) streams[s].insert(random() % 60);
      for (uint32_t key : streams[s]) expected.emplace_back(key, s);
      EXPECT_TRUE(queue.insert(&entries.emplace_back(*streams[s].begin(), s)));
    }
    std::sort(expected.begin(), expected.end());
    while (auto* top = static_cast<KeyEntry*>(queue.top())) {
      walked.push_back(top->order());
      const auto next = streams[top->source].upper_bound(top->key);
      if (next == streams[top->source].end()) {
        queue.removeTop();
      } else {
        top->key = *next;
        queue.adjustTop();
      }
    }
    EXPECT_EQ(walked, expected) << sources;
  }
}

// A full queue keeps the largest entries; an owning one frees what it
// pushes out and what it holds.
TEST(CPriorityQueue, FullQueuesAndRefusals) {
  {
    CPriorityQueue queue(3, true);
    for (uint32_t key : {5u, 1u, 9u, 7u, 2u, 8u}) {
      auto* entry = new KeyEntry(key, 0);
      if (!queue.insert(entry)) delete entry;  // refused elements stay the caller's
    }
    EXPECT_EQ(static_cast<KeyEntry*>(queue.top())->key, 7u);
    EXPECT_EQ(KeyEntry::alive, 3);
  }
  EXPECT_EQ(KeyEntry::alive, 0);
  KeyEntry a(1, 0), b(2, 0);
  EXPECT_FALSE(CPriorityQueue(0).insert(&a));
  CPriorityQueue one(1);
  EXPECT_TRUE(raises([&] { one.insert(nullptr); }, 2, "insert element must not be null"));
  EXPECT_TRUE(raises([&] { one.put(nullptr); }, 2, "put element must not be null"));
  one.put(&a);
  EXPECT_TRUE(raises([&] { one.put(&b); }, 2, "put error, the queue is full!"));
}

}  // namespace
}  // namespace quern
