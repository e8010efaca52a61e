#pragma once

#include <string>

/// Text in UTF-8.
class KString
{
public:
    KString() {}
    KString(const char* text) : _text(text ? text : "") {}
    KString(const std::string& text) : _text(text) {}
    KString(std::string&& text) : _text(static_cast<std::string&&>(text)) {}

    /// Both give the same bytes; valid until the string changes.
    const char* asChar() const { return _text.c_str(); }
    const char* asUTF8() const { return _text.c_str(); }
    unsigned length() const { return static_cast<unsigned>(_text.size()); } ///< in bytes
    void clear() { _text.clear(); }

    KString& operator+=(const KString& other)
    {
        _text += other._text;
        return *this;
    }
    friend KString operator+(const KString& a, const KString& b) { return KString(a._text + b._text); }
    friend bool operator==(const KString& a, const KString& b) { return a._text == b._text; }
    friend bool operator!=(const KString& a, const KString& b) { return a._text != b._text; }
    friend bool operator<(const KString& a, const KString& b) { return a._text < b._text; }

    const std::string& str() const { return _text; }

private:
    std::string _text;
};
