#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "storage/closingblock.h"
#include "storage/crc.h"
#include "storage/endian.h"
#include "storage/inputdesc.h"
#include "storage/outputdesc.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::TempDir;
using test::writeFile;

// Writes body "BODY", table "TABLE" and the closing block; returns the bytes.
std::string writeIndexFile(const std::string& path) {
  {
    COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
    out.file().writeChars("BODY", 4);
    const int64_t table = out.file().position();
    out.file().writeChars("TABLE", 5);
    out.writeClosingBlock(table);
  }
  return test::readFile(path);
}

int readBlock(const std::string& path, int64_t& table) {
  CInputDesc in(std::make_unique<CFileInput>(path.c_str()));
  in.file().seekFromEnd(closing::kSize);
  return in.readClosingBlock(table);
}

TEST(Descriptor, ClosingBlockLayoutAndLongPath) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  const std::string bytes = writeIndexFile(path);
  ASSERT_EQ(bytes.size(), 9u + 1024u);
  const auto* block = reinterpret_cast<const uint8_t*>(bytes.data()) + 9;
  EXPECT_EQ(loadLE64(block + 8), 4u);
  EXPECT_EQ(bytes.substr(9 + 16, 8), std::string("\x67\x45\x23\x81\x00\x01\x00\x00", 8));
  EXPECT_GT(loadLE64(block + 24), 1700000000u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(block + 32)), path);
  for (int i = 291; i < 1024; ++i) ASSERT_EQ(block[i], 0) << i;
  EXPECT_EQ(loadLE64(block), crc64(block + 8, 1016));

  const std::string longPath = dir.path() + "/" + std::string(250, 'n') + ".e1";
  ASSERT_GT(longPath.size(), 259u);
  EXPECT_EQ(writeIndexFile(longPath).substr(9 + 32, 260), longPath.substr(0, 259) + '\0');
  int64_t table = -1;
  EXPECT_EQ(readBlock(longPath, table), 1);
  EXPECT_EQ(table, 4);
}

// Flips in the body and the table pass; flips in the block fail and leave
// the offset alone. A file shorter than a block is refused.
TEST(Descriptor, ChecksumCoversTheBlockOnly) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  const std::string good = writeIndexFile(path);
  for (size_t at : {0, 3, 4, 8, 9, 9 + 8, 9 + 16, 9 + 300, 9 + 1023}) {
    std::string bytes = good;
    bytes[at] ^= 0x41;
    writeFile(path, bytes);
    int64_t table = 77;
    EXPECT_EQ(readBlock(path, table), at < 9 ? 1 : 0) << at;
    EXPECT_EQ(table, at < 9 ? 4 : 77) << at;
  }
  writeFile(path, std::string(1023, '\0'));
  int64_t table = -1;
  EXPECT_THROW(readBlock(path, table), std::runtime_error);
}

TEST(Descriptor, ClonesReadIndependentlyAndNullIsRefused) {
  TempDir dir;
  const std::string path = dir.file("f.e1");
  writeIndexFile(path);
  CInputDesc in(std::make_unique<CFileInput>(path.c_str()));
  in.file().seek(6);  // a clone starts at 0 wherever its source stands
  auto first = in.clone();
  auto second = in.clone();
  first->file().seek(4);
  EXPECT_EQ(first->file().getChar(), 'T');
  EXPECT_EQ(second->file().getChar(), 'B');
  EXPECT_EQ(first->file().getChar(), 'A');

  EXPECT_THAT(test::failureText([] { CInputDesc bad(nullptr); }),
              HasSubstr(",invalid param(indexInput)"));
  EXPECT_THAT(test::failureText([] { COutputDesc bad(nullptr); }),
              HasSubstr(",invalid param(indexOutput)"));
}

}  // namespace
}  // namespace quern
