// Network addresses in the library's 16-byte form: IPv6 as is; IPv4 as
// FF BF 00 00, eight zero bytes, then the four address bytes. The FF BF
// prefix alone marks an IPv4 address, so no IPv6 text may start with it.
#pragma once

#include <cstdint>

namespace quern {

constexpr int kAddressTextSize = 256;

// 1 for a strict dotted quad, else 0; `out` is written only on success.
int parseIPv4(const char* text, uint8_t out[4]);
// 1 for an IPv6 presentation text, else 0; `out` is written only on success.
int parseIPv6(const char* text, uint8_t out[16]);
// 0, or -1 when the text is neither family (then `out` is unchanged).
int addressFromText(const char* text, uint8_t out[16]);
// The text's length, or -1 when it does not fit `kAddressTextSize` bytes.
int addressToText(const uint8_t address[16], char out[kAddressTextSize]);
bool isIPv4Address(const uint8_t address[16]);

}  // namespace quern
