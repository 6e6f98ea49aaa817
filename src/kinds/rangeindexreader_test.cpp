#include "kinds/rangeindexreader.h"

#include <gtest/gtest.h>

#include <random>

#include "storage/closingblock.h"
#include "support/rangemodel.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::Bits;
using test::bitsOrNone;
using test::raises;
using test::TempDir;
using test::Values;

std::unique_ptr<SFWAHVector> find(RangeIndexReader& reader, const std::string& value) {
  return reader.search(value.data(), static_cast<uint32_t>(value.size()));
}

std::pair<std::string, std::string> adjusted(const RangeIndexReader& reader, std::string from, std::string to) {
  reader.adjustRange(&from, &to);
  return {from, to};
}

// Stored values 10, 20, 30, 40 (texts of one width), as in index-files.md.
TEST(RangeIndexReader, WorkedRanges) {
  TempDir dir;
  const Values records = {"20", "10", "40", "30", "20", "10", "30", "40"};
  test::writeRangeFile(records, dir.file("f.range"));
  RangeIndexReader reader(dir.file("f.range").c_str());
  using Ends = std::pair<std::string, std::string>;
  EXPECT_EQ(adjusted(reader, "15", "35"), Ends("10", "30"));
  EXPECT_EQ(adjusted(reader, "05", "20"), Ends("10", "20"));
  EXPECT_EQ(adjusted(reader, "20", "20"), Ends("10", "20"));
  EXPECT_EQ(adjusted(reader, "21", "29"), Ends("21", "29"));
  EXPECT_EQ(adjusted(reader, "00", "99"), Ends("10", "40"));
  const auto range = [&](const char* from, const char* to) { return bitsOrNone(reader.searchRange(from, to), 8); };
  EXPECT_EQ(range("15", "35"), test::bitsWithOnes(8, {1, 4, 5, 7})) << "set(30) xor set(10): the records of 20 and 30";
  EXPECT_EQ(range("05", "20"), test::bitsWithOnes(8, {1, 2, 5, 6})) << "set(20)";
  EXPECT_EQ(range("20", "20"), test::bitsWithOnes(8, {1, 5})) << "the records of 20 alone";
  EXPECT_EQ(reader.searchRange("21", "29"), nullptr);
  EXPECT_EQ(range("10", "10"), test::bitsWithOnes(8, {2, 6})) << "the smallest value alone";
  EXPECT_EQ(range("40", "40"), test::bitsWithOnes(8, {3, 8})) << "the largest value alone";
  EXPECT_EQ(range("00", "99"), Bits(8, true));
  EXPECT_EQ(reader.searchRange("25", "25"), nullptr);
  EXPECT_EQ(reader.searchRange("30", "20"), nullptr) << "an inverted range";
  EXPECT_EQ(reader.searchRange("41", "99"), nullptr);
  EXPECT_EQ(reader.searchRange("00", "09"), nullptr);

  EXPECT_EQ(find(reader, "25"), nullptr) << "between stored values";
  EXPECT_EQ(bitsOrNone(find(reader, "30"), 8), test::bitsWithOnes(8, {1, 2, 4, 5, 6, 7}));
  EXPECT_TRUE(reader.isFirstValue("10"));
  EXPECT_FALSE(reader.isFirstValue("20"));
  EXPECT_TRUE(reader.isBelowFirst("09"));
  EXPECT_FALSE(reader.isBelowFirst("10"));
  EXPECT_TRUE(reader.isAboveLast("40\x01"));
  EXPECT_FALSE(reader.isAboveLast("40"));
}

// Ends drawn where the steps branch: stored values, just above one, prefixes,
// below the first, above the last.
std::string drawEnd(std::mt19937& random, const std::vector<std::string>& stored) {
  const auto draw = [&](uint32_t high) { return std::uniform_int_distribution<uint32_t>(0, high)(random); };
  const std::string some = stored.empty() ? "m" : stored[draw(static_cast<uint32_t>(stored.size() - 1))];
  switch (draw(5)) {
    case 0: return some;
    case 1: return some + '\0';
    case 2: return some.substr(0, draw(static_cast<uint32_t>(some.size())));
    case 3: return (stored.empty() ? "" : stored.back()) + "\xFF";
    case 4: return std::string(1, static_cast<char>(draw(255)));
    default: return some;
  }
}

