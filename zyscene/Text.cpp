#include "Text.h"

namespace zyscene
{

std::size_t utf8Length(std::string_view text)
{
    if (text.empty())
        return 0;
    const unsigned char first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return 1;

    // Lead byte, length, and the range of the second byte, which excludes overlong forms and surrogates.
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xbf;
    if (first >= 0xc2 && first <= 0xdf) {
        length = 2;
    } else if (first >= 0xe0 && first <= 0xef) {
        length = 3;
        low = first == 0xe0 ? 0xa0 : 0x80;
        high = first == 0xed ? 0x9f : 0xbf;
    } else if (first >= 0xf0 && first <= 0xf4) {
        length = 4;
        low = first == 0xf0 ? 0x90 : 0x80;
        high = first == 0xf4 ? 0x8f : 0xbf;
    }
    if (length == 0 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte < low || byte > high)
            return 0;
        low = 0x80;
        high = 0xbf;
    }
    return length;
}

std::string printable(std::string_view text)
{
    static const char digits[] = "0123456789abcdef";
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const unsigned char byte = static_cast<unsigned char>(text[0]);
        std::size_t length = utf8Length(text);
        if (length == 0) {
            result += "\xef\xbf\xbd";
            length = 1;
        } else if (byte < 0x20 || byte == 0x7f) {
            result += "\\x";
            result += digits[byte >> 4];
            result += digits[byte & 15];
        } else if (byte == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0) {
            // The C1 controls, which some terminals obey.
            result += "\\x";
            result += digits[static_cast<unsigned char>(text[1]) >> 4];
            result += digits[static_cast<unsigned char>(text[1]) & 15];
        } else {
            result.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    return result;
}

std::string plural(std::uint64_t count, std::string_view noun)
{
    std::string result = std::to_string(count);
    result += ' ';
    result += noun;
    if (count != 1)
        result += 's';
    return result;
}

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

} // namespace zyscene
