#include "index/datastore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "storage/closingblock.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::readFile;
using test::TempDir;
using test::writeFile;

// The worked example byte for byte, then an empty store and how paths
// become rows and file numbers.
TEST(DataStore, WorkedExampleEmptyStoreAndPathRows) {
  TempDir dir;
  const std::string base = dir.file("store");
  {
    CDataWriter writer(base);
    writer.addRecord(1, 28, "a/7");
    writer.addRecord(4, 1028, "a/7");
    writer.finish();
  }
  const std::string bytes = readFile(base + ".di");
  const std::string expected("\x01\0\0\0" "\x1C\0\0\0\0\0\0\0" "\0\0\0\0"
                             "\x04\0\0\0" "\x04\x04\0\0\0\0\0\0" "\0\0\0\0"
                             "\x01\0\0\0" "\x03\0\0\0" "a/7", 43);
  ASSERT_EQ(bytes.size(), 43u + closing::kSize);
  EXPECT_EQ(bytes.substr(0, 43), expected);
  EXPECT_EQ(bytes[43 + 8], 32) << "the closing block holds P";

  CDataReader reader(base.c_str());
  EXPECT_EQ(reader.locator(5), "7:1028:1");
  EXPECT_EQ(reader.locator(3), "7:28:2");
  EXPECT_EQ(reader.locator(4000), "7:1028:3996") << "past the last entry counts on from it";

  CDataWriter(base).finish();
  CDataReader empty(base.c_str());
  EXPECT_TRUE(empty.entries().empty());
  EXPECT_THAT(test::failureText([&] { empty.locator(1); }), HasSubstr("record 1 has no block in the store"));

  {
    CDataWriter writer(base);
    writer.addRecord(1, 5000000000ULL, "logs/123abc.qvlog");
    writer.addRecord(2, 10, "logs/9");
    writer.addRecord(3, 20, "logs/123abc.qvlog");
    writer.addRecord(4, 30, "logs/");
    writer.finish();
  }
  CDataReader rows(base.c_str());
  EXPECT_EQ(rows.locator(1), "123:705032704:0") << "the offset's low 32 bits";
  EXPECT_EQ(rows.logPath(2), "logs/123abc.qvlog") << "A, B, A makes three rows";
  EXPECT_EQ(rows.entries().at(1).logOffset, 5000000000ULL);
  EXPECT_THAT(test::failureText([&] { rows.locator(4); }), HasSubstr("invalid path logs/"));
}

TEST(DataStore, PathLengthLimitAndDamagedFiles) {
  TempDir dir;
  const std::string base = dir.file("store");
  const auto write = [&](const std::string& path, bool finish) {
    CDataWriter writer(base);
    writer.addRecord(1, 28, path);
    if (finish) writer.finish();
  };
  const auto open = [&] { return test::failureText([&] { CDataReader reader(base.c_str()); }); };
  write(std::string(1024, 'p'), true);
  EXPECT_EQ(open(), "no failure");
  write(std::string(1025, 'p'), true);
  EXPECT_THAT(open(), HasSubstr("path_size 1025 is invalid"));
  write("x/1", false);  // interrupted: no closing block
  EXPECT_THAT(open(), HasSubstr("construct CDataReader fail"));
  EXPECT_THAT(test::failureText([] { CDataReader reader(nullptr); }),
              HasSubstr("Invalid param(storeFileName)"));

  write("x/1", true);
  const std::string good = readFile(base + ".di");
  std::string bytes;
  std::mt19937 random(7);
  for (int trial = 0; trial < 300; ++trial) {
    bytes = good;
    if (trial % 3 == 0) {
      bytes.resize(random() % bytes.size());
    } else {
      bytes[random() % bytes.size()] ^= static_cast<char>(1 + random() % 255);
    }
    writeFile(base + ".di", bytes);
    // A clean refusal is all that is asked.
    test::failureText([&] { CDataReader(base.c_str()).locator(1); });
  }
  bytes = good;
  bytes[16] = 9;  // the path count, outside the checksum
  writeFile(base + ".di", bytes);
  EXPECT_THAT(open(), HasSubstr("path table is damaged"));
}

TEST(DataStore, MergeShiftsIdsAndMatchesAModel) {
  TempDir dir;
  std::mt19937 random(11);
  std::vector<std::string> model;  // the locator of merged record i + 1
  std::vector<std::unique_ptr<CDataReader>> sources;
  const std::string merged = dir.file("merged");
  {
    CDataMerger merger(std::make_unique<CDataWriter>(merged));
    for (int source = 0; source < 3; ++source) {
      const std::string path = dir.file("s" + std::to_string(source));
      const size_t before = model.size();
      auto writer = std::make_unique<CDataWriter>(path);
      for (int block = 0; block < 20; ++block) {
        const std::string log = std::to_string(source * 10 + block / 7), offset = std::to_string(28 + 1000 * block);
        writer->addRecord(static_cast<uint32_t>(model.size() - before + 1), 28 + 1000ULL * block, "dir/" + log);
        for (uint32_t r = 0, records = 1 + random() % 5; r < records; ++r) {
          model.push_back(log + ":" + offset + ":" + std::to_string(r));
        }
      }
      writer->finish();
      writer.reset();  // closes the file
      sources.push_back(std::make_unique<CDataReader>(path.c_str()));
      merger.add(sources.back().get(), static_cast<uint32_t>(model.size() - before));
    }
    merger.merge();
  }
  CDataReader reader(merged.c_str());
  for (uint32_t id = 1; id <= model.size(); ++id) ASSERT_EQ(reader.locator(id), model[id - 1]) << id;
}

}  // namespace
}  // namespace quern
