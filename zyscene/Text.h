#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zyscene
{

/// Number of bytes of the UTF-8 character at the start of `text`; 0 when there is none or it is malformed
/// (overlong, a surrogate, beyond U+10FFFF, cut short).
std::size_t utf8Length(std::string_view text);

/// `text` made safe for a terminal and for line-wise reading: control characters as \xNN, bytes that are not
/// UTF-8 as U+FFFD. Names in scene files are other people's bytes.
std::string printable(std::string_view text);

/// "1 node", "2 nodes".
std::string plural(std::uint64_t count, std::string_view noun);

/// ASCII lower case; no locale.
std::string lowerCase(std::string_view text);

} // namespace zyscene
