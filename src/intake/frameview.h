// One frame of a record-carrying type (2, 7, 8, 9, 10), read in place. A
// frame shorter than its type's fixed part (the short frames of 104 bytes
// above all) is copied into a zeroed scratch area first, so that every field
// reads as zero where the frame has no bytes. The payload is cut to what the
// frame holds behind its fixed part, so no field can lead outside the frame.
#pragma once

#include <cstdint>
#include <string>

#include "intake/qvlogformat.h"

namespace quern {

class FrameView {
 public:
  // False (and the view unusable) for types without a record.
  bool load(const FrameHeader& header, const uint8_t* body);

  uint32_t u32(uint32_t offset) const { return loadLE32(m_fixed + offset); }
  uint64_t u64(uint32_t offset) const { return loadLE64(m_fixed + offset); }
  const uint8_t* at(uint32_t offset) const { return m_fixed + offset; }
  const FrameLayout& layout() const { return *m_layout; }

  // The texts up to their NUL, bounded by their field.
  std::string timeText() const;
  // Empty for type 7, which has none.
  std::string snapText() const;

  const uint8_t* payload() const { return m_payload; }
  uint32_t payloadSize() const { return m_payloadSize; }

 private:
  const FrameLayout* m_layout = nullptr;
  const uint8_t* m_fixed = nullptr;
  const uint8_t* m_payload = nullptr;
  uint32_t m_payloadSize = 0;
  uint8_t m_scratch[kLargestFixedEnd];
};

}  // namespace quern
