// E1TermTable: the distinct values of an E1 field, numbered in order of first
// occurrence (the indexer's values as they come, the reader's table in file
// order). Open addressing over slots that keep each term's hash, so that
// growing moves 8-byte slots and a miss rarely touches a term's bytes; the
// bytes of all terms live in one arena, one copy each, behind their
// length.
// One thread at a time.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "kinds/pagedarray.h"
#include "storage/bytearena.h"
#include "storage/zeroedarray.h"

namespace quern {

class E1TermTable {
 public:
  static constexpr uint32_t kNone = 0xFFFFFFFFu;

  E1TermTable();

  // The number of `value`, added as the next number when it is new.
  uint32_t findOrAdd(std::string_view value, bool& added);
  // The number of a term that the caller keeps in memory as the table
  // would (its u32 length in host order, then its bytes) for as long as the
  // table lives; nothing is copied.
  uint32_t adopt(const char* stored);
  // The number of `value`, or kNone.
  uint32_t find(std::string_view value) const;
  std::string_view term(uint32_t number) const {
    const char* stored = m_terms[number];
    uint32_t length;
    std::memcpy(&length, stored, sizeof length);
    return {stored + sizeof length, length};
  }
  uint32_t size() const { return static_cast<uint32_t>(m_terms.size()); }

 private:
  struct Slot {
    uint32_t hash;
    uint32_t number;  // term number + 1; 0 marks a free slot
  };
  static uint32_t hashOf(std::string_view value);
  // findOrAdd, keeping `stored` instead of a copy when it is not null.
  uint32_t place(std::string_view value, const char* stored, bool& added);
  // Copies the length and the bytes into the arena; where they start.
  const char* store(std::string_view value);
  void grow();

  ZeroedArray<Slot> m_slots;  // a power of two, at most three quarters used
  PagedArray<const char*> m_terms;  // each term's length, then its bytes
  ByteArena m_bytes;
};

}  // namespace quern
