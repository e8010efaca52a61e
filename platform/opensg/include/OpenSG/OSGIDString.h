#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <ostream>
#include <string>
#include <utility>

OSG_BEGIN_NAMESPACE

/// A name of a type, field or suffix. Owns its text.
class IDString
{
public:
    IDString() {}
    IDString(const Char8* text) : _text(text ? text : "") {}
    IDString(std::string text) : _text(std::move(text)) {}

    const Char8* str() const { return _text.c_str(); }
    UInt32 length() const { return UInt32(_text.size()); }
    bool empty() const { return _text.empty(); }
    void set(const Char8* text) { _text = text ? text : ""; }

    bool operator==(const IDString& other) const { return _text == other._text; }
    bool operator!=(const IDString& other) const { return _text != other._text; }
    bool operator<(const IDString& other) const { return _text < other._text; }

private:
    std::string _text;
};

inline std::ostream& operator<<(std::ostream& out, const IDString& name)
{
    return out << name.str();
}

OSG_END_NAMESPACE
