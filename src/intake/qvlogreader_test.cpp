#include "intake/qvlogreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <tuple>
#include <vector>

#include "support/tracelog.h"
#include "qvloggen/logwriter.h"
#include "qvloggen/random.h"
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

// A log image: file head, then block b (tag 100 + b) of payload b, compressed
// where bit b of `compressed` is set.
std::string image(const std::vector<std::string>& payloads, uint32_t compressed) {
  std::ostringstream out;
  qvloggen::LogWriter writer(out, 1, 0);
  for (uint32_t b = 0; b < payloads.size(); ++b) {
    writer.addBlock(reinterpret_cast<const uint8_t*>(payloads[b].data()), static_cast<uint32_t>(payloads[b].size()),
                    (compressed >> b & 1) != 0, 100 + b, 0, 0);
  }
  return out.str();
}

std::string frameText(uint32_t type, uint32_t size, char first) {
  return " " + std::to_string(type) + "/" + std::to_string(size) + "/" + first;
}

// Reads every block; the frames of each as " type/size/first byte" behind its
// tag. Each block is walked twice, with a rewind between.
std::vector<std::string> walk(const std::string& path) {
  CQvlogReader reader(path.c_str());
  std::vector<std::string> blocks;
  LogBlockHeader header;
  while (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
    EXPECT_EQ(frames->Next(nullptr), nullptr);
    std::string text[2];
    for (std::string& pass : text) {
      FrameHeader frameHeader;
      while (const uint8_t* body = frames->Next(&frameHeader)) {
        pass += frameText(frameHeader.frameType, frameHeader.frameSize, frameHeader.frameSize ? body[0] : '-');
      }
      frames->Rewind();
    }
    EXPECT_EQ(text[0], text[1]) << "a rewind starts the block again";
    blocks.push_back(std::to_string(header.sliceTag) + ":" + text[0]);
  }
  return blocks;
}

// Each short or damaged input ends the pass, after the blocks before it,
// with its own log line; a bare file head is no refusal.
TEST(QvlogReader, ShortAndDamagedInputsEndThePass) {
  TempDir dir;
  const std::string path = dir.file("log"), at = ", " + path, misfit = "frame size does not fit the block" + at;
  const std::string good = frame(2, "ok"), two = image({good, good}, 0);
  const auto patched = [](std::string bytes, size_t offset, uint32_t value) {
    storeLE32(bytes.data() + offset, value);
    return bytes;
  };
  const std::tuple<std::string, size_t, std::string> cases[] = {
      {std::string(27, 'x'), 0, "file size is less than FileHeader size" + at},
      {std::string(28, 'x'), 0, ""},
      {two + std::string(31, 'x'), 2, "file size is less than LogBlockHeader size" + at},
      {two.substr(0, two.size() - 1), 1, "file size is less than rawSize" + at},
      {image({good}, 1).substr(0, 28 + 32 + 5), 0, "file size is less than blockSize" + at},
      {patched(two, 28 + 32 + good.size() + 8, kLogBufferSize + 1), 1, "is larger than the buffer" + at},
      // The first block inflates to more than its rawSize; then a frame past its block.
      {patched(image({good, std::string(5000, 'z')}, 3), 28 + 32 + 8, 3), 0, "uncompress " + path + " fail, skip it"},
      {patched(image({good, frame(2, "abc")}, 0), 28 + 32 + good.size() + 32 + 4, 4), 1, misfit},
      {image({good, good + "xyz"}, 0), 1, misfit},
  };
  for (const auto& [bytes, blocks, line] : cases) {
    test::writeFile(path, bytes);
    TraceLog log;
    EXPECT_EQ(walk(path).size(), blocks) << line;
    EXPECT_TRUE(line.empty() ? log.text().empty() : log.has(line)) << line << "\n" << log.text();
  }
}

// Without decompression a payload is stepped over unread: a damaged stream
// goes unnoticed and the shared buffer keeps its bytes.
TEST(QvlogReader, SkippedPayloadsAndNullArguments) {
  TempDir dir;
  const std::string path = dir.file("log");
  const std::string payload = frame(2, "first") + frame(9, "second");
  std::string bytes = image({payload, payload}, 3);
  bytes[28 + 32 + 4] ^= 0x5A;
  test::writeFile(path, bytes);
  std::memset(CQvlogReader::rawBuffer(), 0xEE, 64);
  CQvlogReader reader(path.c_str());
  LogBlockHeader header;
  ASSERT_NE(reader.ReadBlock(&header, 0), nullptr);
  EXPECT_EQ(header.rawSize, payload.size());
  EXPECT_EQ(reader.input()->position(), 28 + 32 + int64_t{header.blockSize});
  EXPECT_EQ(CQvlogReader::rawBuffer()[0], 0xEE);
  ASSERT_NE(reader.ReadBlock(&header, 0), nullptr);
  EXPECT_EQ(reader.ReadBlock(&header, 0), nullptr);

  TraceLog log;
  EXPECT_EQ(reader.ReadBlock(nullptr, 1), nullptr);
  EXPECT_TRUE(log.has("invalid param, hdr is null"));
  EXPECT_THAT(test::failureText([] { CQvlogReader reader(nullptr); }),
              ::testing::AllOf(HasSubstr("construct CQvlogReader fail, qvlogreader:"),
                               HasSubstr(",invalid param, file is null")));
  // A directory is no log, and is refused before anything is read.
  CQvlogReader directory(dir.path().c_str());
  EXPECT_THAT(test::failureText([&] { directory.ReadBlock(&header, 1); }),
              HasSubstr("open file " + dir.path() + " failed, not a regular file"));
}

// Random frames in random blocks against a plain model of what was written.
// Type 8 with mark 31 behind 68 bytes is hidden; its near misses (mark 30,
// or mark 31 on another type) stay.
TEST(QvlogReader, WalksRandomLogsLikeTheModel) {
  TempDir dir;
  const std::string path = dir.file("log");
  qvloggen::Rng rng(20261122);
  for (int round = 0; round < 20; ++round) {
    std::vector<std::string> payloads, expected;
    for (uint32_t b = 0, blocks = rng.between(0, 6); b < blocks; ++b) {
      payloads.emplace_back();
      expected.push_back(std::to_string(100 + b) + ":");
      for (uint32_t f = 0, count = rng.between(0, 40); f < count; ++f) {
        const uint32_t type = rng.percent(40) ? 8 : rng.between(1, 12);
        const uint32_t size = rng.percent(10) ? 0 : rng.percent(10) ? 72 : rng.between(1, rng.percent(5) ? 70000 : 300);
        std::string body(size, static_cast<char>('a' + rng.below(26)));
        const bool hidden = type == 8 && size >= 72 && rng.percent(50);
        if (size >= 72) storeLE32(body.data() + 68, hidden || (type != 8 && rng.percent(50)) ? 31 : 30);
        payloads.back() += frame(type, body);
        if (!hidden) expected.back() += frameText(type, size, size == 0 ? '-' : body[0]);
      }
    }
    test::writeFile(path, image(payloads, rng.below(64)));
    ASSERT_EQ(walk(path), expected) << "round " << round;
  }
}

}  // namespace
}  // namespace quern
