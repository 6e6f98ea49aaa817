// The brute-force answer to a query file over a generated log: the records
// that an index of the log holds, read from the sidecar, and which of them
// the filter of a query file selects, by the rules of docs/query.md applied
// to one record after the other. Tests and the demo hold the library's
// answers against it. `result` is a full-text field: a phrase matches a
// record whose words hold the phrase's words side by side, in order.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "truth.h"

namespace quern::qvloggen {

struct TruthRecord {
  uint32_t id = 0;  // from 1, in file order, as an index of the whole log numbers it
  uint64_t blockOffset = 0;
  uint32_t ordinal = 0;  // among the record-carrying frames of its block
  const TruthFrame* frame = nullptr;
  std::array<uint64_t, 15> levels{};  // the values of g1 to g15
  uint8_t host[16] = {};
  std::string text;                // the searchable text of the payload
  std::vector<std::string> words;  // the text's words (truthWords)
};

// The words of a text in the generator's alphabet by the rule of
// docs/fulltext.md, written apart from the library's word cutter: runs of
// ASCII letters and digits, folded to lower case, and each CJK ideograph
// (U+3400 to U+9FFF, the only other letters the generator writes) on its
// own; everything else separates.
std::vector<std::string> truthWords(const std::string& text);

// The records of every visible frame of types 2, 7, 8, 9 and 10. The
// records point into `truth`, which must outlive them.
std::vector<TruthRecord> truthRecords(const Truth& truth);

// "log:offset:ordinal" of a record, with the log file's number.
std::string truthLocator(const TruthRecord& record, uint32_t logNumber);

// The filter section of a query file: value by key in lower case; a key
// that is not there has the empty value.
using QueryValues = std::map<std::string, std::string>;

// The ids of every record the filter selects, ascending; nothing when the
// library refuses the query file. Throws std::invalid_argument for a group
// path deeper than the records' 15 levels, whose outcome depends on the
// clauses before it.
std::optional<std::vector<uint32_t>> truthMatches(const std::vector<TruthRecord>& records,
                                                  const QueryValues& values);

}  // namespace quern::qvloggen
