#ifndef ZYSTRING_H
#define ZYSTRING_H

#include <zyUtils/zyUtilsApi.h>

#include <string>

/// Text helpers.
class ZYUTILS_API zyString
{
public:
    /// `text` with the letters A to Z in lower case. Everything else stays byte for byte, so UTF-8 text stays
    /// valid and the result does not depend on the locale.
    static std::string toLower(std::string text);
};

#endif
