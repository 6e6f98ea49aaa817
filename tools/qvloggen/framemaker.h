// Makes the frames of a log the way the appliance writes them: the 104-byte
// head, the fixed part of the type with its snapText, and a payload of
// key/value items. Besides ordinary frames it makes the odd ones a reader
// meets in the field: short frames of 104 bytes, frames of types that carry
// no record, and hidden type-8 frames.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "clock.h"
#include "random.h"
#include "truth.h"
#include "vocabulary.h"
#include "world.h"

namespace quern::qvloggen {

enum class FrameKind : uint8_t { Ordinary, Short, Unknown, Hidden };

class FrameMaker {
 public:
  FrameMaker(const World& world, Rng& rng, const Clock& start);

  // The kind of the next frame, by the mix of a field log.
  FrameKind drawKind();
  // Appends frame head and body to `raw`; `truth` gets what was written
  // (its block offset and ordinal are the caller's).
  void make(FrameKind kind, std::vector<uint8_t>& raw, TruthFrame& truth);
  // Seconds since 1970 of the latest frame's time.
  int64_t epochSeconds() const { return m_clock.epochSeconds(); }

 private:
  void drawHead(TruthFrame& truth, const Service& service, uint32_t privateMark);
  void writeHead(uint8_t* body, const TruthFrame& truth) const;
  void addItem(TruthFrame& truth, std::string key, std::string value);
  std::string sentence(uint32_t minWords, uint32_t maxWords);
  std::string fileName();
  void webItems(TruthFrame& truth);
  void mailItems(TruthFrame& truth, const std::string& from);
  void chatItems(TruthFrame& truth, const std::string& from);
  void searchItems(TruthFrame& truth);
  void fileItems(TruthFrame& truth);

  const World& m_world;
  Rng& m_rng;
  Clock m_clock;
  Zipf m_serviceRanks;
  Zipf m_domainRanks;
  uint32_t m_sequence = 0;
  const User* m_user = nullptr;
  const Address* m_peer = nullptr;
};

}  // namespace quern::qvloggen
