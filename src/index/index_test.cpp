#include "index/index.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

#include "platform/platform.h"
#include "storage/closingblock.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::Bits;
using test::raises;
using Record = std::vector<std::string>;

// A directory with a config.ini of three e1 fields beside an index
// subdirectory "out/".
struct IndexDir {
  IndexDir() {
    test::writeFile(dir.file("config.ini"),
                    "[Global]\nindexFields = run, few, rare\n[run]\nindexer = e1\n[few]\nindexer = e1\n"
                    "[rare]\nindexer = e1\n");
    config = std::make_unique<GlobalConfig>(dir.file("config.ini").c_str());
    fields = std::make_unique<FieldsInfo>(*config);
    EXPECT_TRUE(platform::makeDirectory(out.c_str()));
  }
  test::TempDir dir;
  std::string out = dir.file("out/");
  std::unique_ptr<GlobalConfig> config;
  std::unique_ptr<FieldsInfo> fields;
};

void putRecord(IndexWriter& writer, const Record& record) {
  uint32_t size = 0;
  for (const std::string& value : record) size += 4 + static_cast<uint32_t>(value.size());
  uint8_t* at = writer.newRecord(size) + 4;
  for (const std::string& value : record) {
    storeLE32(at, static_cast<uint32_t>(value.size()));
    std::memcpy(at + 4, value.data(), value.size());
    at += 4 + value.size();
  }
}

// Field "run": long runs; "few": a handful of values, NUL bytes and lengths
// differing by one byte included; "rare": mostly one value, some unique
// ones, and a value first seen in the last record.
std::vector<Record> randomRecords(std::mt19937& random, uint32_t count) {
  const auto draw = [&](uint32_t high) { return std::uniform_int_distribution<uint32_t>(0, high)(random); };
  std::vector<Record> records;
  std::string run = "r0";
  for (uint32_t i = 0; i < count; ++i) {
    if (draw(200) == 0) run = "r" + std::to_string(draw(5));
    const std::string few[] = {std::string("\x01", 1), std::string("\x01\0", 2), std::string("\0\0", 2), "x"};
    std::string rare = draw(30) == 0 ? "u" + std::to_string(i) : "common";
    if (i + 1 == count) rare = "last";
    records.push_back({run, few[draw(3)], rare});
  }
  return records;
}

// Writes `records` in blocks of 1 to 40 records, each block at offset
// 1000 * block of log "<7 + block % 2>.qvlog"; returns the first id of
// each block.
std::vector<uint32_t> writeIndex(IndexDir& setup, const std::vector<Record>& records, uint32_t capacity,
                                 std::mt19937& random) {
  IndexWriter writer(setup.out, *setup.fields, capacity);
  std::vector<uint32_t> firsts;
  for (uint32_t done = 0; done < records.size();) {
    const uint32_t block = static_cast<uint32_t>(firsts.size());
    const uint32_t end = std::min<uint32_t>(static_cast<uint32_t>(records.size()), done + 1 + random() % 40);
    firsts.push_back(done + 1);
    for (; done < end; ++done) putRecord(writer, records[done]);
    writer.store()->addRecord(firsts.back(), 1000ull * block, "logs/" + std::to_string(7 + block % 2) + ".qvlog");
  }
  writer.flush();
  writer.finish();
  return firsts;
}

TEST(IndexSet, WrittenRecordsReadBackByValueAndLocator) {
  IndexDir setup;
  std::mt19937 random(6);
  for (uint32_t capacity : {0u, 1u, 7u, 5000u}) {
    const std::vector<Record> records = randomRecords(random, 1 + random() % 3000);
    const std::vector<uint32_t> firsts = writeIndex(setup, records, capacity, random);

    IndexReader reader(setup.out, *setup.fields);
    reader.loadSummary();
    ASSERT_EQ(reader.recordCount(), records.size());
    for (uint32_t field = 0; field < 3; ++field) {
      std::map<std::string, Bits> model;
      for (size_t i = 0; i < records.size(); ++i) {
        model.try_emplace(records[i][field], records.size()).first->second[i] = true;
      }
      FieldIndexReader* fieldReader = reader.fieldReader(setup.fields->fieldName(field));
      for (const auto& [value, bits] : model) {
        std::unique_ptr<SFWAHVector> found = fieldReader->search(value.data(), static_cast<uint32_t>(value.size()));
        ASSERT_NE(found, nullptr) << field << " " << value;
        EXPECT_EQ(test::bitsOf(*found), bits) << field << " " << value;
      }
    }
    for (uint32_t id = 1; id <= records.size(); ++id) {
      const uint32_t block =
          static_cast<uint32_t>(std::upper_bound(firsts.begin(), firsts.end(), id) - firsts.begin() - 1);
      const std::string expected = std::to_string(7 + block % 2) + ":" + std::to_string(1000 * block) + ":" +
                                   std::to_string(id - firsts[block]);
      ASSERT_EQ(reader.store()->locator(id), expected) << id;
    }
  }
}

