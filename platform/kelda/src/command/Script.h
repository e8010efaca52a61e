#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace kelda
{

/// The first thing that was wrong with a script.
struct ScriptError {
    std::string text;  ///< one sentence, no full stop, no line end
    size_t offset = 0; ///< in the script, in bytes
    bool set = false;

    /// Keeps the first error only. Always false, so that callers can return it.
    bool fail(size_t at, std::string sentence)
    {
        if (!set) {
            text = std::move(sentence);
            offset = at;
            set = true;
        }
        return false;
    }
};

/// "name:line:column: text". Lines and columns count from 1, columns in bytes.
std::string describe(const ScriptError& error, std::string_view script, std::string_view sourceName);
/// The offending line (shortened around the place when it is long) and, below it, a caret; both indented by
/// four.
std::string excerpt(const ScriptError& error, std::string_view script);

// -- tokens ---------------------------------------------------------------------------------------

enum class TokenKind : uint8_t { End, Semicolon, Word, String, Flag, Numbers, LeftParen, RightParen, Plus };

struct Token {
    TokenKind kind = TokenKind::End;
    bool escaped = false;  ///< String: holds escapes; text is as written
    std::string_view text; ///< Word, Flag (without "-"), String (without quotes), Numbers (the whole run)
    size_t offset = 0;
    uint32_t count = 0; ///< Numbers: how many stand in the run
};

/// Cuts a script into tokens; no copies. A run of numbers, parted by blanks and line ends only, is one token.
/// The script must outlive the lexer.
class CommandLexer
{
public:
    explicit CommandLexer(std::string_view script) : _script(script) {}

    /// False: not a token; `error` says why and where.
    bool next(Token& token, ScriptError& error);

private:
    bool skipBlank(ScriptError& error);
    bool readString(Token& token, ScriptError& error);
    void readNumbers(Token& token);

    std::string_view _script;
    size_t _at = 0;
};

/// Undoes the escapes of a string (\" \\ \n \t \r). False: an escape that does not exist; `badAt` is its
/// place.
bool unescape(std::string_view written, std::string& out, size_t& badAt);
/// The reverse; without the quotes.
std::string escape(std::string_view text);

/// Takes the numbers of a run one by one, straight from the text.
class NumberReader
{
public:
    explicit NumberReader(std::string_view run) : _at(run.data()), _end(run.data() + run.size()) {}

    /// False: no number is left, or what stands there is not one of this type (malformed, out of range, or,
    /// for integers, with a fraction). `where()` is then the place.
    template <class T>
    bool next(T& value)
    {
        skip();
        if (_at == _end)
            return false;
        const char* from = *_at == '+' ? _at + 1 : _at;
        if (from != _at && from != _end && *from == '-')
            return false;
        const std::from_chars_result r = std::from_chars(from, _end, value);
        if (r.ec != std::errc() || (r.ptr != _end && !isBlank(*r.ptr)))
            return false;
        _at = r.ptr;
        return true;
    }
    bool done()
    {
        skip();
        return _at == _end;
    }
    const char* where() const { return _at; }
    std::string_view rest() const { return {_at, static_cast<size_t>(_end - _at)}; }

private:
    static bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
    void skip()
    {
        while (_at != _end && isBlank(*_at))
            ++_at;
    }

    const char* _at;
    const char* _end;
};

// -- statements -----------------------------------------------------------------------------------

/// An argument of a command. What stood in parentheses has been joined to one String.
struct Argument {
    TokenKind kind = TokenKind::Word; ///< Word, String, Flag or Numbers
    std::string_view text;            ///< unescaped; Flag: without "-"; Numbers: the run, for NumberReader
    size_t offset = 0;
    uint32_t count = 1; ///< Numbers: how many; others: 1
};

struct Statement {
    std::string_view command;
    size_t offset = 0;
    const Argument* args = nullptr; ///< valid until the sink returns, like all texts that hold escapes
    size_t argCount = 0;
};

/// Takes the statements of a script in order.
class StatementSink
{
public:
    virtual ~StatementSink() = default;
    /// False stops; the sink has then called `error.fail`.
    virtual bool statement(const Statement& statement, ScriptError& error) = 0;
};

/// Hands the statements of a script to the sink, one by one. The text is not copied. False: the script is not
/// well formed, or the sink stopped; `error` says why and where.
bool parseScript(std::string_view script, StatementSink& sink, ScriptError& error);

} // namespace kelda
