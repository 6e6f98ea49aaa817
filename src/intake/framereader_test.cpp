#include "intake/framereader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "support/tracelog.h"
#include "qvloggen/random.h"
#include "rowrender/payload.h"

namespace quern {
namespace {

using Items = std::vector<std::pair<std::string, std::string>>;
using test::TraceLog;

std::string payload(const Items& items) {
  std::string bytes;
  for (const auto& [key, value] : items) {
    const size_t at = bytes.size();
    bytes.resize(at + rowrender::itemSize(key, value));
    rowrender::putItem(reinterpret_cast<uint8_t*>(bytes.data() + at), key, value);
  }
  return bytes;
}

// A frame body of `type` with a fixed head, `snap` and the payload of `items`.
std::string frameBody(uint32_t type, const std::string& snap, const Items& items) {
  const FrameLayout& layout = *frameLayout(type);
  const std::string data = payload(items);
  std::string body(layout.fixedEnd, '\0');
  storeLE32(body.data() + body::kEventTag, 0xBEEF);
  storeLE64(body.data() + body::kUserCrc, 11);
  storeLE64(body.data() + body::kGroupCrc, 22);
  const uint8_t host[16] = {0xFF, 0xBF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 1, 2, 3};
  const uint8_t peer[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  std::memcpy(body.data() + body::kHostAddress, host, 16);
  std::memcpy(body.data() + body::kPeerAddress, peer, 16);
  storeLE32(body.data() + body::kServCrc, 33);
  storeLE32(body.data() + body::kAppCrc, 44);
  std::memcpy(body.data() + body::kTimeText, "2026/11/22 10:00:00", 19);
  if (layout.snapText != 0) std::memcpy(body.data() + layout.snapText, snap.data(), snap.size());
  storeLE32(body.data() + layout.payloadSize, static_cast<uint32_t>(data.size()));
  return body + data;
}

std::string row(uint32_t type, const std::string& body, int exportRow) {
  const FrameHeader header{type, static_cast<uint32_t>(body.size()), 0};
  return CFrameReader().Row(&header, body.data(), exportRow);
}

constexpr char kHead[] = "2026/11/22 10:00:00\t0000BEEF\t11\t22\t10.1.2.3\t2001:db8::1\t33\t44";

TEST(FrameReader, RowsOfFullAndShortFrames) {
  const Items items = {{"url", "http://x.cn/a"}, {"attachname", "a.doc"}, {"attachpath", "/p/a.doc"},
                       {"title", "t\tt"}};
  const std::string body = frameBody(2, "snap\ttext\nend", items);
  EXPECT_EQ(row(2, body, 0), std::string(kHead) + "\tsnap text end\t0\ta.doc\t/p/a.doc\turl=http://x.cn/a; title=t t");
  EXPECT_EQ(row(2, body, 1), std::string(kHead) +
                                 "\turl=http://x.cn/a\tattachname=a.doc\tattachpath=/p/a.doc\ttitle=t t");
  // Type 7 has no snapText: its column stays empty, not "-".
  EXPECT_EQ(row(7, frameBody(7, "", {{"content", "hi"}}), 0), std::string(kHead) + "\t\t0\t\t\tcontent=hi");
  // Short frames read as zero-extended.
  const std::string head = frameBody(2, "never read", {{"k", "v"}}).substr(0, body::kHeadSize);
  EXPECT_EQ(row(2, head, 1), std::string(kHead) + "\t");
  EXPECT_EQ(row(2, head, 0), std::string(kHead) + "\t-\t0\t\t\t") << "an empty snapText is \"-\"";
  // Shorter still: the missing part of the head reads as zero.
  EXPECT_EQ(row(10, head.substr(0, 60), 0), "\t0000BEEF\t11\t22\t10.1.2.3\t2001:db8::1\t0\t0\t-\t0\t\t\t");
}

TEST(FrameReader, UnusableFramesGiveEmptyRowsOrRaise) {
  TraceLog log;
  const std::string body = frameBody(2, "s", {});
  EXPECT_EQ(row(3, body, 0), "");
  EXPECT_TRUE(log.has("hdr->frameType:3 is invalid"));
  EXPECT_EQ(CFrameReader().Row(nullptr, body.data(), 0), "");
  EXPECT_TRUE(log.has("invalid param, frame or hdr is null"));
  EXPECT_THROW(row(2, std::string(), 0), std::runtime_error);

  // A payload whose item runs past its end is refused by rowrender.
  std::string damaged = frameBody(8, "s", {{"url", "abcdef"}});
  damaged.resize(damaged.size() - 2);
  storeLE32(damaged.data() + frameLayout(8)->payloadSize, static_cast<uint32_t>(damaged.size() - 370));
  EXPECT_THAT(test::failureText([&] { row(8, damaged, 0); }),
              ::testing::HasSubstr("convert query result fail, item 0: value runs past"));
  EXPECT_THROW(row(8, damaged, 1), std::runtime_error);
  // A stored payload size beyond the frame is cut to the frame.
  std::string overstated = frameBody(9, "s", {{"a", "b"}});
  storeLE32(overstated.data() + frameLayout(9)->payloadSize, 1u << 30);
  EXPECT_EQ(row(9, overstated, 1), std::string(kHead) + "\ta=b");
}

// Runs Read into a buffer with a guard zone behind `capacity`.
std::string read(const std::string& data, uint32_t capacity) {
  std::vector<uint8_t> out(capacity + 64, 0xCC);
  CResultReader().Read(data.data(), static_cast<uint32_t>(data.size()), out.data(), capacity);
  for (size_t i = capacity; i < out.size(); ++i) EXPECT_EQ(out[i], 0xCC) << "written past the space at " << i;
  const uint32_t size = loadLE32(out.data());
  EXPECT_LE(size + 5, capacity);
  EXPECT_EQ(out[4 + size], 0);
  return std::string(reinterpret_cast<const char*>(out.data() + 4), size);
}

TEST(ResultReader, BadPayloadsAndSmallSpaces) {
  TraceLog log;
  EXPECT_EQ(read("\x05", 64), kResultSeparator);
  EXPECT_TRUE(log.has("get result set fail, item 0: key length runs past"));
  EXPECT_TRUE(log.has("get render_set count fail"));

  // Values that do not fit are left out; smaller ones behind them still come.
  EXPECT_EQ(read(payload({{"a", std::string(20, 'x')}, {"b", "yy"}}), 4 + 11 + 1), std::string("yy") + kResultSeparator);
  EXPECT_TRUE(log.has("values left out"));
  EXPECT_EQ(read(payload({{"a", std::string(20, 'x')}}), kMinResultSpace), kResultSeparator);
  uint8_t out[8];
  EXPECT_THROW(CResultReader().Read("", 0, out, sizeof out), std::logic_error);

  uint8_t untouched[16] = {7};
  CResultReader().Read(nullptr, 3, untouched, sizeof untouched);
  EXPECT_EQ(untouched[0], 7);
  EXPECT_TRUE(log.has("invalid param, record or result is null"));
}

// Random payloads against a model built on std::map: values in key order, a
// later key wins, skipped keys and empty values go, and of "DNS", "url",
// "host", "urldata" a value inside another goes (the earlier name stays
// when two are equal); nothing left is the separator alone.
TEST(ResultReader, MatchesTheModelOnRandomPayloads) {
  const char* const keys[] = {"DNS",     "url",          "host", "urldata",  "title",     "count",
                              "content", "xattachpathx", "Url",  "chat_dir", "attachname"};
  const char* const values[] = {"", "a", "ab", "abc", "b", "bc", "abcabc", "c"};
  const std::set<std::string> skipped = {"count", "xattachpathx", "chat_dir"};
  const char* const order[] = {"DNS", "url", "host", "urldata"};
  qvloggen::Rng rng(7);
  for (int round = 0; round < 2000; ++round) {
    Items items;
    std::map<std::string, std::string> model;
    for (uint32_t i = 0, count = rng.below(8); i < count; ++i) {
      const auto& [key, value] = items.emplace_back(keys[rng.below(11)], values[rng.below(8)]);
      if (skipped.count(key) == 0) model[key] = value;
    }
    // Of the four, a value goes when another holds it; of two equal ones the later name goes.
    std::map<std::string, std::string> kept = model;
    for (int a = 0; a < 4; ++a) {
      for (int b = 0; b < 4; ++b) {
        const auto mine = model.find(order[a]), other = model.find(order[b]);
        if (a == b || mine == model.end() || other == model.end()) continue;
        if (other->second.find(mine->second) != std::string::npos && (other->second != mine->second || b < a)) {
          kept.erase(order[a]);
        }
      }
    }
    std::string expected;
    for (const auto& [key, value] : kept) expected += value.empty() ? "" : value + kResultSeparator;
    if (expected.empty()) expected = kResultSeparator;
    ASSERT_EQ(read(payload(items), 4096), expected) << "round " << round;
  }
}

}  // namespace
}  // namespace quern
