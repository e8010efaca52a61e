#include "kelda/KGlobal.h"

#include "api/Api.h"
#include "command/Interpreter.h"
#include "kelda/KMessage.h"

#include <cmath>
#include <cstdio>

using namespace kelda;

// -- Messages -------------------------------------------------------------------------------------

namespace
{

KMessage::Handler messageHandler = nullptr;
void* messageData = nullptr;

void show(KMessage::Kind kind, const KString& text)
{
    if (messageHandler) {
        messageHandler(kind, text.asUTF8(), messageData);
        return;
    }
    const char* prefix = kind == KMessage::kError ? "Error: " : kind == KMessage::kWarning ? "Warning: " : "";
    std::fprintf(stderr, "%s%s\n", prefix, text.asUTF8());
}

} // namespace

void KMessage::setHandler(Handler handler, void* data)
{
    messageHandler = handler;
    messageData = handler ? data : nullptr;
}

void KGlobal::displayError(const KString& text)
{
    show(KMessage::kError, text);
}

void KGlobal::displayWarning(const KString& text)
{
    show(KMessage::kWarning, text);
}

void KGlobal::displayInfo(const KString& text)
{
    show(KMessage::kInfo, text);
}

// -- Commands -------------------------------------------------------------------------------------

KStatus KGlobal::executeCommand(const KString& command, bool display, bool undo)
{
    KCommandResult ignored;
    return executeCommand(command, ignored, display, undo);
}

KStatus KGlobal::executeCommand(const KString& command, KCommandResult& result, bool display, bool undo)
{
    result.clear();
    KFaults::note(command.asUTF8());
    const KStatus entered = enter("KGlobal::executeCommand");
    if (entered.error())
        return entered;
    Interpreter interpreter(Scene::current(), undo);
    ScriptError error;
    if (!parseScript(command.str(), interpreter, error)) {
        displayError(KString(describe(error, command.str(), "command")));
        return KStatus::kFailure;
    }
    result = interpreter.result();
    KString text;
    if (display && !result.getResult(text).error())
        displayInfo(KString("Result: ") + text);
    return KStatus::kSuccess;
}

// -- KCommandResult -------------------------------------------------------------------------------

KString KCommandResult::stringResult(KStatus* status) const
{
    give(status, KStatus(_type == kString ? KStatus::kSuccess : KStatus::kInvalidParameter));
    return _type == kString ? _text : KString();
}

KStatus KCommandResult::getResult(KString& value) const
{
    if (_type != kString && _type != kInt && _type != kDouble)
        return KStatus::kInvalidParameter;
    value = _text;
    return KStatus::kSuccess;
}

KStatus KCommandResult::getResult(int& value) const
{
    if ((_type != kInt && _type != kDouble) || _number != std::floor(_number) ||
        std::fabs(_number) > 2147483647.0)
        return KStatus::kInvalidParameter;
    value = static_cast<int>(_number);
    return KStatus::kSuccess;
}

KStatus KCommandResult::getResult(double& value) const
{
    if (_type != kInt && _type != kDouble)
        return KStatus::kInvalidParameter;
    value = _number;
    return KStatus::kSuccess;
}

KStatus KCommandResult::getResult(KStringArray& values) const
{
    if (_type != kStringArray)
        return KStatus::kInvalidParameter;
    values = _texts;
    return KStatus::kSuccess;
}

void KCommandResult::clear()
{
    *this = KCommandResult();
}

void KCommandResult::set(const KString& text)
{
    clear();
    _type = kString;
    _text = text;
}

void KCommandResult::set(int value)
{
    clear();
    _type = kInt;
    _number = value;
    _text = KString(std::to_string(value));
}

void KCommandResult::set(double value)
{
    clear();
    _type = kDouble;
    _number = value;
    char buffer[32];
    const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, value);
    _text = KString(std::string(buffer, r.ptr));
}

void KCommandResult::set(const KStringArray& texts)
{
    clear();
    _type = kStringArray;
    _texts = texts;
}

// -- KStatus --------------------------------------------------------------------------------------

KString KStatus::errorString() const
{
    static const char* const texts[] = {"Success",
                                        "Failure",
                                        "Insufficient memory",
                                        "Invalid parameter",
                                        "Not found",
                                        "The library is not initialized",
                                        "License failure",
                                        "Index out of range",
                                        "End of file",
                                        "Not implemented"};
    const bool known = _code >= 0 && static_cast<size_t>(_code) < sizeof texts / sizeof *texts;
    return known ? KString(texts[_code]) : KString("Unknown status");
}

void KStatus::perror(const char* text) const
{
    if (text)
        std::fprintf(stderr, "%s: ", text);
    std::fprintf(stderr, "%s\n", errorString().asUTF8());
}

// -- Names ----------------------------------------------------------------------------------------

KStatus KGlobal::findNode(const KString& name, KObject& node)
{
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    NodeId id = kNoNode;
    const Outcome found = Scene::current().find(name.str(), id);
    if (found)
        node = objectOf(id);
    return found.code;
}

KStatus KGlobal::findPath(const KString& name, KDagPath& path)
{
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    Scene& scene = Scene::current();
    std::vector<NodeId> ids;
    const Outcome found = scene.findPath(name.str(), ids);
    if (found)
        path = KDagPath::adopt(scene.paths().intern(ids.data(), ids.size()));
    return found.code;
}
