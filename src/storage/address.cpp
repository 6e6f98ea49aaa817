#include "storage/address.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace quern {

namespace {

constexpr uint8_t kIPv4Prefix[2] = {0xFF, 0xBF};

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool isIPv4Address(const uint8_t address[16]) {
  return address[0] == kIPv4Prefix[0] && address[1] == kIPv4Prefix[1];
}

int parseIPv4(const char* text, uint8_t out[4]) {
  uint8_t bytes[4];
  int groups = 0;
  bool inGroup = false;
  unsigned value = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p >= '0' && *p <= '9') {
      if (!inGroup) {
        if (groups == 4) return 0;
        inGroup = true;
        value = 0;
      }
      value = value * 10 + static_cast<unsigned>(*p - '0');
      if (value > 255) return 0;
    } else if (*p == '.') {
      if (!inGroup || groups >= 3) return 0;
      bytes[groups++] = static_cast<uint8_t>(value);
      inGroup = false;
    } else {
      return 0;
    }
  }
  if (!inGroup || groups != 3) return 0;
  bytes[3] = static_cast<uint8_t>(value);
  std::memcpy(out, bytes, 4);
  return 1;
}

int parseIPv6(const char* text, uint8_t out[16]) {
  uint8_t bytes[16] = {};
  int used = 0;
  int gap = -1;
  const char* p = text;
  if (*p == ':' && *++p != ':') return 0;
  const char* group = p;
  bool inGroup = false;
  unsigned value = 0;
  for (char c; (c = *p) != '\0'; ++p) {
    const int digit = hexValue(c);
    if (digit >= 0) {
      value = (value << 4) | static_cast<unsigned>(digit);
      if (value > 0xFFFF) return 0;
      inGroup = true;
    } else if (c == ':') {
      group = p + 1;
      if (!inGroup) {
        if (gap >= 0) return 0;
        gap = used;
        continue;
      }
      if (p[1] == '\0' || used + 2 > 16) return 0;
      bytes[used++] = static_cast<uint8_t>(value >> 8);
      bytes[used++] = static_cast<uint8_t>(value);
      inGroup = false;
      value = 0;
    } else if (c == '.' && used + 4 <= 16 && parseIPv4(group, bytes + used) == 1) {
      used += 4;
      inGroup = false;
      break;
    } else {
      return 0;
    }
  }
  if (inGroup) {
    if (used + 2 > 16) return 0;
    bytes[used++] = static_cast<uint8_t>(value >> 8);
    bytes[used++] = static_cast<uint8_t>(value);
  }
  if (gap >= 0) {
    // The gap stands for at least one zero group.
    if (used == 16) return 0;
    const int tail = used - gap;
    std::memmove(bytes + 16 - tail, bytes + gap, static_cast<size_t>(tail));
    std::memset(bytes + gap, 0, static_cast<size_t>(16 - used));
    used = 16;
  }
  if (used != 16 || isIPv4Address(bytes)) return 0;
  std::memcpy(out, bytes, 16);
  return 1;
}

int addressFromText(const char* text, uint8_t out[16]) {
  uint8_t quad[4];
  if (parseIPv4(text, quad) == 1) {
    uint8_t address[16] = {kIPv4Prefix[0], kIPv4Prefix[1]};
    std::memcpy(address + 12, quad, 4);
    std::memcpy(out, address, 16);
    return 0;
  }
  return parseIPv6(text, out) == 1 ? 0 : -1;
}

int addressToText(const uint8_t address[16], char out[kAddressTextSize]) {
  char text[kAddressTextSize * 2];
  int length = 0;
  auto append = [&](const char* format, auto... args) {
    length += std::snprintf(text + length, sizeof text - static_cast<size_t>(length), format, args...);
  };
  if (isIPv4Address(address)) {
    append("%d.%d.%d.%d", address[12], address[13], address[14], address[15]);
  } else {
    unsigned words[8];
    for (int i = 0; i < 8; ++i) words[i] = (unsigned{address[2 * i]} << 8) | address[2 * i + 1];
    int bestBase = -1, bestLength = 0;
    for (int i = 0; i < 8;) {
      if (words[i] != 0) {
        ++i;
        continue;
      }
      int end = i;
      while (end < 8 && words[end] == 0) ++end;
      if (end - i > bestLength) bestBase = i, bestLength = end - i;
      i = end;
    }
    if (bestLength < 2) bestBase = -1;
    for (int i = 0; i < 8; ++i) {
      if (bestBase >= 0 && i >= bestBase && i < bestBase + bestLength) {
        if (i == bestBase) append("%c", ':');
        continue;
      }
      if (i != 0) append("%c", ':');
      const bool embeddedV4 = i == 6 && bestBase == 0 &&
                              (bestLength == 6 || (bestLength == 7 && words[7] != 1) ||
                               (bestLength == 5 && words[5] == 0xFFFF));
      if (embeddedV4) {
        append("%d.%d.%d.%d", address[12], address[13], address[14], address[15]);
        break;
      }
      append("%x", words[i]);
    }
    if (bestBase >= 0 && bestBase + bestLength == 8) append("%c", ':');
  }
  if (length >= kAddressTextSize) return -1;
  std::memcpy(out, text, static_cast<size_t>(length) + 1);
  return length;
}

}  // namespace quern
