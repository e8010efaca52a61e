#pragma once

#include <charconv>
#include <string>

namespace kelda
{

/// Appends the shortest text that std::from_chars reads back to exactly this value; no locale is asked.
/// REQUIRES: floating-point values are finite.
template <class T>
void appendNumber(std::string& out, T value)
{
    char text[32];
    const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
    out.append(text, r.ptr);
}

} // namespace kelda
