#include "command/Script.h"

#include <algorithm>
#include <array>

namespace kelda
{

// -- Places ---------------------------------------------------------------------------------------

std::string describe(const ScriptError& error, std::string_view script, std::string_view sourceName)
{
    const size_t at = std::min(error.offset, script.size());
    const std::string_view before = script.substr(0, at);
    const size_t line = 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
    const size_t lineStart = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    std::string out(sourceName);
    out += ':' + std::to_string(line) + ':' + std::to_string(at - lineStart + 1) + ": " + error.text;
    return out;
}

std::string excerpt(const ScriptError& error, std::string_view script)
{
    const size_t kBefore = 60;
    const size_t kAfter = 40;
    const size_t at = std::min(error.offset, script.size());
    size_t start = at;
    while (start > 0 && script[start - 1] != '\n' && at - start < kBefore)
        --start;
    size_t end = at;
    while (end < script.size() && script[end] != '\n' && script[end] != '\r' && end - at < kAfter)
        ++end;
    // Not in the middle of a UTF-8 character.
    const auto continues = [&](size_t i) {
        return i < script.size() && (static_cast<unsigned char>(script[i]) & 0xc0) == 0x80;
    };
    while (start < at && continues(start))
        ++start;
    while (end > at && continues(end))
        --end;
    std::string line;
    size_t caret = 0;
    for (size_t i = start; i < end; ++i) {
        const unsigned char c = static_cast<unsigned char>(script[i]);
        if (i < at && !continues(i))
            ++caret;
        line += c < 0x20 || c == 0x7f ? ' ' : static_cast<char>(c);
    }
    return "    " + line + "\n    " + std::string(caret, ' ') + "^ near here";
}

// -- Character classes ----------------------------------------------------------------------------

namespace
{

enum CharClass : uint8_t { kBlank = 1, kDigit = 2, kNumber = 4, kWord = 8, kAlpha = 16 };

constexpr std::array<uint8_t, 256> makeClasses()
{
    std::array<uint8_t, 256> c{};
    c[' '] = c['\t'] = c['\n'] = c['\r'] = kBlank;
    for (int i = '0'; i <= '9'; ++i)
        c[static_cast<size_t>(i)] = kDigit | kNumber | kWord;
    for (int i = 'a'; i <= 'z'; ++i)
        c[static_cast<size_t>(i)] = kAlpha | kWord;
    for (int i = 'A'; i <= 'Z'; ++i)
        c[static_cast<size_t>(i)] = kAlpha | kWord;
    c['_'] = kAlpha | kWord;
    c['.'] |= kNumber | kWord;
    c['+'] |= kNumber;
    c['-'] |= kNumber;
    c['e'] |= kNumber;
    c['E'] |= kNumber;
    // What names of nodes and attributes are made of, when they stand without quotes.
    c['|'] |= kWord | kAlpha;
    c['['] |= kWord;
    c[']'] |= kWord;
    c[':'] |= kWord;
    c['#'] |= kWord;
    return c;
}

constexpr std::array<uint8_t, 256> kClasses = makeClasses();

bool is(char c, unsigned classes)
{
    return (kClasses[static_cast<unsigned char>(c)] & classes) != 0;
}

/// How a character is shown in a message.
std::string shown(char c)
{
    const unsigned char u = static_cast<unsigned char>(c);
    if (u >= 0x20 && u < 0x7f)
        return std::string("'") + c + "'";
    const char* digits = "0123456789abcdef";
    return std::string("the byte 0x") + digits[u >> 4] + digits[u & 15];
}

} // namespace

// -- Lexer ----------------------------------------------------------------------------------------

bool CommandLexer::skipBlank(ScriptError& error)
{
    const size_t size = _script.size();
    for (;;) {
        while (_at < size && is(_script[_at], kBlank))
            ++_at;
        if (_at + 1 >= size || _script[_at] != '/')
            return true;
        if (_script[_at + 1] == '/') {
            const size_t end = _script.find('\n', _at);
            _at = end == std::string_view::npos ? size : end + 1;
        } else if (_script[_at + 1] == '*') {
            const size_t end = _script.find("*/", _at + 2);
            if (end == std::string_view::npos)
                return error.fail(_at, "comment without an end");
            _at = end + 2;
        } else {
            return true;
        }
    }
}

bool CommandLexer::readString(Token& token, ScriptError& error)
{
    const size_t start = _at;
    size_t i = start + 1;
    for (; i < _script.size(); ++i) {
        const char c = _script[i];
        if (c == '"') {
            token.text = _script.substr(start + 1, i - start - 1);
            _at = i + 1;
            return true;
        }
        if (c == '\n')
            break;
        if (c == '\0')
            return error.fail(i, "a string cannot hold the byte 0x00");
        if (c == '\\') {
            token.escaped = true;
            ++i;
        }
    }
    return error.fail(start, "string without a closing quote on its line");
}

void CommandLexer::readNumbers(Token& token)
{
    const char* const begin = _script.data() + _at;
    const char* const end = _script.data() + _script.size();
    const char* p = begin;
    const char* last = begin; // end of the last number
    while (p != end) {
        // The sign of a number, and what follows it, decide whether the run goes on.
        const char* q = p;
        if (*q == '-' || *q == '+')
            ++q;
        if (q != end && *q == '.')
            ++q;
        if (q == end || !is(*q, kDigit))
            break;
        while (p != end && is(*p, kNumber | kWord))
            ++p;
        last = p;
        ++token.count;
        while (p != end && is(*p, kBlank))
            ++p;
    }
    token.text = std::string_view(begin, static_cast<size_t>(last - begin));
    _at += token.text.size();
}

bool CommandLexer::next(Token& token, ScriptError& error)
{
    if (!skipBlank(error))
        return false;
    token = Token();
    token.offset = _at;
    if (_at == _script.size())
        return true;
    const char c = _script[_at];
    const auto peek = [&](size_t ahead) {
        return _at + ahead < _script.size() ? _script[_at + ahead] : '\0';
    };
    switch (c) {
    case ';':
        token.kind = TokenKind::Semicolon;
        ++_at;
        return true;
    case '(':
        token.kind = TokenKind::LeftParen;
        ++_at;
        return true;
    case ')':
        token.kind = TokenKind::RightParen;
        ++_at;
        return true;
    case '"':
        token.kind = TokenKind::String;
        return readString(token, error);
    default:
        break;
    }
    const bool sign = c == '-' || c == '+';
    const char first = sign ? peek(1) : c;
    if (is(first, kDigit) || (first == '.' && is(peek(sign ? 2 : 1), kDigit))) {
        token.kind = TokenKind::Numbers;
        readNumbers(token);
        return true;
    }
    if (c == '+') {
        token.kind = TokenKind::Plus;
        ++_at;
        return true;
    }
    if (c == '-' && is(first, kAlpha)) {
        token.kind = TokenKind::Flag;
        size_t i = _at + 1;
        while (i < _script.size() && is(_script[i], kAlpha | kDigit))
            ++i;
        token.text = _script.substr(_at + 1, i - _at - 1);
        _at = i;
        return true;
    }
    if (is(c, kAlpha)) {
        token.kind = TokenKind::Word;
        size_t i = _at;
        while (i < _script.size() && is(_script[i], kWord))
            ++i;
        token.text = _script.substr(_at, i - _at);
        _at = i;
        return true;
    }
    return error.fail(_at, "unexpected " + shown(c));
}

bool unescape(std::string_view written, std::string& out, size_t& badAt)
{
    out.clear();
    out.reserve(written.size());
    for (size_t i = 0; i < written.size(); ++i) {
        if (written[i] != '\\') {
            out += written[i];
            continue;
        }
        badAt = i++;
        switch (i < written.size() ? written[i] : '\0') {
        case '"':
        case '\\':
            out += written[i];
            break;
        case 'n':
            out += '\n';
            break;
        case 't':
            out += '\t';
            break;
        case 'r':
            out += '\r';
            break;
        default:
            return false;
        }
    }
    return true;
}

std::string escape(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '"':
        case '\\':
            out += '\\';
            out += c;
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// -- Statements -----------------------------------------------------------------------------------

namespace
{

/// Puts tokens together to statements. One object serves a whole script and keeps its buffers.
class Parser
{
public:
    Parser(std::string_view script, ScriptError& error) : _lexer(script), _error(error) {}

    bool run(StatementSink& sink)
    {
        Token token;
        for (;;) {
            if (!_lexer.next(token, _error))
                return false;
            if (token.kind == TokenKind::End)
                return true;
            if (token.kind == TokenKind::Semicolon)
                continue;
            if (token.kind != TokenKind::Word)
                return _error.fail(token.offset, "expected the name of a command");
            Statement statement;
            statement.command = token.text;
            statement.offset = token.offset;
            if (!readArguments())
                return false;
            statement.args = _args.data();
            statement.argCount = _args.size();
            if (!sink.statement(statement, _error))
                return false;
        }
    }

private:
    static constexpr int kMaxNesting = 32;

    bool readArguments()
    {
        _args.clear();
        _texts.clear();
        Token token;
        for (;;) {
            if (!_lexer.next(token, _error))
                return false;
            Argument arg;
            arg.kind = token.kind;
            arg.text = token.text;
            arg.offset = token.offset;
            switch (token.kind) {
            case TokenKind::End:
            case TokenKind::Semicolon:
                return true;
            case TokenKind::Numbers:
                arg.count = token.count;
                break;
            case TokenKind::Word:
            case TokenKind::Flag:
                break;
            case TokenKind::String:
                if (!stringOf(token, arg.text))
                    return false;
                break;
            case TokenKind::LeftParen:
                if (!readParentheses(arg))
                    return false;
                break;
            case TokenKind::RightParen:
                return _error.fail(token.offset, "\")\" without \"(\"");
            case TokenKind::Plus:
                return _error.fail(token.offset, "\"+\" joins texts inside parentheses only");
            }
            _args.push_back(arg);
        }
    }

    bool stringOf(const Token& token, std::string_view& out)
    {
        out = token.text;
        if (!token.escaped)
            return true;
        _texts.emplace_back();
        size_t badAt = 0;
        if (!unescape(token.text, _texts.back(), badAt))
            return _error.fail(token.offset + 1 + badAt, "unknown escape in a string");
        out = _texts.back();
        return true;
    }

    /// What follows "(": operands joined by "+", to the matching ")". Nested parentheses change nothing but
    /// the grouping, and joining is associative: so a counter is enough.
    bool readParentheses(Argument& arg)
    {
        std::string joined;
        int depth = 1;
        bool operandNext = true;
        Token token;
        for (;;) {
            if (!_lexer.next(token, _error))
                return false;
            switch (token.kind) {
            case TokenKind::LeftParen:
                if (!operandNext)
                    return _error.fail(token.offset, "expected \"+\" or \")\"");
                if (++depth > kMaxNesting)
                    return _error.fail(token.offset, "parentheses nested too deeply");
                continue;
            case TokenKind::RightParen:
                if (operandNext)
                    return _error.fail(token.offset, "expected a text before \")\"");
                if (--depth > 0)
                    continue;
                _texts.push_back(std::move(joined));
                arg.kind = TokenKind::String;
                arg.text = _texts.back();
                return true;
            case TokenKind::Plus:
                if (operandNext)
                    return _error.fail(token.offset, "expected a text before \"+\"");
                operandNext = true;
                continue;
            case TokenKind::String:
            case TokenKind::Word:
            case TokenKind::Numbers: {
                if (!operandNext)
                    return _error.fail(token.offset, "expected \"+\" or \")\"");
                if (token.count > 1)
                    return _error.fail(token.offset, "one value at a time can stand in parentheses");
                std::string_view text = token.text;
                if (token.kind == TokenKind::String && !stringOf(token, text))
                    return false;
                joined += text;
                operandNext = false;
                continue;
            }
            default:
                return _error.fail(arg.offset, "\"(\" without \")\"");
            }
        }
    }

    CommandLexer _lexer;
    ScriptError& _error;
    std::vector<Argument> _args;
    std::deque<std::string> _texts; // what the arguments' texts point to when it is not the script itself
};

} // namespace

bool parseScript(std::string_view script, StatementSink& sink, ScriptError& error)
{
    return Parser(script, error).run(sink);
}

} // namespace kelda
