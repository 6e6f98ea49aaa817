// POSIntersect: the records in which the words of a phrase stand side by
// side, in order. A leapfrog over the words' record streams finds the
// records that all of them hold; for each, the positions are checked for a
// p such that word k (from 0) stands at p + k. Positions of other records are
// never decoded: they are skipped in one sweep at the next common record.
// The answer is a bitmap cut into the field's segments, so that it joins
// the other sets of the directory. Used for one `run`. One thread at a time,
// beside the Canceler's, which is asked at each step.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/posvector.h"
#include "codec/sfwahvector.h"

namespace quern {

class POSIntersect {
 public:
  // The words' lists in text order (a word that stands twice has two lists).
  explicit POSIntersect(std::vector<std::unique_ptr<POSVector>> lists);
  virtual ~POSIntersect();
  POSIntersect(const POSIntersect&) = delete;
  POSIntersect& operator=(const POSIntersect&) = delete;

  // The matching records, one segment per record count of `segments`, owned
  // by the caller. A cancel ends the walk with a well-formed, incomplete
  // result; with no Canceler set it raises level 1. A record past the
  // segments raises level 2 "record %u lies past the %u records of %s", a
  // record met twice (a damaged list) "record list of %s is out of order at %u".
  std::unique_ptr<SFWAHVector> run(const std::vector<uint32_t>& segments);
  // The lists back, for a caller that attaches them again.
  std::vector<std::unique_ptr<POSVector>> takeLists() { return std::move(m_lists); }

 private:
  // Positions checked for record `rid`, on which every list stands.
  bool align();
  bool phraseTest();
  // Sets the bit of `rid`, closing the segments that end below it.
  void addRecord(uint32_t rid);
  // Zeros up to `boundary`, then the segment is closed.
  void closeSegment(uint32_t boundary);

  std::vector<std::unique_ptr<POSVector>> m_lists;
  std::unique_ptr<SFWAHVector> m_result;
  std::vector<uint32_t> m_boundaries;  // running sums of the segments
  size_t m_nextBoundary = 0;
  uint32_t m_lastRecord = 0;  // the last record the result has bits for
};

}  // namespace quern
