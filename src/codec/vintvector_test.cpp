#include "codec/vintvector.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "storage/outputdesc.h"
#include "support/raises.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::bytes;
using test::raises;

std::vector<uint32_t> capacities(const VINTChunks& chunks) {
  std::vector<uint32_t> result;
  for (const VINTChunk* chunk = chunks.first(); chunk != nullptr; chunk = chunk->next) {
    result.push_back(chunk->capacity);
    if (chunk == chunks.last()) break;
  }
  return result;
}

// Writes `before`, the stream, `after` into `path`; gives the stream's offset.
int64_t writeStream(const std::string& path, const VINTChunks& chunks, const std::string& before,
                    const std::string& after) {
  COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
  out.file().writeChars(before.data(), static_cast<uint32_t>(before.size()));
  chunks.writeTo(&out);
  out.file().writeChars(after.data(), static_cast<uint32_t>(after.size()));
  return static_cast<int64_t>(before.size());
}

std::unique_ptr<VINTVector> reader(const std::string& path, int64_t offset, int64_t length) {
  auto input = std::make_unique<CInputDesc>(std::make_unique<CFileInput>(path.c_str()));
  input->file().seek(offset);
  auto vector = std::make_unique<VINTVector>();
  vector->attach(std::move(input), length);
  return vector;
}

TEST(VINTChunks, ChunksGrowByHalfTheirSum) {
  CMemCache cache;
  VINTChunks chunks;
  EXPECT_TRUE(capacities(chunks).empty());
  chunks.put(1, cache);
  EXPECT_EQ(capacities(chunks), std::vector<uint32_t>{16}) << "the first put makes 16 bytes";
  for (int i = 0; i < 10; ++i) chunks.put(1, cache);
  EXPECT_EQ(capacities(chunks).size(), 1u) << "eleven one-byte values fit";
  chunks.put(1, cache);
  EXPECT_EQ(capacities(chunks), (std::vector<uint32_t>{16, 24})) << "at 11 used, 11 + 5 is not below 16";
  while (capacities(chunks).size() < 4) chunks.put(0xFFFFFFFFu, cache);
  EXPECT_EQ(capacities(chunks), (std::vector<uint32_t>{16, 24, 60, 150}));
  EXPECT_EQ(chunks.capacitySum(), 250u);
}

TEST(VINTVector, BytesOfTheWrittenFormAndEmptyStreams) {
  test::TempDir dir;
  CMemCache cache;
  VINTChunks chunks;
  for (uint32_t value : {0u, 127u, 128u, 300u, 0xFFFFFFFFu}) chunks.put(value, cache);
  writeStream(dir.file("s"), chunks, "", "");
  EXPECT_EQ(test::readFile(dir.file("s")), bytes({0x00, 0x7F, 0x80, 0x01, 0xAC, 0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F}));

  const VINTChunks empty;
  writeStream(dir.file("e"), empty, "ab", "cd");
  EXPECT_EQ(test::readFile(dir.file("e")), "abcd") << "an empty list writes nothing";
  auto none = reader(dir.file("e"), 2, 0);
  uint32_t value = 7;
  EXPECT_FALSE(none->hasMore());
  EXPECT_EQ(none->read(&value), 0);
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(raises([&] { none->read(nullptr); }, 2, "invalid param v32s"));
  EXPECT_TRUE(raises([&] { empty.writeTo(nullptr); }, 2, "desc is null"));
}

// Values of every length, read back and skipped in random steps across
// read blocks, with bytes before and after the stream that must not be taken.
TEST(VINTVector, ReadsAndSkipsAgreeWithTheValuesPut) {
  test::TempDir dir;
  std::mt19937 random(55);
  for (uint32_t count : {1u, 7u, 40000u}) {
    CMemCache cache;
    VINTChunks chunks;
    std::vector<uint32_t> model;
    for (uint32_t i = 0; i < count; ++i) {
      model.push_back(static_cast<uint32_t>(random()) >> (random() % 32));
      chunks.put(model.back(), cache);
    }
    const int64_t offset = writeStream(dir.file("s"), chunks, "head", std::string(8, '\x80'));
    auto read = reader(dir.file("s"), offset, static_cast<int64_t>(chunks.size()));
    for (size_t at = 0; at < model.size();) {
      if (random() % 3 == 0) {
        const auto step = std::min<size_t>(random() % 2000, model.size() - at);
        ASSERT_TRUE(read->skip(static_cast<uint32_t>(step)));
        at += step;
        continue;
      }
      uint32_t value = 0;
      ASSERT_EQ(read->read(&value), 1);
      ASSERT_EQ(value, model[at++]) << at;
    }
    uint32_t value = 0;
    EXPECT_FALSE(read->hasMore());
    EXPECT_EQ(read->read(&value), 0) << "the bytes behind the stream are not read";
    EXPECT_FALSE(read->skip(1));
  }
}

TEST(VINTVector, CutAndOverlongValuesAreRefused) {
  test::TempDir dir;
  const std::string path = dir.file("s");
  test::writeFile(path, bytes({0x05, 0x80, 0x80, 0x01, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}));
  auto cut = reader(path, 0, 3);
  uint32_t value = 0;
  ASSERT_EQ(cut->read(&value), 1);
  EXPECT_TRUE(raises([&] { cut->read(&value); }, 2, "read file " + path + " over"));
  auto overlong = reader(path, 4, 6);
  EXPECT_TRUE(raises([&] { overlong->read(&value); }, 2, "read vint failed, too long " + path));
}

}  // namespace
}  // namespace quern
