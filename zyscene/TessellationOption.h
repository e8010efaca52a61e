#pragma once

#include "tessellation/Tessellation.h"

namespace CLI
{
class App;
}

namespace zyscene
{

/// Adds --tolerance, which sets how closely surfaces are drawn; other text than a number within the limits is
/// wrong usage.
/// @param options must live as long as the app
void addTessellationOption(CLI::App& app, TessellationOptions& options);

} // namespace zyscene