// Every stored value's set and every range against the plain model, for
// each shape of value stream and for none at all; scans give the same.
TEST(RangeIndexReader, AgreesWithTheModel) {
  TempDir dir;
  const std::string path = dir.file("f.range");
  std::mt19937 random(17);
  for (uint32_t shape = 0; shape <= 7; ++shape) {
    for (int round = 0; round < 4; ++round) {
      const Values records = shape == 7 ? Values{} : test::valueStream(random, shape, 1 + random() % 700);
      test::writeRangeFile(records, path);
      const std::set<std::string> values = test::distinct(records);
      const std::vector<std::string> stored(values.begin(), values.end());
      RangeIndexReader reader(path.c_str());
      ASSERT_EQ(reader.valueCount(), stored.size());
      for (uint32_t i = 0; i < stored.size(); ++i) {
        ASSERT_EQ(reader.value(i), stored[i]);
        EXPECT_EQ(bitsOrNone(find(reader, stored[i]), records.size()), test::cumulativeBits(records, stored[i]))
            << "shape " << shape << " value " << i;
      }
      for (int r = 0; r < 300; ++r) {
        std::string from = drawEnd(random, stored);
        std::string to = random() % 8 == 0 ? from : drawEnd(random, stored);
        if (random() % 12 == 0) from = to + '\0';  // one byte above
        EXPECT_EQ(bitsOrNone(reader.searchRange(from, to), records.size()), test::rangeBits(records, from, to))
            << "shape " << shape << " [" << from << ", " << to << "]";
      }
      reader.close();
      reader.beginScan();
      ASSERT_EQ(reader.scanRows(), stored.size());
      std::string value;
      for (const std::string& expected : stored) {
        const std::unique_ptr<SFWAHVector> set = reader.nextValue(value);
        ASSERT_EQ(value, expected);
        EXPECT_EQ(test::bitsOf(*set), test::cumulativeBits(records, expected));
      }
      EXPECT_TRUE(raises([&] { reader.nextValue(value); }, 1,
                         "range index read over, invalid call, " + std::to_string(stored.size()) + ", " +
                             std::to_string(stored.size())));
    }
  }
}

TEST(RangeIndexReader, EmptyTableAndMisuse) {
  TempDir dir;
  const std::string path = dir.file("f.range");
  test::writeRangeFile({}, path);
  RangeIndexReader reader(path.c_str());
  EXPECT_TRUE(reader.isAboveLast("a"));
  EXPECT_FALSE(reader.isBelowFirst("a"));
  EXPECT_TRUE(reader.isFirstValue("a"));
  EXPECT_EQ(reader.searchRange("a", "z"), nullptr);
  EXPECT_EQ(adjusted(reader, "b", "a"), std::make_pair(std::string("b"), std::string("a")));
  EXPECT_EQ(reader.recordCounts(), std::vector<uint32_t>{0});
  EXPECT_TRUE(raises([&] { reader.search(nullptr, 1); }, 2, "invalid data or size(1)"));
  EXPECT_TRUE(raises([&] { reader.search("a", 0); }, 2, "invalid data or size(0)"));
  std::string end;
  EXPECT_TRUE(raises([&] { reader.adjustRange(nullptr, &end); }, 1, "invalid param from/to"));
  EXPECT_TRUE(raises([&] { reader.adjustRange(&end, nullptr); }, 1, "invalid param from/to"));
  reader.close();
  reader.close();
  EXPECT_TRUE(raises([&] { find(reader, "a"); }, 1, "search on closed reader " + path));
  EXPECT_TRUE(raises([&] { reader.searchRange("a", "b"); }, 1, "search on closed reader " + path));
  EXPECT_TRUE(raises([&] { reader.nextValue(end); }, 1, "range index read over, invalid call, 0, 0"));
  EXPECT_TRUE(raises([] { RangeIndexReader(nullptr); }, 2, "Invalid param(file)"));
}

