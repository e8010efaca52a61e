#include "JsonWriter.h"

#include "Output.h"
#include "Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace zyscene
{

namespace
{
// Deeper levels are not indented any further: the blanks of 10,000 nested levels would outweigh the document.
constexpr std::size_t deepestIndent = 32;
} // namespace

void JsonWriter::begin(char bracket, Layout layout)
{
    separate();
    _out.put(bracket);
    if (!_levels.empty() && _levels.back().layout == OneLine)
        layout = OneLine;
    _levels.push_back({layout, true});
}

void JsonWriter::end(char bracket)
{
    const Level level = _levels.back();
    _levels.pop_back();
    if (!level.empty && level.layout == Lines)
        lineBreak();
    _out.put(bracket);
}

// What stands between two values: nothing behind a key, otherwise a comma and the layout's white space.
void JsonWriter::separate()
{
    if (_afterKey) {
        _afterKey = false;
        return;
    }
    if (_levels.empty())
        return;
    Level& level = _levels.back();
    if (!level.empty)
        _out.put(',');
    if (level.layout == Lines)
        lineBreak();
    else if (!level.empty)
        _out.put(' ');
    level.empty = false;
}

void JsonWriter::lineBreak()
{
    static const char blanks[] = "                                                                ";
    static_assert(sizeof(blanks) > 2 * deepestIndent, "two blanks for each level");
    _out.put('\n');
    _out.write(std::string_view(blanks, 2 * std::min(_levels.size(), deepestIndent)));
}

void JsonWriter::key(std::string_view name)
{
    separate();
    string(name);
    _out.write(": ");
    _afterKey = true;
}

void JsonWriter::value(std::string_view text)
{
    separate();
    string(text);
}

void JsonWriter::value(bool flag)
{
    separate();
    _out.write(flag ? "true" : "false");
}

void JsonWriter::null()
{
    separate();
    _out.write("null");
}

template <class NumberT>
void JsonWriter::number(NumberT number)
{
    char text[32];
    const std::to_chars_result result = std::to_chars(text, text + sizeof(text), number);
    _out.write(std::string_view(text, static_cast<std::size_t>(result.ptr - text)));
}

void JsonWriter::value(float content)
{
    if (!std::isfinite(content)) {
        value(static_cast<double>(content));
        return;
    }
    separate();
    number(content); // a float of its own: as a double it would get digits that it does not have
}

void JsonWriter::value(double content)
{
    separate();
    if (std::isfinite(content))
        number(content);
    else
        string(std::isnan(content) ? "nan" : content > 0 ? "inf" : "-inf");
}

void JsonWriter::value(std::int64_t content)
{
    separate();
    number(content);
}

void JsonWriter::value(std::uint64_t content)
{
    separate();
    number(content);
}

void JsonWriter::string(std::string_view text)
{
    static const char digits[] = "0123456789abcdef";
    _out.put('"');
    while (!text.empty()) {
        // The usual run of plain characters at once.
        std::size_t plain = 0;
        while (plain < text.size()) {
            const unsigned char byte = static_cast<unsigned char>(text[plain]);
            if (byte < 0x20 || byte >= 0x7f || byte == '"' || byte == '\\')
                break;
            ++plain;
        }
        _out.write(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty())
            break;

        const unsigned char byte = static_cast<unsigned char>(text[0]);
        std::size_t length = 1;
        if (byte == '"' || byte == '\\') {
            _out.put('\\');
            _out.put(text[0]);
        } else if (byte == '\n') {
            _out.write("\\n");
        } else if (byte == '\t') {
            _out.write("\\t");
        } else if (byte < 0x20 || byte == 0x7f) {
            const char escape[] = {'\\', 'u', '0', '0', digits[byte >> 4], digits[byte & 15]};
            _out.write(std::string_view(escape, sizeof(escape)));
        } else if ((length = utf8Length(text)) != 0) {
            _out.write(text.substr(0, length));
        } else {
            length = 1;
            _out.write("\xef\xbf\xbd");
        }
        text.remove_prefix(length);
    }
    _out.put('"');
}

void JsonWriter::finish()
{
    _out.put('\n');
    _out.flush();
}

} // namespace zyscene
