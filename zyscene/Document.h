#pragma once

#include "ExitCode.h"
#include "JsonWriter.h"
#include "Output.h"

#include <cstdio>
#include <memory>

namespace zyscene
{

struct RunContext;

/// The one JSON document of a run:
/// `{"schema": "zyscene/1", "command": ..., "exit": ..., "results": [...], "issues": [...]}`.
///
/// What is written through json() between construction and finish() are the results. The exit code stands in
/// front of them; while it is not known yet, as with several files, the document waits in a temporary file.
class Document
{
public:
    /// @param exit the exit code when it is known already, otherwise null
    Document(RunContext& context, const char* command, const ExitCode* exit);

    JsonWriter& json() { return _json; }

    /// Writes the context's issues and completes the document on standard output. A document whose exit code
    /// was known from the start has to be finished with the same.
    void finish(ExitCode exit);

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void copyToStdout();

    RunContext& _context;
    std::unique_ptr<std::FILE, CloseFile> _waiting; ///< null: straight to standard output
    std::unique_ptr<Output> _waitingOutput;
    JsonWriter _json;
    unsigned long long _exitPosition = 0; ///< of the exit code's digit in the document
};

} // namespace zyscene
