// Collector feeds one index pass: it walks the blocks of a qvlog file from
// an offset, makes one 23-field record per record-carrying frame for the
// writer, gives the data store one entry per block that made records, and
// stops at the end offset, at the end of the file, or when the process holds
// more memory than maxIndexMemory after a block.
//
// Record ids count record-carrying frames only (types 2, 7, 8, 9, 10), and
// so does the ordinal of a locator: a reader that fetches a record's frame
// must step over the other types with `nextRecordFrame`, as this class does.
// One thread at a time (the log buffers are process-wide).
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "index/index.h"
#include "intake/qvlogreader.h"

namespace quern {

class IndexWriter;

// The next frame that carries a record, stepping over (and logging) frames
// of other types; null at the end of the block.
const uint8_t* nextRecordFrame(CQvlogIterator& frames, FrameHeader& header);

class Collector : public RecordSource {
 public:
  static constexpr uint32_t kGroupLevels = 15;
  static constexpr uint32_t kMaxGroupCount = 1000000;
  // The value of a level a group does not reach: the CRC-64 of the byte 0x08.
  static constexpr uint64_t kAbsentLevel = 0x8260C30C780786A2ull;
  // Reservation beyond the frame body: the fixed fields take 244 bytes.
  static constexpr uint32_t kRecordSlack = 360;

  // Reads groups.ini from the current directory; raises level 2 on a null
  // writer (not owned) or a bad groups.ini.
  Collector(IndexWriter* writer, const char* logPath);
  ~Collector() override = default;
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  // One pass from `begin`: the offset where the next pass must start, at
  // least `end` unless the memory limit stopped the pass. At least one block
  // is taken.
  uint64_t Collect(uint64_t begin, uint64_t end);

  using Levels = std::array<uint64_t, kGroupLevels>;
  // The 15 level values of a frame's group.
  Levels groupLevels(uint64_t groupCrc) const;

 private:
  struct Group {
    std::string name;
    Levels levels;
  };
  void loadGroups();
  // Records of one block; gives their count.
  uint32_t collectBlock(CQvlogIterator& frames);
  void makeRecord(const FrameHeader& header, const uint8_t* body);

  IndexWriter* m_writer;
  std::string m_logPath;
  std::map<uint64_t, Group> m_groups;
};

}  // namespace quern
