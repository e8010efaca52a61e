#pragma once

#include "ExitCode.h"

#include <memory>

namespace CLI
{
class App;
}

namespace zyscene
{

struct RunContext;

/// One command of the program.
class Command
{
public:
    Command() = default;
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Adds the command's own options and arguments. They are filled in before run() is called.
    virtual void addTo(CLI::App& app) = 0;

    /// Does it: the result goes to standard output, as text or as one JSON document.
    virtual ExitCode run(RunContext& context) = 0;
};

/// One row for each command, in the order of the help.
struct CommandRow {
    const char* name;
    const char* help;
    std::unique_ptr<Command> (*make)();
};

std::unique_ptr<Command> makeInfoCommand();
std::unique_ptr<Command> makeConvertCommand();
std::unique_ptr<Command> makeDiffCommand();
std::unique_ptr<Command> makeRenderCommand();
std::unique_ptr<Command> makeFormatsCommand();
std::unique_ptr<Command> makeOptionsCommand();
std::unique_ptr<Command> makeVersionCommand();

} // namespace zyscene
