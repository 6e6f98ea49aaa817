// Filter trees as text, so that tests compare a parsed tree with the tree
// they expect: E(field=value), R(field=from..to), M[...], U[...], children
// joined by ", " and value bytes outside printable ASCII as \xHH.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "search/efilter.h"
#include "search/mfilter.h"
#include "search/rfilter.h"
#include "search/ufilter.h"
#include "storage/endian.h"

namespace quern::test {

inline std::string shown(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f && byte != '\\') {
      text += c;
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
      text += escaped;
    }
  }
  return text;
}

template <typename List>
std::string listed(const char* kind, const List& filters);

inline std::string describe(const Filter& filter) {
  if (const auto* e = dynamic_cast<const EFilter*>(&filter)) return "E(" + e->field() + "=" + shown(e->value()) + ")";
  if (const auto* r = dynamic_cast<const RFilter*>(&filter)) {
    return "R(" + r->field() + "=" + shown(r->from()) + ".." + shown(r->to()) + ")";
  }
  if (const auto* m = dynamic_cast<const MFilter*>(&filter)) return listed("M", m->filters());
  if (const auto* u = dynamic_cast<const UFilter*>(&filter)) return listed("U", u->filters());
  return "?";
}

template <typename List>
std::string listed(const char* kind, const List& filters) {
  std::string text = std::string(kind) + "[";
  for (size_t i = 0; i < filters.size(); ++i) text += (i == 0 ? "" : ", ") + describe(*filters[i]);
  return text + "]";
}

// The stored forms of numbers, for expected trees.
inline std::string le64(uint64_t value) {
  std::string bytes(8, '\0');
  storeLE64(bytes.data(), value);
  return bytes;
}
inline std::string le32(uint32_t value) { return le64(value).substr(0, 4); }

inline std::string e(const std::string& field, const std::string& value) { return "E(" + field + "=" + shown(value) + ")"; }
inline std::string r(const std::string& field, const std::string& from, const std::string& to) {
  return "R(" + field + "=" + shown(from) + ".." + shown(to) + ")";
}

}  // namespace quern::test
