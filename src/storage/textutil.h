// Text helpers shared by the configuration and query code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quern {

// Cuts `text` at every `delimiter`; empty pieces are dropped, so ",a,,b," gives
// "a" and "b" and an empty text gives nothing. `out` is cleared first.
void split(std::vector<std::string>& out, const char* text, char delimiter);

// `text` without the blanks and the control characters BEL to CR (BEL, BS,
// TAB, LF, VT, FF, CR) at its ends.
std::string trimBlanks(std::string_view text);

// A number as a 32-bit C runtime's `strtoul` reads it in base 10: blanks, a
// sign, digits up to the first other character; no digits give 0. A
// magnitude past 32 bits saturates; a minus sign negates modulo 2^32.
uint32_t parseDecimal(const char* text);
// The same as `strtol` of a 32-bit runtime: past the range it saturates to
// INT32_MAX or INT32_MIN.
int32_t parseSignedDecimal(const char* text);

}  // namespace quern
