#include "config/inidict.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace quern {
namespace {

using Dict = IniDict<int>;

int32_t insert(Dict& dict, const std::string& key, int value) {
  int32_t result = 0;
  if (int* slot = dict.insert(key.data(), static_cast<uint32_t>(key.size()), result)) *slot = value;
  return result;
}

std::vector<std::string> keysInOrder(const Dict& dict) {
  std::vector<std::string> keys;
  for (auto* entry = dict.first(); entry != nullptr; entry = entry->next) keys.emplace_back(entry->key(), entry->length);
  return keys;
}

TEST(IniHash, KnownValuesWithSignedBytes) {
  EXPECT_EQ(iniHash("", 0), 0u);
  EXPECT_EQ(iniHash("a", 1), 0x61u);
  EXPECT_EQ(iniHash("indexfields", 11), 0x0EC00873u);  // top bits folded back in
  EXPECT_EQ(iniHash("g123456789", 10), 0x067E3EE9u);
  // Bytes above 0x7F are negative: an unsigned reading would give other values.
  EXPECT_EQ(iniHash("\xff", 1), 0x0FFFFF0Fu);
  EXPECT_EQ(iniHash("gr\xc3\xbcn", 5), 0x006DDF2Eu);
}

TEST(IniPrimes, HintsRoundUpToTheTable) {
  EXPECT_EQ(iniPrime(iniPrimeIndex(0)), 5u);
  EXPECT_EQ(iniPrime(iniPrimeIndex(10)), 11u);
  EXPECT_EQ(iniPrime(iniPrimeIndex(11)), 11u);
  EXPECT_EQ(iniPrime(iniPrimeIndex(50)), 53u);
  EXPECT_EQ(iniPrime(iniPrimeIndex(2147483399u)), 2147483399u);
  EXPECT_EQ(iniPrimeIndex(4000000000u), kIniPrimeCount - 1);
}

TEST(IniArena, PiecesAreAlignedAndDoNotOverlap) {
  IniArena arena;
  std::vector<std::pair<char*, size_t>> pieces;
  std::mt19937 random(3);
  for (size_t size : {size_t(1), size_t(7), IniArena::kBlockSize, IniArena::kBlockSize + 1, size_t(0)}) {
    pieces.emplace_back(static_cast<char*>(arena.allocate(size)), size);
  }
  for (int i = 0; i < 3000; ++i) {
    const size_t size = random() % 2000;
    pieces.emplace_back(static_cast<char*>(arena.allocate(size)), size);
  }
  for (auto& [piece, size] : pieces) {
    ASSERT_NE(piece, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(piece) % 8, 0u);
    std::memset(piece, 0xA5, size);  // the sanitizers see a piece that is too short
  }
  std::sort(pieces.begin(), pieces.end());
  for (size_t i = 1; i < pieces.size(); ++i) {
    EXPECT_LE(pieces[i - 1].first + pieces[i - 1].second, pieces[i].first);
  }
  arena.clear();
  EXPECT_NE(arena.allocate(16), nullptr) << "usable again after a clear";
}

TEST(IniDict, RefusesUseBeforeSetUpKeepsFirstValueAndGrowsAtTheTwelfthKey) {
  IniArena arena;
  Dict dict;
  EXPECT_EQ(insert(dict, "a", 1), kIniNotSetUp);
  EXPECT_EQ(dict.find("a", 1), nullptr);
  EXPECT_FALSE(dict.remove("a", 1));

  ASSERT_TRUE(dict.setUp(arena, 10));
  EXPECT_EQ(dict.bucketCount(), 11u);
  EXPECT_EQ(insert(dict, "a", 1), 0);
  EXPECT_EQ(insert(dict, "a", 2), kIniDuplicate);
  EXPECT_EQ(*dict.find("a", 1), 1);
  // Keys are bytes with a length, not C strings.
  EXPECT_NE(dict.find("ab", 1), nullptr);
  EXPECT_EQ(dict.find("a\0", 2), nullptr);
  ASSERT_TRUE(dict.remove("a", 1));

  // The twelfth key grows the table to 19 buckets; the model checks order
  // and lookups across many growths.
  for (int i = 0; i < 12; ++i) {
    ASSERT_EQ(insert(dict, "key" + std::to_string(i), i), 0);
    EXPECT_EQ(dict.bucketCount(), i < 11 ? 11u : 19u) << "after " << i + 1 << " keys";
  }
}

// Random inserts and removes against a plain model of values and order.
TEST(IniDict, MatchesModelUnderRandomChanges) {
  std::mt19937 random(7);
  IniArena arena;
  Dict dict;
  ASSERT_TRUE(dict.setUp(arena, 0));
  std::map<std::string, int> model;
  std::vector<std::string> order;
  for (int step = 0; step < 20000; ++step) {
    const std::string key = "k" + std::to_string(random() % 3000);
    const auto known = model.find(key);
    if (random() % 4 == 0) {
      ASSERT_EQ(dict.remove(key.data(), static_cast<uint32_t>(key.size())), known != model.end()) << key;
      if (known != model.end()) {
        model.erase(known);
        std::erase(order, key);
      }
    } else {
      const int value = static_cast<int>(random() % 1000);
      ASSERT_EQ(insert(dict, key, value), known != model.end() ? kIniDuplicate : 0) << key;
      if (known == model.end()) {
        model[key] = value;
        order.push_back(key);
      }
    }
  }
  EXPECT_EQ(dict.count(), model.size());
  EXPECT_GE(dict.bucketCount(), dict.count()) << "growth keeps chains short";
  EXPECT_EQ(keysInOrder(dict), order);
  for (const auto& [key, value] : model) {
    const int* found = dict.find(key.data(), static_cast<uint32_t>(key.size()));
    ASSERT_NE(found, nullptr) << key;
    EXPECT_EQ(*found, value);
  }
}

}  // namespace
}  // namespace quern