// Every flipped byte and every cut: a clean refusal, or a reader that answers
// for every value it lists; never a crash (the sanitizer build runs this too).
// Images carry no checksum: damage inside one may reach the operators of a
// range, which refuse it at either level.
TEST(RangeIndexReader, DamagedFilesAreRefusedCleanly) {
  TempDir dir;
  const std::string path = dir.file("f.range");
  test::writeRangeFile({"b", std::string("a\0", 2), "c", "a", "b", "\xFF"}, path);
  const std::string good = test::readFile(path);
  const size_t body = good.size() - closing::kSize;
  const std::string checksumText = "read " + path + " fail, checksum incorrect";
  const auto tryOpen = [&](const std::string& content) {
    test::writeFile(path, content);
    return test::failureText([&] {
      RangeIndexReader reader(path.c_str());
      try {
      for (uint32_t i = 0; i < reader.valueCount(); ++i) {
        const std::string value(reader.value(i));
        EXPECT_NE(find(reader, value), nullptr);
        reader.searchRange("", value);
        reader.searchRange(value, "\xFF");
      }
      reader.close();
      reader.beginScan();
      std::string value;
      while (reader.scanCursor() < reader.scanRows()) reader.nextValue(value);
      } catch (const std::logic_error& failure) {
        throw std::runtime_error(failure.what());
      }
    });
  };
  const auto step = [&](size_t at) { return at + 1 < body ? 1 : 13; };
  for (size_t at = 0; at < good.size(); at += step(at)) {
    std::string flipped = good;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x5A);
    const std::string failure = tryOpen(flipped);
    EXPECT_TRUE(at < body || failure.find(checksumText) != std::string::npos) << at << failure;
  }
  for (size_t size = 0; size < good.size(); size += step(good.size() - size)) {
    EXPECT_NE(tryOpen(good.substr(0, size)), "no failure") << size;
  }
}

// Counts, lengths and offsets that point past the end are refused before
// anything of their size is allocated.
TEST(RangeIndexReader, AbsurdCountsAreRefused) {
  TempDir dir;
  const std::string path = dir.file("f.range");
  // One value: its image takes 16 bytes, the table starts behind it.
  const auto openWith = [&](uint32_t tableAt, uint32_t value) {
    test::writeRangeFile({"A"}, path);
    std::string content = test::readFile(path);
    storeLE32(reinterpret_cast<uint8_t*>(content.data()) + 16 + tableAt, value);
    test::writeFile(path, content);
    RangeIndexReader reader(path.c_str());
  };
  const std::string read = "read " + path + " fail, ";
  EXPECT_TRUE(raises([&] { openWith(0, 0xFFFFFFF0u); }, 2, read + "segment count 4294967280 is invalid"));
  EXPECT_TRUE(raises([&] { openWith(8, 0x7FFFFFFFu); }, 2, read + "value count 2147483647 is invalid"));
  EXPECT_TRUE(raises([&] { openWith(12, 0xFFFFFFFFu); }, 2, read + "value length 4294967295 is invalid"));
  EXPECT_TRUE(raises([&] { openWith(17, 16); }, 2, read + "image offset 16 is invalid"));
  // A second segment count in the table: the image no longer matches it.
  const auto twoSegments = [&] {
    test::writeRangeFile({"A"}, path);
    std::string content = test::readFile(path);
    content.insert(16 + 4, std::string("\x01\0\0\0", 4));
    content[16] = 2;
    // The closing block moved by 4 bytes; its table offset still holds.
    test::writeFile(path, content);
    RangeIndexReader reader(path.c_str());
    find(reader, "A");
  };
  EXPECT_TRUE(raises(twoSegments, 2, "image at 0 of " + path + " has 1 segments"));
}

}  // namespace
}  // namespace quern
