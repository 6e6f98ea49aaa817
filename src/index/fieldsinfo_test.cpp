#include "index/fieldsinfo.h"

#include <gtest/gtest.h>

#include "base/suspend.h"
#include "index/indexerfactory.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::raises;

// A field table over a config.ini of `text`.
struct Fields {
  explicit Fields(const std::string& text) {
    test::writeFile(dir.file("config.ini"), text);
    config = std::make_unique<GlobalConfig>(dir.file("config.ini").c_str());
  }
  FieldsInfo make() const { return FieldsInfo(*config); }
  test::TempDir dir;
  std::unique_ptr<GlobalConfig> config;
};

TEST(FieldsInfo, NamesIdsAndKinds) {
  Fields fields("[Global]\nindexFields = a,,\tb ,c, a\n[a]\nindexer = e1\n[b]\nindexer = ft\n[c]\nindexer = range\n");
  const FieldsInfo info = fields.make();
  ASSERT_EQ(info.fieldCount(), 4u);
  EXPECT_EQ(info.fieldName(1), "b");
  EXPECT_EQ(info.fieldName(3), "a");
  EXPECT_EQ(info.fieldId("a"), 0u);  // a repeated name keeps its first id
  EXPECT_EQ(info.fieldId("c"), 2u);
  EXPECT_EQ(info.indexerKind(0), IndexerKind::E1);
  EXPECT_EQ(static_cast<uint32_t>(info.indexerKind(1)), 2u);
  EXPECT_EQ(static_cast<uint32_t>(info.indexerKind(2)), 1u);
  EXPECT_EQ(info.fileName(1), "b.ft");
  EXPECT_TRUE(raises([&] { info.fieldName(4); }, 1, "invalid param(field id (4))"));
  EXPECT_TRUE(raises([&] { info.indexerKind(4); }, 1, "invalid param(field id (4))"));
  EXPECT_TRUE(raises([&] { info.fieldId("A"); }, 1, "can not find field(A)"));
}

TEST(FieldsInfo, BadTablesAreRefused) {
  EXPECT_TRUE(raises([] { Fields("[Global]\nindexFields = ,,\n").make(); }, 2, "index fields is (null)"));
  EXPECT_TRUE(raises([] { Fields("[x]\nindexer = e1\n").make(); }, 2, "index fields is (null)"));
  // The number is the field's position, whatever the word.
  EXPECT_TRUE(raises([] { Fields("[Global]\nindexFields = a,b\n[a]\nindexer = e1\n").make(); }, 2,
                     "indexer 1 is invalid"));
  EXPECT_TRUE(raises([] { Fields("[Global]\nindexFields = a\n[a]\nindexer = E1\n").make(); }, 2,
                     "indexer 0 is invalid"));
}

// The full-text kind takes the unknown kind's path until it exists.
TEST(IndexerFactories, UnknownKindsAreRefused) {
  const auto three = static_cast<IndexerKind>(3);
  EXPECT_TRUE(raises([&] { IndexerFactory::instance().create(three, nullptr); }, 1, "invalid indexer 3"));
  EXPECT_TRUE(raises([&] { IndexReaderFactory::instance().create(three, "x"); }, 1, "invalid index reader"));
  EXPECT_TRUE(raises([&] { IndexMergerFactory::instance().create(three, 1); }, 1, "invalid index merger"));
}

// The range kind through the three factories: its sets are cumulative, so
// "b" of b, a, c, b holds records 1, 2 and 4, in the file and after a merge.
TEST(IndexerFactories, RangeKindIsMadeForRange) {
  test::TempDir dir;
  const std::string path = dir.file("f.range");
  std::unique_ptr<FieldIndexer> indexer = IndexerFactory::instance().create(IndexerKind::Range, nullptr);
  for (const char* value : {"b", "a", "c", "b"}) indexer->add(value, 1);
  {
    COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
    indexer->write(&output);
  }
  std::unique_ptr<FieldIndexReader> reader = IndexReaderFactory::instance().create(IndexerKind::Range, path);
  EXPECT_EQ(test::bitsOf(*reader->search("b", 1)), test::bitsWithOnes(4, {1, 2, 4}));

  Suspender suspender(1, 1);
  Suspender::setCurrent(&suspender);
  const std::string merged = dir.file("m.range");
  {
    std::unique_ptr<FieldMerger> merger = IndexMergerFactory::instance().create(IndexerKind::Range, 1);
    reader->close();
    merger->insert(reader.get());
    COutputDesc output(std::make_unique<CFileOutput>(merged.c_str()));
    merger->merge(&output);
  }
  Suspender::setCurrent(nullptr);
  reader = IndexReaderFactory::instance().create(IndexerKind::Range, merged);
  EXPECT_EQ(test::bitsOf(*reader->search("b", 1)), test::bitsWithOnes(4, {1, 2, 4}));
}

}  // namespace
}  // namespace quern
