#include "index/fieldtable.h"

#include <gtest/gtest.h>

#include "storage/closingblock.h"
#include "storage/outputdesc.h"
#include "support/raises.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::raises;

const FieldTableTexts kTexts{"read", "checksum incorrect", "value", "image offset", "image"};

// A file of `body` bytes standing for the images, then a table of one
// segment of 3 records and `rows`, then the closing block.
std::string writeTable(const std::string& path, uint32_t body, const std::vector<std::pair<std::string, uint64_t>>& rows) {
  {
    COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
    const std::string images(body, '\0');
    output.file().writeChars(images.data(), body);
    const uint32_t records = 3;
    fieldtable::writeHead(output.file(), {&records, 1}, static_cast<uint32_t>(rows.size()));
    for (const auto& [value, offset] : rows) fieldtable::writeRow(output.file(), value, offset);
    output.writeClosingBlock(body);
  }
  return test::readFile(path);
}

// The rows a merge gathers in memory are the rows a writer writes.
TEST(FieldTable, RowsAreTheSameInMemoryAndInTheFile) {
  test::TempDir dir;
  const std::string file = writeTable(dir.file("t"), 4, {{"a", 0}, {std::string("b\0c", 3), 2}});
  ByteArena rows;
  fieldtable::appendRow(rows, "a", 0);
  fieldtable::appendRow(rows, std::string("b\0c", 3), 2);
  {
    CFileOutput out(dir.file("rows").c_str());
    rows.writeTo(out);
  }
  EXPECT_EQ(test::readFile(dir.file("rows")), file.substr(4 + 12, 13 + 15));

  FieldTableReader reader(kTexts);
  std::unique_ptr<CInputDesc> input = reader.open(dir.file("t"), 0, "no descriptor");
  EXPECT_EQ(reader.recordCounts(), std::vector<uint32_t>{3});
  ASSERT_EQ(reader.rowCount(), 2u);
  const ZeroedArray<char> read = reader.readRows(input->file());
  const char* second = reader.checkRow(read.data());
  EXPECT_EQ(fieldtable::rowValue(second), std::string("b\0c", 3));
  EXPECT_EQ(fieldtable::rowOffset(second), 2u);
}

// The refusals a kind's texts shape, beyond those its own tests reach.
TEST(FieldTable, RefusalsSpeakTheKindsWords) {
  test::TempDir dir;
  const std::string path = dir.file("t");
  const std::string read = "read " + path + " fail, ";
  const auto scan = [&] {
    FieldTableReader reader(kTexts);
    std::unique_ptr<CInputDesc> input = reader.open(path, 0, "no descriptor");
    std::string previous, value;
    for (uint32_t row = 0; row < reader.rowCount(); ++row) {
      reader.readRow(input->file(), value);
      if (row != 0) reader.checkOrder(previous, value, row);
      previous = value;
    }
  };
  writeTable(path, 4, {{"b", 0}, {"a", 2}});
  EXPECT_TRUE(raises(scan, 2, read + "value 1 is out of order"));
  writeTable(path, 4, {{"a", 0}, {"a", 2}});
  EXPECT_TRUE(raises(scan, 2, read + "value 1 is out of order"));

  // The table claims one more row than it holds; the long value keeps the
  // row count within what the bytes could hold.
  std::string file = writeTable(path, 4, {{std::string(30, 'a'), 0}});
  file[4 + 8] = 2;
  test::writeFile(path, file);
  EXPECT_TRUE(raises(scan, 2, read + "value table is cut short"));

  // Table offsets that leave no room for a table.
  for (const int64_t offset : {int64_t{-1}, int64_t{1}}) {
    {
      COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
      output.file().writeChars("\0\0\0\0\0\0\0\0", 8);
      output.writeClosingBlock(offset);
    }
    EXPECT_TRUE(raises(scan, 2, read + "table offset " + std::to_string(offset) + " is invalid"));
  }
}

}  // namespace
}  // namespace quern
