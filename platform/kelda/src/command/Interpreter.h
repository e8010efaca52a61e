#pragma once

#include "command/Script.h"
#include "graph/Scene.h"
#include "kelda/KCommandResult.h"

namespace kelda
{

class Interpreter;

/// One flag of a command.
struct FlagRow {
    const char* name;
    const char* brief; ///< the short form; null: none
    int values;        ///< how many arguments follow
    const char* help;
};

/// One command of the language.
struct CommandRow {
    const char* name;
    const char* usage; ///< what follows the name
    int minArgs;       ///< besides flags and their values
    int maxArgs;       ///< -1: any number
    bool inSceneFile;  ///< builds a scene, so that scene files may hold it
    const char* help;
    const FlagRow* flags;
    int flagCount;
    bool (*run)(Interpreter&);
};

/// The table of all commands.
const std::vector<CommandRow>& commandTable();
const CommandRow* findCommand(std::string_view name);

/// Runs statements of the command language on a scene. Before a handler is called, its arguments have been
/// held against the command's row.
class Interpreter : public StatementSink
{
public:
    Interpreter(Scene& scene, bool undo) : _scene(scene), _undo(undo) {}

    bool statement(const Statement& statement, ScriptError& error) override;

    KCommandResult& result() { return _result; } ///< of the last statement

    // -- for handlers

    Scene& scene() { return _scene; }
    bool undo() const { return _undo; }
    /// The command changes what no step can take back: with undo on, the steps before it go.
    void cannotUndo();
    const std::vector<Argument>& args() const { return _args; }
    const Argument& arg(size_t i) const { return _args[i]; }
    bool has(const char* flag) const { return value(flag) != nullptr; }
    /// First value of a flag, or the flag itself when it takes none; null: not given.
    const Argument* value(const char* flag) const;
    bool fail(const Argument& at, const std::string& text);
    bool fail(const std::string& text); ///< at the command
    bool fail(const Argument& at, const Outcome& outcome) { return fail(at, outcome.text); }
    /// A number, or false after fail().
    bool number(const Argument& arg, double& out);
    bool boolean(const Argument& arg, bool& out); ///< true, false, on, off, yes, no, or a number

private:
    struct GivenFlag {
        const FlagRow* row;
        Argument value;
    };

    Scene& _scene;
    bool _undo;
    KCommandResult _result;
    const CommandRow* _command = nullptr;
    size_t _commandOffset = 0;
    std::vector<Argument> _args;
    std::vector<GivenFlag> _flags;
    ScriptError* _error = nullptr;
};

/// What undo() takes back: the commands that were run with undo on. What is edited through function sets is
/// not in it. Steps hold names and values of their own; clearing the scene empties the queue.
class UndoQueue
{
public:
    static UndoQueue& current();

    void push(std::function<void(Scene&)> step);
    bool undo(Scene& scene); ///< takes the last step back; false: nothing to undo
    void clear() { _steps.clear(); }
    size_t size() const { return _steps.size(); }

private:
    static constexpr size_t kMaxSteps = 1000; ///< the oldest go first
    std::deque<std::function<void(Scene&)>> _steps;
    uint32_t _epoch = 0; ///< of the scene that the steps belong to
};

} // namespace kelda
