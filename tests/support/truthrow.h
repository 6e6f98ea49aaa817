// The export row of a generated frame, written from the generator's sidecar
// alone, to hold the library's rows against.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>

#include "qvloggen/truth.h"
#include "storage/address.h"

namespace quern::test {

// An address text as the library writes it.
inline std::string addressText(const std::string& text) {
  uint8_t bytes[16];
  char out[kAddressTextSize];
  if (addressFromText(text.c_str(), bytes) != 0 || addressToText(bytes, out) < 0) return text;
  return out;
}

inline std::string exportRow(const qvloggen::TruthFrame& frame) {
  char head[1024];
  std::snprintf(head, sizeof head, "%s\t%08X\t%llu\t%llu\t%s\t%s\t%u\t%u", frame.time.c_str(), frame.eventTag,
                static_cast<unsigned long long>(frame.userCrc), static_cast<unsigned long long>(frame.groupCrc),
                addressText(frame.host).c_str(), addressText(frame.peer).c_str(), frame.servCrc, frame.appCrc);
  // Rows are TAB-separated lines: inside a key or value TAB, LF and CR are blanks.
  const auto clean = [](std::string text) {
    std::replace_if(text.begin(), text.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    return text;
  };
  std::string items;
  for (const auto& [key, value] : frame.items) items += (items.empty() ? "" : "\t") + clean(key) + "=" + clean(value);
  return std::string(head) + "\t" + items;
}

}  // namespace quern::test
