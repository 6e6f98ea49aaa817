#include "kinds/e1termtable.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

namespace quern {
namespace {

// Against a map: numbers in order of first occurrence, exact bytes (NULs,
// values that differ only in length, values larger than a block), through
// many growths of the slots.
TEST(E1TermTable, NumbersEveryDistinctValueOnceInOrderOfArrival) {
  std::mt19937 random(5);
  E1TermTable table;
  std::map<std::string, uint32_t> model;
  const std::string huge(ByteArena::kLargestBlock + 7, '\x01');
  for (int i = 0; i < 60000; ++i) {
    std::string value;
    switch (random() % 4) {
      case 0: value = std::string(random() % 4, '\0'); break;
      case 1: value = std::to_string(random() % 20000); break;
      case 2: value = std::string(1 + random() % 40, static_cast<char>('a' + random() % 3)); break;
      default: value = i % 9000 == 0 ? huge.substr(0, huge.size() - random() % 2) : std::to_string(random()); break;
    }
    if (value.empty()) continue;
    bool added = true;
    const uint32_t number = table.findOrAdd(value, added);
    const auto [at, fresh] = model.emplace(value, static_cast<uint32_t>(model.size()));
    ASSERT_EQ(added, fresh) << i;
    ASSERT_EQ(number, at->second) << i;
  }
  ASSERT_EQ(table.size(), model.size());
  for (const auto& [value, number] : model) EXPECT_EQ(table.term(number), value);
}

}  // namespace
}  // namespace quern
