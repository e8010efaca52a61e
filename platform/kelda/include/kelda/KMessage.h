#pragma once

#include "kelda/KApi.h"

/// Where the SDK's messages go.
class KELDA_API KMessage
{
public:
    enum Kind { kError, kWarning, kInfo };
    /// text: UTF-8, without a line end; valid during the call.
    typedef void (*Handler)(Kind kind, const char* text, void* data);

    /// Null: back to standard error, with "Error: ", "Warning: " or nothing before the text.
    static void setHandler(Handler handler, void* data = nullptr);
};
typedef KMessage::Handler KMessageHandler;
