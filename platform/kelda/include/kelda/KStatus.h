#pragma once

#include "kelda/KApi.h"

class KString;

/// What became of a call. A failed call has changed nothing, unless its own documentation says otherwise.
/// One int; copying it is free.
class KELDA_API KStatus
{
public:
    enum KStatusCode {
        kSuccess = 0,
        kFailure = 1, ///< the call could not be carried out; the most general failure
        kInsufficientMemory = 2,
        kInvalidParameter = 3, ///< an argument is of the wrong type, deleted, or out of range
        kNotFound = 4,         ///< nothing of that name
        kNotInitialized = 5,   ///< KLibrary::initialize has not been called, or failed
        kLicenseFailure = 6,   ///< never given; the number is kept free
        kIndexOutOfRange = 7,
        kEndOfFile = 8,
        kNotImplemented = 9
    };

    KStatus() : _code(kSuccess) {}
    KStatus(KStatusCode code) : _code(code) {} // implicit: functions return plain codes

    bool error() const { return _code != kSuccess; }
    KStatusCode statusCode() const { return static_cast<KStatusCode>(_code); }
    explicit operator bool() const { return _code == kSuccess; } ///< true: success

    /// A short English text for the code; "Success" for kSuccess.
    KString errorString() const;

    /// Writes "<text>: <errorString>" to standard error; the code's text alone when `text` is null.
    void perror(const char* text) const;

    friend bool operator==(const KStatus& a, const KStatus& b) { return a._code == b._code; }
    friend bool operator!=(const KStatus& a, const KStatus& b) { return a._code != b._code; }
    friend bool operator==(const KStatus& a, KStatusCode b) { return a._code == b; }
    friend bool operator!=(const KStatus& a, KStatusCode b) { return a._code != b; }
    friend bool operator==(KStatusCode a, const KStatus& b) { return a == b._code; }
    friend bool operator!=(KStatusCode a, const KStatus& b) { return a != b._code; }

private:
    int _code;
};
