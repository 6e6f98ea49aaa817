// Walking a generated log with the reader: every frame against the sidecar,
// and damaged copies walked to their end without an invalid access.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "intake/framereader.h"
#include "intake/frameview.h"
#include "intake/qvlogreader.h"
#include "support/tracelog.h"
#include "qvloggen/qvloggen.h"
#include "qvloggen/random.h"
#include "rowrender/rowrender.h"
#include "storage/address.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using qvloggen::TruthFrame;

std::string address(const uint8_t* bytes) {
  char text[kAddressTextSize];
  addressToText(bytes, text);
  return text;
}

// Compares one frame read from the log with its sidecar line. The fields
// that become index values (user, host, serv, app, private, time) are
// checked through the index by the run tests.
void expectFrame(const FrameHeader& header, const uint8_t* body, const TruthFrame& truth) {
  ASSERT_EQ(header.frameType, truth.type);
  ASSERT_EQ(header.frameSize, truth.frameSize);
  EXPECT_EQ(loadLE32(body + body::kEventTag), truth.eventTag);
  EXPECT_EQ(loadLE64(body + body::kGroupCrc), truth.groupCrc);
  EXPECT_EQ(address(body + body::kPeerAddress), truth.peer);
  FrameView frame;
  if (!frame.load(header, body)) return;
  EXPECT_EQ(frame.snapText(), truth.snap);
  RenderSet* set = render_set_get(frame.payload(), frame.payloadSize());
  ASSERT_NE(set, nullptr) << row_render_error();
  ASSERT_EQ(render_set_count(set), static_cast<int>(truth.items.size()));
  for (int i = 0; i < render_set_count(set); ++i) {
    RenderItem* item = render_item_get(set, i);
    EXPECT_EQ(render_item_key(item), truth.items[static_cast<size_t>(i)].first);
    EXPECT_EQ(render_item_val(item), truth.items[static_cast<size_t>(i)].second);
  }
}

// Every frame against the sidecar; and what a field log holds must be in a
// generated one, or the walks prove little.
TEST(Walk, EveryFrameMatchesTheSidecarAndTheLogHoldsWhatTheFieldHolds) {
  test::TempDir dir;
  const qvloggen::Summary summary = qvloggen::generate({.seed = 3, .bytes = 6u << 20}, dir.path());
  const qvloggen::Truth truth = qvloggen::readTruth(summary.truthPath);

  std::vector<const TruthFrame*> visible;
  std::set<uint32_t> types;
  size_t shortFrames = 0, hidden = 0, ipv6 = 0, attachments = 0, tabs = 0, chinese = 0, noGroup = 0;
  for (const TruthFrame& frame : truth.frames) {
    if (frame.ordinal >= 0) visible.push_back(&frame);
    types.insert(frame.type);
    shortFrames += frame.frameSize == body::kHeadSize && frameLayout(frame.type) != nullptr;
    hidden += frame.ordinal < 0;
    ipv6 += frame.host.find(':') != std::string::npos;
    tabs += frame.snap.find('\t') != std::string::npos;
    noGroup += frame.groupCrc == 0;
    for (const auto& [key, value] : frame.items) {
      attachments += key.find("attachpath") != std::string::npos;
      chinese += static_cast<unsigned char>(value.empty() ? 0 : value[0]) >= 0xE4;
    }
  }
  EXPECT_TRUE(types.count(2) && types.count(7) && types.count(8) && types.count(9) && types.count(10));
  EXPECT_TRUE(types.count(3) || types.count(4) || types.count(6) || types.count(11));
  for (const size_t count : {shortFrames, hidden, ipv6, attachments, tabs, chinese, noGroup}) EXPECT_GT(count, 0u);
  size_t compressed = 0, large = 0;
  for (const auto& block : truth.blocks) compressed += block.compressed, large += block.rawSize > 512u << 10;
  EXPECT_TRUE(compressed > 0 && compressed < truth.blocks.size() && large > 0);

  CQvlogReader reader(summary.logPath.c_str());
  LogBlockHeader header;
  size_t blocks = 0, next = 0;
  while (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
    ASSERT_LT(blocks, truth.blocks.size());
    EXPECT_EQ(header.rawSize, truth.blocks[blocks].rawSize);
    int32_t ordinal = 0;
    FrameHeader frameHeader;
    while (const uint8_t* body = frames->Next(&frameHeader)) {
      ASSERT_LT(next, visible.size());
      const TruthFrame& expected = *visible[next++];
      EXPECT_EQ(expected.blockOffset, truth.blocks[blocks].offset);
      EXPECT_EQ(expected.ordinal, ordinal++);
      expectFrame(frameHeader, body, expected);
    }
    ++blocks;
  }
  EXPECT_EQ(blocks, truth.blocks.size());
  EXPECT_EQ(next, visible.size());
}

// Flipped bytes in heads, payloads and streams, and oversized sizes: each
// copy is walked to its end, every frame rendered; the sanitizers watch.
TEST(Walk, DamagedCopiesAreWalkedToTheirEnd) {
  test::TempDir dir;
  const qvloggen::Summary summary =
      qvloggen::generate({.seed = 8, .bytes = 1u << 20, .maxBlock = 96u << 10, .truth = false}, dir.path());
  const std::string original = test::readFile(summary.logPath);
  const std::string path = dir.file("damaged.qvlog");
  qvloggen::Rng rng(99);
  test::TraceLog log;
  std::vector<uint8_t> record(1 << 16);
  for (int round = 0; round < 60; ++round) {
    std::string bytes = original;
    const auto& block = summary.blocks[rng.below(static_cast<uint32_t>(summary.blocks.size()))];
    for (uint32_t i = 0, flips = rng.between(1, 8); i < flips; ++i) {
      // Half the flips land in a block head, where they hurt most.
      const uint64_t at = rng.percent(50) ? block.offset + rng.below(32)
                                          : 28 + rng.below(static_cast<uint32_t>(bytes.size() - 28));
      bytes[at] = static_cast<char>(bytes[at] ^ (1 << rng.below(8)));
    }
    if (rng.percent(20)) storeLE32(bytes.data() + block.offset + 4 + 4 * rng.below(2), 0x7FFFFFFF);
    test::writeFile(path, bytes);
    CQvlogReader reader(path.c_str());
    LogBlockHeader header;
    while (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
      FrameHeader frameHeader;
      while (const uint8_t* body = frames->Next(&frameHeader)) {
        FrameView frame;
        if (!frame.load(frameHeader, body) || frameHeader.frameSize == 0) continue;
        for (int exportRow = 0; exportRow < 2; ++exportRow) {
          try {
            CFrameReader().Row(&frameHeader, body, exportRow);
          } catch (const std::runtime_error&) {
            // A refused payload is a clean failure.
          }
        }
        CResultReader().Read(frame.payload(), frame.payloadSize(), record.data(),
                             static_cast<uint32_t>(record.size()));
      }
    }
  }
  // The damage was seen: some copies were refused along the way.
  EXPECT_TRUE(log.has("uncompress") || log.has("does not fit") || log.has("larger than the buffer"));
}

}  // namespace
}  // namespace quern
