// Widths of UTF-8 text on a terminal: East Asian wide characters take two
// columns, combining marks none, everything else one. Bytes that are not
// UTF-8 count one column each.
#pragma once

#include <string>
#include <string_view>

namespace quern::cli {

size_t displayWidth(std::string_view text);

// The text cut to at most `width` columns, on a character boundary; a cut
// text ends in "…".
std::string cutToWidth(std::string_view text, size_t width);

// The text cut or padded with blanks to exactly `width` columns.
std::string fitToWidth(std::string_view text, size_t width);

}  // namespace quern::cli
