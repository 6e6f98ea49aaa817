// The ground truth of a generated log, kept in a sidecar text file: one line
// per block and one per frame, so that tests can check the reader, the slices
// and every index field against what was written. Format in docs/qvloggen.md.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace quern::qvloggen {

struct TruthBlock {
  uint64_t offset = 0;
  uint64_t end = 0;
  uint32_t sliceTag = 0;
  bool compressed = false;
  uint32_t rawSize = 0;
  uint32_t frames = 0;  // all frames, hidden ones included
};

struct TruthFrame {
  uint64_t blockOffset = 0;
  int32_t ordinal = 0;  // position as the reader yields frames; -1 when hidden
  uint32_t type = 0;
  uint32_t frameSize = 0;
  uint32_t eventTag = 0;
  std::string user;
  uint64_t userCrc = 0;
  std::string groupPath;  // empty for no group and for a group groups.ini lacks
  uint64_t groupCrc = 0;
  std::string host;
  std::string peer;
  std::string serv;
  uint32_t servCrc = 0;
  std::string app;
  uint32_t appCrc = 0;
  uint32_t privateMark = 0;
  std::string time;
  std::string snap;  // as written, before any cleaning
  std::vector<std::pair<std::string, std::string>> items;  // the payload, in order
};

struct Truth {
  std::vector<TruthBlock> blocks;
  std::vector<TruthFrame> frames;
};

void writeTruthHead(std::ostream& out);
void writeTruthBlock(std::ostream& out, const TruthBlock& block);
void writeTruthFrame(std::ostream& out, const TruthFrame& frame);
// Throws std::runtime_error naming the line that does not parse.
Truth readTruth(const std::string& path);

}  // namespace quern::qvloggen
