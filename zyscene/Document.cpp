#include "Document.h"

#include "RunContext.h"

#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace zyscene
{

namespace
{
std::FILE* makeTemporaryFile()
{
    std::FILE* const file = std::tmpfile();
    if (file == nullptr)
        throw std::system_error(errno, std::generic_category(), "cannot make a temporary file");
    return file;
}
} // namespace

Document::Document(RunContext& context, const char* command, const ExitCode* exit)
    : _context(context), _waiting(exit == nullptr ? makeTemporaryFile() : nullptr),
      _waitingOutput(_waiting ? std::make_unique<Output>(::fileno(_waiting.get())) : nullptr),
      _json(_waiting ? *_waitingOutput : context.console.out())
{
    _json.beginObject();
    _json.member("schema", "zyscene/1");
    _json.member("command", command);
    // Exit codes have one digit, which is put in afterwards when it is not known yet.
    _json.member("exit", exit != nullptr ? static_cast<int>(*exit) : 0);
    if (_waitingOutput)
        _exitPosition = _waitingOutput->position() - 1;
    _json.key("results");
    _json.beginArray();
}

void Document::finish(ExitCode exit)
{
    _json.endArray();
    _json.key("issues");
    _json.beginArray();
    for (const Issue& issue : _context.issues) {
        _json.beginObject();
        _json.member("code", issue.code);
        _json.member("severity", nameOf(issue.severity));
        const auto optional = [this](const char* key, const std::string& text) {
            _json.key(key);
            if (text.empty())
                _json.null();
            else
                _json.value(text);
        };
        optional("file", issue.file);
        optional("node", issue.node);
        _json.member("message", std::string_view(issue.message));
        if (!issue.tried.empty()) {
            _json.key("tried");
            _json.beginArray(JsonWriter::OneLine);
            for (const std::string& place : issue.tried)
                _json.value(std::string_view(place));
            _json.endArray();
        }
        _json.endObject();
    }
    _json.endArray();
    _json.endObject();
    _json.finish();

    if (_waitingOutput) {
        const char digit = static_cast<char>('0' + static_cast<int>(exit));
        if (_waitingOutput->error() == 0 &&
            ::pwrite(_waitingOutput->fd(), &digit, 1, static_cast<off_t>(_exitPosition)) == 1)
            copyToStdout();
        else
            throw std::system_error(_waitingOutput->error() != 0 ? _waitingOutput->error() : errno,
                                    std::generic_category(), "cannot write a temporary file");
    }
}

void Document::copyToStdout()
{
    char block[1 << 16];
    off_t position = 0;
    for (;;) {
        const ssize_t count = ::pread(_waitingOutput->fd(), block, sizeof(block), position);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw std::system_error(errno, std::generic_category(), "cannot read a temporary file");
        if (count == 0)
            break;
        _context.console.out().write(std::string_view(block, static_cast<std::size_t>(count)));
        position += count;
    }
    _context.console.out().flush();
}

} // namespace zyscene
