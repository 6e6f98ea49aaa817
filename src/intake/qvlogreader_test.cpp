#include "intake/qvlogreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <tuple>
#include <vector>

#include "intake/tracelog.h"
#include "logwriter.h"
#include "random.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::TempDir;
using test::TraceLog;

std::string frame(uint32_t type, const std::string& body) {
  uint8_t head[kFrameHeaderSize];
  encodeFrameHeader(FrameHeader{type, static_cast<uint32_t>(body.size()), 0}, head);
  return std::string(reinterpret_cast<const char*>(head), sizeof head) + body;
}

// A type-8 body of `size` bytes with `mark` at the private-mark offset.
std::string typeEight(uint32_t mark, uint32_t size = 120, char fill = 'h') {
  std::string body(size, fill);
  storeLE32(body.data() + body::kPrivateMark, mark);
  return body;
}

// A log image: file head, then one block per payload.
std::string image(const std::vector<std::string>& payloads, bool compressed) {
  std::ostringstream out;
  qvloggen::LogWriter writer(out, 1, 0);
  uint32_t tag = 100;
  for (const std::string& payload : payloads) {
    writer.addBlock(reinterpret_cast<const uint8_t*>(payload.data()), static_cast<uint32_t>(payload.size()),
                    compressed, tag++, 0, 0);
  }
  return out.str();
}

std::string frameText(uint32_t type, uint32_t size, char first) {
  return " " + std::to_string(type) + "/" + std::to_string(size) + "/" + first;
}

// Reads every block; the frames of each block as type:size:first byte.
std::vector<std::string> walk(const std::string& path, int decompress = 1) {
  CQvlogReader reader(path.c_str());
  std::vector<std::string> blocks;
  LogBlockHeader header;
  while (CQvlogIterator* frames = reader.ReadBlock(&header, decompress)) {
    std::string text = std::to_string(header.sliceTag) + ":";
    FrameHeader frameHeader;
    while (const uint8_t* body = frames->Next(&frameHeader)) {
      const uint32_t size = frameHeader.frameSize;
      text += frameText(frameHeader.frameType, size, size ? body[0] : '-');
    }
    blocks.push_back(text);
  }
  return blocks;
}

// Each refusal ends the pass with its own log line; 28 bytes are no refusal.
TEST(QvlogReader, ShortFilesEndWithTheirOwnLogLine) {
  TempDir dir;
  const std::string path = dir.file("log");
  const std::string twoBlocks = image({frame(2, "ab"), frame(7, "cd")}, false);
  const std::string compressed = image({frame(2, "ab"), frame(7, "cd")}, true);
  const std::tuple<std::string, size_t, std::string> cases[] = {
      {std::string(), 0, "file size is less than FileHeader size"},
      {std::string(27, 'x'), 0, "file size is less than FileHeader size"},
      {std::string(28, 'x'), 0, ""},
      {twoBlocks, 2, ""},
      {twoBlocks + std::string(31, 'x'), 2, "file size is less than LogBlockHeader size"},
      {twoBlocks.substr(0, twoBlocks.size() - 1), 1, "file size is less than rawSize"},
      {compressed.substr(0, 28 + 32 + 5), 0, "file size is less than blockSize"},
  };
  for (const auto& [bytes, blocks, line] : cases) {
    test::writeFile(path, bytes);
    TraceLog log;
    EXPECT_EQ(walk(path).size(), blocks) << bytes.size();
    EXPECT_TRUE(line.empty() ? log.text().empty() : log.has(line + ", " + path)) << log.text();
  }
}

TEST(QvlogReader, WithoutDecompressionPayloadsAreSteppedOverUnread) {
  TempDir dir;
  const std::string path = dir.file("log");
  const std::string payload = frame(2, "first") + frame(9, "second");
  std::string bytes = image({payload, payload}, true);
  // Damage the first stream: only an inflate would notice.
  bytes[28 + 32 + 4] ^= 0x5A;
  test::writeFile(path, bytes);

  std::memset(CQvlogReader::rawBuffer(), 0xEE, 64);
  CQvlogReader reader(path.c_str());
  LogBlockHeader header;
  ASSERT_NE(reader.ReadBlock(&header, 0), nullptr);
  EXPECT_EQ(header.rawSize, payload.size());
  EXPECT_EQ(header.sliceTag, 100u);
  EXPECT_EQ(reader.input()->position(), 28 + 32 + int64_t{header.blockSize});
  EXPECT_EQ(CQvlogReader::rawBuffer()[0], 0xEE);
  ASSERT_NE(reader.ReadBlock(&header, 0), nullptr);
  EXPECT_EQ(reader.ReadBlock(&header, 0), nullptr);

  TraceLog log;
  EXPECT_EQ(walk(path, 1).size(), 0u);
  EXPECT_TRUE(log.has("uncompress " + path + " fail, skip it"));
}

