#include "RunContext.h"

#include "Text.h"

#include <filesystem>
#include <utility>

namespace zyscene
{

const char* nameOf(Issue::Severity severity)
{
    switch (severity) {
    case Issue::Note:
        return "note";
    case Issue::Warning:
        return "warning";
    case Issue::Error:
        return "error";
    }
    return "";
}

void RunContext::report(Issue issue)
{
    const std::string text = issue.file.empty() ? issue.message : issue.file + ": " + issue.message;
    if (issue.severity == Issue::Error)
        console.error(text);
    else if (issue.severity == Issue::Warning)
        console.warning(text);
    else
        console.note(text);
    keep(std::move(issue));
}

std::string displayName(const std::string& file)
{
    const std::filesystem::path path(file);
    return path.is_absolute() && path.has_filename() ? path.filename().string() : file;
}

std::string suffixOf(const std::string& file)
{
    const std::string suffix = std::filesystem::path(file).extension().string();
    return suffix.empty() ? suffix : lowerCase(suffix.substr(1));
}

ExitCode exitCodeOf(std::size_t done, std::size_t failed)
{
    if (failed == 0)
        return ExitCode::Done;
    return done == 0 ? ExitCode::Failed : ExitCode::PartlyDone;
}

} // namespace zyscene
