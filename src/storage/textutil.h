// Text helpers shared by the configuration and query code.
#pragma once

#include <string>
#include <vector>

namespace quern {

// Cuts `text` at every `delimiter`; empty pieces are dropped, so ",a,,b," gives
// "a" and "b" and an empty text gives nothing. `out` is cleared first.
void split(std::vector<std::string>& out, const char* text, char delimiter);

}  // namespace quern