TEST(IndexSet, BatchesFlushWhenFullAndFinishTakesOnlyFlushedRecords) {
  IndexDir setup;
  {
    IndexWriter writer(setup.out, *setup.fields, 3);
    for (uint32_t i = 0; i < 4; ++i) {
      EXPECT_EQ(writer.recordCount(), 0u);
      putRecord(writer, {"a", "b", "c"});  // the fourth flushes three
    }
    EXPECT_EQ(writer.recordCount(), 3u);
    writer.finish();
  }
  {
    IndexReader reader(setup.out, *setup.fields);
    reader.loadSummary();
    EXPECT_EQ(reader.recordCount(), 3u);
    EXPECT_EQ(test::bitsOf(*reader.fieldReader("few")->search("b", 1)), Bits(3, true));
  }
  IndexWriter writer(setup.out, *setup.fields, 1);
  uint8_t* blob = writer.newRecord(12);  // three lengths fit, no value
  storeLE32(blob + 4, 1);
  storeLE32(blob + 8, 1);
  storeLE32(blob + 12, 1);
  EXPECT_TRUE(raises([&] { writer.flush(); }, 1, "record 1 overruns its blob"));
}

TEST(IndexSet, InterruptedRunIsRefusedAtOpen) {
  IndexDir setup;
  const auto interrupted = [&](uint32_t blocks) {
    IndexWriter writer(setup.out, *setup.fields, 1);
    for (uint32_t id = 1; id <= blocks; ++id) {
      putRecord(writer, {"a", "b", "c"});
      writer.store()->addRecord(id, id, "1.qvlog");
    }
    writer.flush();
  };
  // 70 entries fill more than a closing block's size but end in none.
  interrupted(70);
  EXPECT_TRUE(raises([&] { IndexReader(setup.out, *setup.fields); }, 2,
                     "read " + setup.out + "store fail, checksum incorrect"));
  interrupted(3);
  EXPECT_THAT(test::failureText([&] { IndexReader(setup.out, *setup.fields); }),
              HasSubstr(",seek file " + setup.out + "store.di failed"));
}

// A run without records still writes a complete directory; then the
// summary and the field readers of that directory.
TEST(IndexSet, EmptyRunSummaryAndFieldReaders) {
  IndexDir setup;
  {
    IndexWriter writer(setup.out, *setup.fields, 1);
    writer.flush();
    writer.finish();
  }
  std::vector<std::string> names;
  ASSERT_TRUE(platform::listDirectory(setup.out.c_str(), names));
  EXPECT_EQ(names.size(), 5u);
  EXPECT_EQ(test::readFile(setup.out + "index.desc"),
            test::textFile("[Record]\nCount = 0\n\n[Field]\nCount = 3\nf0 = run\nf1 = few\nf2 = rare\n\n"));
  EXPECT_EQ(test::readFile(setup.out + "rare.e1").size(), 12u + closing::kSize);
  EXPECT_EQ(test::readFile(setup.out + "store.di").size(), 4u + closing::kSize);
  IndexReader reader(setup.out, *setup.fields);
  reader.loadSummary();
  EXPECT_EQ(reader.recordCount(), 0u);
  EXPECT_EQ(reader.fieldReader("run")->search("a", 1), nullptr);

  const auto summary = [&](const std::string& text) {
    test::writeFile(setup.out + "index.desc", text);
    reader.loadSummary();
    return reader.recordCount();
  };
  EXPECT_EQ(summary("[Record]\ncount = 2000000000\n"), 2000000000u);
  EXPECT_TRUE(raises([&] { summary("[Record]\nCount = 2000000001\n"); }, 2, "record count:2000000001 is invalid"));
  EXPECT_EQ(summary("[Field]\nCount = 3\n"), 0u);
  platform::removeFile((setup.out + "index.desc").c_str());
  EXPECT_THAT(test::failureText([&] { reader.loadSummary(); }), HasSubstr(",load index summary failed, "));

  FieldIndexReader* first = reader.fieldReader("run");
  EXPECT_EQ(reader.fieldReader("run"), first);
  EXPECT_TRUE(raises([&] { reader.fieldReader("Run"); }, 1, "can not find field(Run)"));
  platform::removeFile((setup.out + "few.e1").c_str());
  EXPECT_THROW(reader.fieldReader("few"), std::runtime_error);
  reader.forgetField("run");
  platform::removeFile((setup.out + "run.e1").c_str());
  EXPECT_THROW(reader.fieldReader("run"), std::runtime_error);  // opened anew, and now missing
}

}  // namespace
}  // namespace quern
