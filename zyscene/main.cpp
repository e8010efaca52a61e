#include "Command.h"
#include "RunContext.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGLog.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <vector>

namespace zyscene
{

namespace
{

const CommandRow commands[] = {
    {"info", "What is in scenes, as the host sees them after import", &makeInfoCommand},
    {"convert", "Read a scene and write it in another form", &makeConvertCommand},
    {"diff", "What two scenes draw differently", &makeDiffCommand},
    {"render", "Draw a scene into a picture file, without a display", &makeRenderCommand},
    {"formats", "Suffixes that are read and written, and by whom", &makeFormatsCommand},
    {"options", "Option words of the module, their defaults and effects", &makeOptionsCommand},
    {"version", "Versions of the module, the platform and the libraries", &makeVersionCommand},
};

const char footer[] = "Exit status:\n"
                      "  0  done\n"
                      "  1  failed: unreadable input, failed save, no picture\n"
                      "  2  arguments that make no sense, or a suffix without a format\n"
                      "  3  what was compared differs\n"
                      "  4  several files: some done, some failed\n"
                      "\n"
                      "The result goes to standard output, everything else to standard error.";

// -- Arguments ---------------------------------------------------------------------------------------

struct GlobalOptions {
    ConsoleOptions console;
    bool json = false;
    std::string progress = "auto";
    std::string color = "auto";
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options)
{
    const std::vector<std::string> when = {"auto", "always", "never"};
    app.add_flag("-q,--quiet", options.console.quiet, "Errors only: no warnings, no progress");
    app.add_flag("-v,--verbose", options.console.verbose,
                 "Show what the module and the platform say; twice: the scene graph's details too");
    app.add_flag("--json", options.json, "The result as one JSON document");
    app.add_option("--progress", options.progress, "Progress bar; auto: on a terminal")
        ->check(CLI::IsMember(when))
        ->type_name("WHEN");
    app.add_option("--color", options.color, "Colours; auto: on a terminal, and NO_COLOR is obeyed")
        ->check(CLI::IsMember(when))
        ->type_name("WHEN");
    app.set_version_flag("--version", std::string("zyscene " ZY_VERSION));
}

When whenOf(const std::string& word)
{
    return word == "always" ? When::Always : word == "never" ? When::Never : When::Auto;
}

// What is wrong with a call, for people. The library's own words do, but for a command that does not exist.
std::string complaintOf(const CLI::App& app, const CLI::ParseError& error)
{
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && app.get_subcommands().empty()) {
        const std::vector<std::string> words = app.remaining();
        const auto word = std::find_if(words.begin(), words.end(),
                                       [](const std::string& text) { return text.compare(0, 1, "-") != 0; });
        if (word != words.end())
            return "there is no command '" + printable(*word) + "'";
    }
    return printable(error.what());
}

// -- Run ---------------------------------------------------------------------------------------------

ExitCode runCommand(RunContext& context, Command& command)
{
    try {
        return command.run(context);
    } catch (const std::bad_alloc&) {
        context.console.error("out of memory");
    } catch (const std::exception& exception) {
        context.console.error(exception.what());
    }
    return ExitCode::Failed;
}

ExitCode parseAndRun(RunContext& context, int argc, char** argv)
{
    CLI::App app("Looks at scene files and translates them, as the host application does.", "zyscene");
    app.footer(footer);
    app.require_subcommand(0,
                           1); // that there is one is checked below: a misspelt one is the better complaint
    app.fallthrough();         // global options may stand behind the command too
    GlobalOptions options;
    addGlobalOptions(app, options);

    std::vector<std::unique_ptr<Command>> made;
    for (const CommandRow& row : commands) {
        CLI::App* const sub = app.add_subcommand(row.name, row.help);
        sub->footer(std::string("Options of all commands: see 'zyscene --help'.\n\n") + footer);
        made.push_back(row.make());
        made.back()->addTo(*sub);
    }

    if (argc < 2) {
        context.console.line(app.help());
        return ExitCode::Usage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        context.console.out().write(app.help());
        return ExitCode::Done;
    } catch (const CLI::CallForVersion& version) {
        context.console.out().write(std::string(version.what()) + "\n");
        return ExitCode::Done;
    } catch (const CLI::ParseError& error) {
        context.console.error(complaintOf(app, error) + " (see 'zyscene --help')");
        return ExitCode::Usage;
    }

    options.console.progress = whenOf(options.progress);
    options.console.color = whenOf(options.color);
    context.console.configure(options.console);
    context.json = options.json;
    if (options.console.verbose > 1)
        osg::osgLog().setLogLevel(osg::LOG_INFO);

    for (std::size_t i = 0; i < made.size(); ++i) {
        if (app.got_subcommand(commands[i].name))
            return runCommand(context, *made[i]);
    }
    context.console.error("no command is given (see 'zyscene --help')");
    return ExitCode::Usage;
}

ExitCode run(int argc, char** argv)
{
    RunContext context;
    std::signal(SIGPIPE, SIG_IGN); // a reader that went away is an error of writing
    ExitCode exit = parseAndRun(context, argc, argv);

    context.console.out().flush();
    if (const int error = context.console.out().error()) {
        if (error != EPIPE)
            context.console.error("cannot write the result: " + std::generic_category().message(error));
        if (exit == ExitCode::Done)
            exit = ExitCode::Failed;
    }
    return exit;
}

} // namespace
} // namespace zyscene

int main(int argc, char** argv)
{
    osg::osgInit(argc, argv);
    const zyscene::ExitCode exit = zyscene::run(argc, argv);
    osg::osgExit();
    return static_cast<int>(exit);
}
