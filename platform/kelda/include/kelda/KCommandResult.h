#pragma once

#include "kelda/KApi.h"
#include "kelda/KStatus.h"
#include "kelda/KString.h"
#include "kelda/KStringArray.h"

/// What a command answered.
class KELDA_API KCommandResult
{
public:
    enum Type { kInvalid = 0, kInt = 1, kDouble = 3, kString = 5, kStringArray = 6 };

    KCommandResult() : _type(kInvalid), _number(0) {}

    Type resultType() const { return _type; }
    KString stringResult(KStatus* status = nullptr) const; ///< kString only
    KStatus getResult(KString& value) const;               ///< any single value, as text
    KStatus getResult(int& value) const;                   ///< kInt, or a kDouble that is whole
    KStatus getResult(double& value) const;                ///< kInt or kDouble
    KStatus getResult(KStringArray& values) const;         ///< kStringArray only

    /// For the library.
    void clear();
    void set(const KString& text);
    void set(int value);
    void set(double value);
    void set(const KStringArray& texts);

private:
    Type _type;
    double _number;
    KString _text;
    KStringArray _texts;
};
