// Frames as text. CFrameReader gives the host's row of a frame (result or
// export form); CResultReader gives the searchable text of a payload, the
// record's `result` field. Both read the frame in place (short frames from a
// zeroed copy) and never write into it. One thread at a time: the payload
// goes through the rowrender component, which keeps process-wide state.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "intake/qvlogformat.h"

namespace quern {

class CFrameReader {
 public:
  CFrameReader() = default;
  virtual ~CFrameReader() = default;

  // The result row (`exportRow` 0) or export row of a frame. Empty, with a
  // level-3 log line, for null arguments and types that carry no record;
  // raises when the frame size is 0 or rowrender refuses the payload.
  std::string Row(const FrameHeader* header, const void* body, int exportRow) const;
};

// Separator behind each value of the searchable text.
inline constexpr char kResultSeparator[] = "[mirtoks]";
constexpr uint32_t kResultSeparatorSize = sizeof kResultSeparator - 1;
// The smallest space `Read` can write to: length, one separator, NUL.
constexpr uint32_t kMinResultSpace = 4 + kResultSeparatorSize + 1;

class CResultReader {
 public:
  CResultReader();
  virtual ~CResultReader() = default;

  // Writes to `out` a u32 length, the text and a NUL (not counted): each
  // searchable value of the payload followed by the separator, or the
  // separator alone. Never writes more than `capacity` bytes: values that do
  // not fit are left out, with a level-3 log line. A capacity below
  // kMinResultSpace raises; bad payloads never do.
  void Read(const void* payload, uint32_t payloadSize, void* out, uint32_t capacity) const;

 private:
  std::set<std::string> m_skipKeys;
  std::vector<std::string> m_overlapKeys;
};

}  // namespace quern
