#include "TessellationOption.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <string>

namespace zyscene
{

namespace
{
bool parseTolerance(const std::string& text, double& tolerance)
{
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, tolerance);
    return parsed.ec == std::errc() && parsed.ptr == end && tolerance >= minTessellationTolerance &&
           tolerance <= maxTessellationTolerance;
}

std::string checkTolerance(std::string& text)
{
    double tolerance = 0;
    return parseTolerance(text, tolerance)
               ? std::string()
               : "the tolerance is to be a number from 0.000001 to 1, not '" + text + "'";
}
} // namespace

void addTessellationOption(CLI::App& app, TessellationOptions& options)
{
    app.add_option_function<std::string>(
           "--tolerance", [&options](const std::string& text) { parseTolerance(text, options.tolerance); },
           "How far the triangles of a NURBS surface may be off it, in parts of the diagonal of its box "
           "(default: 0.001)")
        ->check(CLI::Validator(&checkTolerance, "", "tolerance"))
        ->type_name("PART");
}

} // namespace zyscene
