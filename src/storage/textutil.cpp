#include "storage/textutil.h"

namespace quern {

namespace {

bool isBlank(char c) { return c == ' ' || (c >= '\a' && c <= '\r'); }

// Blanks and the sign before the digits; the digits' magnitude, saturated
// just past 32 bits. Written out so that 64-bit builds read the same numbers
// as 32-bit ones.
uint64_t magnitudeOf(const char*& text, bool& negative) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  uint64_t magnitude = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    magnitude = magnitude * 10 + static_cast<uint64_t>(*text - '0');
    if (magnitude > UINT32_MAX) return uint64_t{UINT32_MAX} + 1;
  }
  return magnitude;
}

}  // namespace

void split(std::vector<std::string>& out, const char* text, char delimiter) {
  out.clear();
  std::string token;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p != delimiter) {
      token += *p;
    } else if (!token.empty()) {
      out.push_back(std::move(token));
      token.clear();
    }
  }
  if (!token.empty()) out.push_back(std::move(token));
}

std::string trimBlanks(std::string_view text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && isBlank(text[begin])) ++begin;
  while (end > begin && isBlank(text[end - 1])) --end;
  return std::string(text.substr(begin, end - begin));
}

uint32_t parseDecimal(const char* text) {
  bool negative = false;
  const uint64_t magnitude = magnitudeOf(text, negative);
  if (magnitude > UINT32_MAX) return UINT32_MAX;
  const uint32_t value = static_cast<uint32_t>(magnitude);
  return negative ? 0u - value : value;
}

int32_t parseSignedDecimal(const char* text) {
  bool negative = false;
  const uint64_t magnitude = magnitudeOf(text, negative);
  if (negative) return magnitude >= uint64_t{1} << 31 ? INT32_MIN : -static_cast<int32_t>(magnitude);
  return magnitude > INT32_MAX ? INT32_MAX : static_cast<int32_t>(magnitude);
}

}  // namespace quern
