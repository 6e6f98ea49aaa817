#include "textwidth.h"

#include <cstdint>

namespace quern::cli {

namespace {

struct Character {
  size_t bytes;
  size_t width;
};

size_t widthOf(uint32_t code) {
  if ((code >= 0x300 && code <= 0x36F) || code == 0x200B || (code >= 0xFE00 && code <= 0xFE0F)) return 0;
  const bool wide = (code >= 0x1100 && code <= 0x115F) || (code >= 0x2E80 && code <= 0x303E) ||
                    (code >= 0x3041 && code <= 0x33FF) || (code >= 0x3400 && code <= 0x4DBF) ||
                    (code >= 0x4E00 && code <= 0x9FFF) || (code >= 0xA000 && code <= 0xA4CF) ||
                    (code >= 0xAC00 && code <= 0xD7A3) || (code >= 0xF900 && code <= 0xFAFF) ||
                    (code >= 0xFE30 && code <= 0xFE4F) || (code >= 0xFF00 && code <= 0xFF60) ||
                    (code >= 0xFFE0 && code <= 0xFFE6) || (code >= 0x1F300 && code <= 0x1F64F) ||
                    (code >= 0x20000 && code <= 0x3FFFD);
  return wide ? 2 : 1;
}

// The character at the start of `text`, which is not empty.
Character next(std::string_view text) {
  const auto lead = static_cast<uint8_t>(text[0]);
  const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : (lead >> 3) == 30 ? 4 : 0;
  if (length <= 1 || length > text.size()) return {1, 1};
  uint32_t code = lead & (0x7F >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if ((byte & 0xC0) != 0x80) return {1, 1};
    code = (code << 6) | (byte & 0x3F);
  }
  return {length, widthOf(code)};
}

}  // namespace

size_t displayWidth(std::string_view text) {
  size_t width = 0;
  while (!text.empty()) {
    const Character c = next(text);
    width += c.width;
    text.remove_prefix(c.bytes);
  }
  return width;
}

std::string cutToWidth(std::string_view text, size_t width) {
  if (displayWidth(text) <= width) return std::string(text);
  if (width == 0) return "";
  // Room for the ellipsis, one column.
  std::string cut;
  size_t used = 0;
  while (!text.empty()) {
    const Character c = next(text);
    if (used + c.width > width - 1) break;
    cut.append(text.substr(0, c.bytes));
    used += c.width;
    text.remove_prefix(c.bytes);
  }
  return cut + "\xE2\x80\xA6";
}

std::string fitToWidth(std::string_view text, size_t width) {
  std::string fitted = cutToWidth(text, width);
  fitted.append(width - displayWidth(fitted), ' ');
  return fitted;
}

}  // namespace quern::cli
