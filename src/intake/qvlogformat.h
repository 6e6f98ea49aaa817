// The qvlog file as the appliance writes it: a 28-byte file head, then blocks
// back to back (a 32-byte block head and its payload, plain or one zlib
// stream), each payload a run of frames (a 12-byte frame head and its body).
// All integers are little-endian; the heads are decoded field by field so
// that no struct layout of the compiler matters.
#pragma once

#include <cstdint>

#include "storage/endian.h"

namespace quern {

constexpr uint32_t kFileHeaderSize = 28;
constexpr uint32_t kBlockHeaderSize = 32;
constexpr uint32_t kFrameHeaderSize = 12;
// Both process-wide log buffers have this size, so no block may be larger.
constexpr uint32_t kLogBufferSize = 2097152;

struct LogBlockHeader {
  uint32_t mark = 0;  // not read by the library
  uint32_t blockSize = 0;
  uint32_t rawSize = 0;
  uint32_t compressed = 0;
  uint32_t frameCount = 0;  // not read by the library
  uint32_t sliceTag = 0;
  uint64_t stamp = 0;  // not read by the library
};

struct FrameHeader {
  uint32_t frameType = 0;
  uint32_t frameSize = 0;
  uint32_t reserved = 0;
};

inline LogBlockHeader decodeBlockHeader(const uint8_t* bytes) {
  LogBlockHeader header;
  header.mark = loadLE32(bytes);
  header.blockSize = loadLE32(bytes + 4);
  header.rawSize = loadLE32(bytes + 8);
  header.compressed = loadLE32(bytes + 12);
  header.frameCount = loadLE32(bytes + 16);
  header.sliceTag = loadLE32(bytes + 20);
  header.stamp = loadLE64(bytes + 24);
  return header;
}

inline void encodeBlockHeader(const LogBlockHeader& header, uint8_t* bytes) {
  storeLE32(bytes, header.mark);
  storeLE32(bytes + 4, header.blockSize);
  storeLE32(bytes + 8, header.rawSize);
  storeLE32(bytes + 12, header.compressed);
  storeLE32(bytes + 16, header.frameCount);
  storeLE32(bytes + 20, header.sliceTag);
  storeLE64(bytes + 24, header.stamp);
}

inline FrameHeader decodeFrameHeader(const uint8_t* bytes) {
  return FrameHeader{loadLE32(bytes), loadLE32(bytes + 4), loadLE32(bytes + 8)};
}

inline void encodeFrameHeader(const FrameHeader& header, uint8_t* bytes) {
  storeLE32(bytes, header.frameType);
  storeLE32(bytes + 4, header.frameSize);
  storeLE32(bytes + 8, header.reserved);
}

// Offsets inside a frame body: the 104-byte head that all types share.
namespace body {
constexpr uint32_t kEventTag = 4;
constexpr uint32_t kUserCrc = 12;
constexpr uint32_t kGroupCrc = 20;
constexpr uint32_t kHostAddress = 28;
constexpr uint32_t kPeerAddress = 44;
constexpr uint32_t kServCrc = 60;
constexpr uint32_t kAppCrc = 64;
constexpr uint32_t kPrivateMark = 68;
constexpr uint32_t kTimeText = 76;
constexpr uint32_t kTimeTextSize = 28;
constexpr uint32_t kHeadSize = 104;
constexpr uint32_t kSnapTextSize = 256;
// A type-8 frame with this private mark is hidden from every reader.
constexpr uint32_t kHiddenType = 8;
constexpr uint32_t kHiddenMark = 31;
}  // namespace body

// The fixed part behind the head, per frame type.
struct FrameLayout {
  uint32_t frameType;
  uint32_t fixedEnd;
  uint32_t snapText;  // 0: the type has no snapText
  uint32_t payloadSize;
  uint32_t payload;
};

inline constexpr FrameLayout kFrameLayouts[] = {
    {2, 628, 364, 624, 628}, {7, 114, 0, 110, 114}, {8, 370, 110, 366, 370},
    {9, 370, 106, 362, 370}, {10, 370, 106, 362, 370},
};
constexpr uint32_t kLargestFixedEnd = 628;

// Null for the types that carry no record.
inline const FrameLayout* frameLayout(uint32_t frameType) {
  for (const FrameLayout& layout : kFrameLayouts) {
    if (layout.frameType == frameType) return &layout;
  }
  return nullptr;
}

}  // namespace quern
