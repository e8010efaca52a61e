#include "command/Interpreter.h"

namespace kelda
{

// -- Statements -----------------------------------------------------------------------------------

bool Interpreter::statement(const Statement& s, ScriptError& error)
{
    _error = &error;
    _result.clear();
    _commandOffset = s.offset;
    _command = findCommand(s.command);
    if (!_command)
        return error.fail(s.offset, "unknown command \"" + std::string(s.command) + "\"");
    _args.clear();
    _flags.clear();
    for (size_t i = 0; i < s.argCount; ++i) {
        const Argument& arg = s.args[i];
        if (arg.kind == TokenKind::Numbers) {
            // A run of numbers is as many arguments.
            NumberReader split(arg.text);
            while (!split.done()) {
                const std::string_view rest = split.rest();
                size_t size = rest.find_first_of(" \t\r\n");
                size = size == std::string_view::npos ? rest.size() : size;
                Argument one = arg;
                one.text = rest.substr(0, size);
                one.offset = arg.offset + static_cast<size_t>(rest.data() - arg.text.data());
                one.count = 1;
                _args.push_back(one);
                split = NumberReader(rest.substr(size));
            }
            continue;
        }
        if (arg.kind != TokenKind::Flag) {
            _args.push_back(arg);
            continue;
        }
        const FlagRow* row = nullptr;
        for (int f = 0; f < _command->flagCount && !row; ++f) {
            const FlagRow& candidate = _command->flags[f];
            if (arg.text == candidate.name || (candidate.brief && arg.text == candidate.brief))
                row = &candidate;
        }
        if (!row)
            return fail(arg, "unknown flag \"-" + std::string(arg.text) + "\"");
        if (row->values == 0) {
            _flags.push_back({row, arg});
            continue;
        }
        if (i + 1 == s.argCount || s.args[i + 1].kind == TokenKind::Flag)
            return fail(arg, "flag \"-" + std::string(arg.text) + "\" needs a value");
        if (s.args[i + 1].count != 1)
            return fail(s.args[i + 1], "flag \"-" + std::string(arg.text) + "\" takes one value");
        _flags.push_back({row, s.args[++i]});
    }
    const size_t count = _args.size();
    if (count < static_cast<size_t>(_command->minArgs))
        return fail("too few arguments; usage: " + std::string(_command->name) + " " + _command->usage);
    if (_command->maxArgs >= 0 && count > static_cast<size_t>(_command->maxArgs))
        return fail(_args[static_cast<size_t>(_command->maxArgs)],
                    "too many arguments; usage: " + std::string(_command->name) + " " + _command->usage);
    return _command->run(*this);
}

// -- For handlers ---------------------------------------------------------------------------------

const Argument* Interpreter::value(const char* flag) const
{
    for (const GivenFlag& given : _flags)
        if (std::string_view(given.row->name) == flag)
            return &given.value;
    return nullptr;
}

void Interpreter::cannotUndo()
{
    if (_undo)
        UndoQueue::current().clear();
}

bool Interpreter::fail(const Argument& at, const std::string& text)
{
    return _error->fail(at.offset, std::string(_command->name) + ": " + text);
}

bool Interpreter::fail(const std::string& text)
{
    return _error->fail(_commandOffset, std::string(_command->name) + ": " + text);
}

bool Interpreter::number(const Argument& arg, double& out)
{
    NumberReader reader(arg.text);
    return (reader.next(out) && reader.done()) ||
           fail(arg, "\"" + std::string(arg.text) + "\" is not a number");
}

bool Interpreter::boolean(const Argument& arg, bool& out)
{
    const std::string_view t = arg.text;
    if (t == "true" || t == "on" || t == "yes")
        out = true;
    else if (t == "false" || t == "off" || t == "no")
        out = false;
    else {
        double value = 0;
        NumberReader reader(t);
        if (!reader.next(value) || !reader.done())
            return fail(arg, "\"" + std::string(t) + "\" is not true or false");
        out = value != 0;
    }
    return true;
}

// -- Undo -----------------------------------------------------------------------------------------

UndoQueue& UndoQueue::current()
{
    static UndoQueue queue;
    return queue;
}

void UndoQueue::push(std::function<void(Scene&)> step)
{
    if (_epoch != Scene::current().epoch())
        _steps.clear();
    _epoch = Scene::current().epoch();
    _steps.push_back(std::move(step));
    if (_steps.size() > kMaxSteps)
        _steps.pop_front();
}

bool UndoQueue::undo(Scene& scene)
{
    if (_epoch != scene.epoch())
        _steps.clear();
    if (_steps.empty())
        return false;
    const std::function<void(Scene&)> step = std::move(_steps.back());
    _steps.pop_back();
    step(scene);
    return true;
}

} // namespace kelda
