#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace zyscene
{

class Output;

/// Writes one JSON document as it is told, without holding it: nesting costs one byte for each level, so that
/// a tree of any depth and arrays of any length can be written.
///
/// The same calls give the same bytes. A number has as many digits as its value needs to be told from all
/// others of its type. JSON has no other floats than finite ones, the others are the strings "nan", "inf" and
/// "-inf". Bytes that are not UTF-8 become U+FFFD.
class JsonWriter
{
public:
    /// @param out must outlive the writer.
    explicit JsonWriter(Output& out) : _out(out) {}

    /// How the members of a container are laid out. What is inside a OneLine container stays on its line.
    enum Layout : char { Lines, OneLine };

    void beginObject(Layout layout = Lines) { begin('{', layout); }
    void endObject() { end('}'); }
    void beginArray(Layout layout = Lines) { begin('[', layout); }
    void endArray() { end(']'); }

    /// The key of the next value of an object.
    void key(std::string_view name);

    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(bool flag);
    void value(float number);
    void value(double number);
    void value(std::int64_t number);
    void value(std::uint64_t number);
    void value(std::int32_t number) { value(static_cast<std::int64_t>(number)); }
    void value(std::uint32_t number) { value(static_cast<std::uint64_t>(number)); }
    void null();

    template <class ValueT>
    void member(std::string_view name, const ValueT& content)
    {
        key(name);
        value(content);
    }

    /// Ends the document with a line feed.
    void finish();

private:
    struct Level {
        Layout layout;
        bool empty;
    };

    void begin(char bracket, Layout layout);
    void end(char bracket);
    void separate();
    void lineBreak();
    void string(std::string_view text);
    template <class NumberT>
    void number(NumberT number);

    Output& _out;
    std::vector<Level> _levels;
    bool _afterKey = false;
};

} // namespace zyscene