// Next without a header gives nothing; a rewind starts the block again.
// Near misses of a hidden frame stay visible; the model draws hidden frames
// and empty blocks everywhere else.
TEST(QvlogReader, NearMissesStayAndRewindRestarts) {
  TempDir dir;
  const std::string path = dir.file("log");
  test::writeFile(path, image({frame(8, typeEight(31)) + frame(2, "x") + frame(8, typeEight(30, 120, 'v')) +
                               frame(8, std::string(71, 's')) + frame(3, "u")},
                              false));
  EXPECT_EQ(walk(path), (std::vector<std::string>{"100: 2/1/x 8/120/v 8/71/s 3/1/u"}));

  CQvlogReader reader(path.c_str());
  LogBlockHeader header;
  CQvlogIterator* frames = reader.ReadBlock(&header, 1);
  ASSERT_NE(frames, nullptr);
  FrameHeader frameHeader;
  EXPECT_EQ(frames->Next(nullptr), nullptr);
  ASSERT_NE(frames->Next(&frameHeader), nullptr);
  ASSERT_NE(frames->Next(&frameHeader), nullptr);
  EXPECT_EQ(frameHeader.frameType, 8u);
  frames->Rewind();
  ASSERT_NE(frames->Next(&frameHeader), nullptr);
  EXPECT_EQ(frameHeader.frameType, 2u);
}

TEST(QvlogReader, DamagedBlocksEndThePassInsideTheBuffers) {
  TempDir dir;
  const std::string path = dir.file("log");
  const std::string good = frame(2, "ok");
  std::string tooLarge = image({good, good}, false);
  storeLE32(tooLarge.data() + 28 + 32 + good.size() + 8, kLogBufferSize + 1);
  std::string tooLong = image({good, std::string(5000, 'z')}, true);
  storeLE32(tooLong.data() + 28 + 32 + 8, 3);  // first block inflates to more than its rawSize
  std::string misfit = image({good, frame(2, "abc")}, false);
  storeLE32(misfit.data() + 28 + 32 + good.size() + 32 + 4, 4);  // a frame past its block
  const std::pair<std::string, const char*> cases[] = {{tooLarge, "is larger than the buffer"},
                                                       {tooLong, "uncompress"},
                                                       {misfit, "frame size does not fit the block"},
                                                       {image({good, good + "xyz"}, false), "does not fit the block"}};
  for (const auto& [bytes, line] : cases) {
    test::writeFile(path, bytes);
    TraceLog log;
    EXPECT_LE(walk(path).size(), 1u) << line;
    EXPECT_TRUE(log.has(line)) << line << "\n" << log.text();
  }
}

TEST(QvlogReader, NullArgumentsAreRefused) {
  EXPECT_THAT(test::failureText([] { CQvlogReader reader(nullptr); }),
              ::testing::AllOf(HasSubstr("construct CQvlogReader fail, qvlogreader:"),
                               HasSubstr(",invalid param, file is null")));
  TraceLog log;
  CQvlogReader reader("never-opened");
  EXPECT_EQ(reader.ReadBlock(nullptr, 1), nullptr);
  EXPECT_TRUE(log.has("invalid param, hdr is null"));
}

// Random frames in random blocks against a plain model of what was written.
TEST(QvlogReader, WalksRandomLogsLikeTheModel) {
  TempDir dir;
  const std::string path = dir.file("log");
  qvloggen::Rng rng(20261122);
  for (int round = 0; round < 20; ++round) {
    std::ostringstream out;
    qvloggen::LogWriter writer(out, 1, 0);
    std::vector<std::string> expected;
    const uint32_t blocks = rng.between(0, 6);
    for (uint32_t b = 0; b < blocks; ++b) {
      std::string payload;
      expected.push_back(std::to_string(b) + ":");
      const uint32_t count = rng.between(0, 40);
      for (uint32_t f = 0; f < count; ++f) {
        const uint32_t type = rng.percent(40) ? 8 : rng.between(1, 12);
        const uint32_t size = rng.percent(10) ? 0 : rng.between(1, rng.percent(5) ? 70000 : 300);
        std::string body(size, static_cast<char>('a' + rng.below(26)));
        const bool hidden = type == 8 && size >= 72 && rng.percent(50);
        if (size >= 72) storeLE32(body.data() + body::kPrivateMark, hidden ? 31 : rng.below(40) == 31 ? 0 : 7);
        if (size >= 1) body[0] = static_cast<char>('a' + rng.below(26));
        payload += frame(type, body);
        if (!hidden) expected.back() += frameText(type, size, size == 0 ? '-' : body[0]);
      }
      writer.addBlock(reinterpret_cast<const uint8_t*>(payload.data()), static_cast<uint32_t>(payload.size()),
                      rng.percent(50), b, count, 0);
    }
    test::writeFile(path, out.str());
    ASSERT_EQ(walk(path), expected) << "round " << round;
  }
}

}  // namespace
}  // namespace quern
