#include "index/index.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

#include "platform/platform.h"
#include "support/sfwah.h"
#include "support/smallindex.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::Bits;
using test::raises;
using test::putRecord;
using test::Record;

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

// Field "run" holds long runs, "few" NUL bytes and lengths that differ by one
// byte, "rare" mostly one value and some unique ones. The store's own tests
// cover its locators; here it stays empty.
TEST(IndexSet, WrittenRecordsReadBackByValue) {
  IndexDir setup;
  std::mt19937 random(6);
  const std::string few[] = {std::string("\x01", 1), std::string("\x01\0", 2), std::string("\0\0", 2), "x"};
  for (uint32_t capacity : {0u, 1u, 7u, 5000u}) {
    std::vector<Record> records(1 + random() % 3000);
    for (uint32_t i = 0; i < records.size(); ++i) {
      const std::string rare = random() % 30 != 0 ? "common" : "u" + std::to_string(i);
      records[i] = {"r" + std::to_string(i / 150 % 4), few[random() % 4], rare};
    }
    {
      IndexWriter writer(setup.out, *setup.fields, capacity);
      for (const Record& record : records) putRecord(writer, record);
      writer.flush();
      writer.finish();
    }
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
  }
}

// Batches flush when full and finish takes only flushed records; a blob
// that lies about its entries and a run that ends without finishing are
// refused.
TEST(IndexSet, BatchesOverrunsAndInterruptedRuns) {
  IndexDir setup;
  {
    IndexWriter writer(setup.out, *setup.fields, 3);
    for (uint32_t i = 0; i < 4; ++i) putRecord(writer, {"a", "b", "c"});  // the fourth flushes three
    EXPECT_EQ(writer.recordCount(), 3u);
    writer.finish();
  }
  {
    IndexReader reader(setup.out, *setup.fields);
    reader.loadSummary();
    EXPECT_EQ(reader.recordCount(), 3u);
    EXPECT_EQ(test::bitsOf(*reader.fieldReader("few")->search("b", 1)), Bits(3, true));
  }
  {
    IndexWriter writer(setup.out, *setup.fields, 1);
    uint8_t* blob = writer.newRecord(12);  // three lengths fit, no value
    storeLE32(blob + 4, 1);
    storeLE32(blob + 8, 1);
    storeLE32(blob + 12, 1);
    EXPECT_TRUE(raises([&] { writer.flush(); }, 1, "record 1 overruns its blob"));
    // 70 store entries fill more than a closing block's size but end in none.
    for (uint32_t id = 1; id <= 70; ++id) writer.store()->addRecord(id, id, "1.qvlog");
  }
  EXPECT_TRUE(raises([&] { IndexReader(setup.out, *setup.fields); }, 2,
                     "read " + setup.out + "store fail, checksum incorrect"));
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
  EXPECT_EQ(test::readFile(setup.out + "index.desc"),
            test::textFile("[Record]\nCount = 0\n\n[Field]\nCount = 3\nf0 = run\nf1 = few\nf2 = rare\n\n"));
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
  reader.forgetField("run");
  platform::removeFile((setup.out + "run.e1").c_str());
  EXPECT_THROW(reader.fieldReader("run"), std::runtime_error);  // opened anew, and now missing
}

}  // namespace
}  // namespace quern
