#pragma once

#include "Console.h"
#include "ExitCode.h"

#include <string>
#include <vector>

namespace zyscene
{

class JsonWriter;

/// Something that the user has to know about a file. The codes are stable: scripts look for them.
struct Issue {
    enum Severity { Note, Warning, Error };

    const char* code; ///< "file-missing", "node-skipped", ...
    Severity severity;
    std::string file; ///< as displayName() gives it; empty: of no particular file
    std::string node; ///< empty: of no particular node
    std::string message;
    std::vector<std::string> tried = {}; ///< where a file was looked for, in order
};

/// "note", "warning", "error"
const char* nameOf(Issue::Severity severity);

/// One run of the program: the streams, what the user asked for all commands, and what went wrong so far.
struct RunContext {
    Console console;
    bool json = false; ///< the result is one JSON document
    std::vector<Issue> issues;

    /// Keeps the issue for the document and shows it on standard error; a note only with -v.
    void report(Issue issue);
    /// Keeps the issue for the document only: standard error has its text already.
    void keep(Issue issue) { issues.push_back(std::move(issue)); }
};

/// The name under which results speak of a file: as given; of an absolute path the last part only, so that
/// the same scene gives the same result wherever it lies.
std::string displayName(const std::string& file);

/// The suffix in lower case, without the dot; empty when there is none.
std::string suffixOf(const std::string& file);

/// Exit code of a command that takes several files.
ExitCode exitCodeOf(std::size_t done, std::size_t failed);

} // namespace zyscene
