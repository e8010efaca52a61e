#include <OpenSG/OSGLog.h>

#include <cctype>
#include <cstdarg>
#include <cstdlib>
#include <streambuf>

OSG_BEGIN_NAMESPACE

namespace
{

// -- Names ------------------------------------------------------------------------------------------

constexpr const Char8* levelNames[] = {"LOG", "FATAL", "WARNING", "NOTICE", "INFO", "DEBUG"};
constexpr const Char8* typeNames[] = {"NONE", "STDOUT", "STDERR", "FILE"};

// Index of a name, given in either case or as a number; -1 if there is none or the text is null.
template <std::size_t N>
int indexOf(const Char8* text, const Char8* const (&names)[N])
{
    if (text == nullptr)
        return -1;
    if (text[0] >= '0' && text[0] < static_cast<Char8>('0' + N) && text[1] == '\0')
        return text[0] - '0';
    for (std::size_t i = 0; i < N; ++i) {
        std::size_t c = 0;
        while (text[c] != '\0' && std::toupper(static_cast<UChar8>(text[c])) == names[i][c])
            ++c;
        if (text[c] == '\0' && names[i][c] == '\0')
            return static_cast<int>(i);
    }
    return -1;
}

// -- Streams ----------------------------------------------------------------------------------------

// Collects characters and hands each finished line to the log; an unfinished one when the thread ends.
class LineBuffer : public std::streambuf
{
public:
    explicit LineBuffer(LogLevel level) : _level(level) {}
    ~LineBuffer() override
    {
        if (!_line.empty())
            osgLog().writeLine(_level, _line);
    }

protected:
    int_type overflow(int_type ch) override
    {
        if (!traits_type::eq_int_type(ch, traits_type::eof()))
            put(traits_type::to_char_type(ch));
        return traits_type::not_eof(ch);
    }
    std::streamsize xsputn(const Char8* text, std::streamsize count) override
    {
        for (std::streamsize i = 0; i < count; ++i)
            put(text[i]);
        return count;
    }

private:
    void put(Char8 ch)
    {
        if (ch != '\n') {
            _line.push_back(ch);
            return;
        }
        osgLog().writeLine(_level, _line);
        _line.clear();
    }

    LogLevel _level;
    std::string _line;
};

struct ThreadStreams {
    struct LevelStream {
        explicit LevelStream(LogLevel level) : buffer(level), stream(&buffer) {}
        LineBuffer buffer;
        std::ostream stream;
    };
    LevelStream levels[6] = {LevelStream(LOG_LOG),    LevelStream(LOG_FATAL), LevelStream(LOG_WARNING),
                             LevelStream(LOG_NOTICE), LevelStream(LOG_INFO),  LevelStream(LOG_DEBUG)};
    std::ostream hidden{nullptr}; // without a buffer nothing is even formatted
};

} // namespace

// -- Log --------------------------------------------------------------------------------------------

Log& osgLog()
{
    static Log* const log = new Log;
    return *log;
}

Log::Log()
    : _level(LOG_NOTICE), _type(LOG_STDERR), _file(nullptr), _levelFromEnvironment(false),
      _typeFromEnvironment(false), _fileFromEnvironment(false)
{
    const int level = indexOf(std::getenv("OSG_LOG_LEVEL"), levelNames);
    if (level >= 0) {
        _level = static_cast<LogLevel>(level);
        _levelFromEnvironment = true;
    }
    const Char8* const fileName = std::getenv("OSG_LOG_FILE");
    if (fileName != nullptr && *fileName != '\0') {
        setLogFile(fileName, true);
        _fileFromEnvironment = true;
    }
    const int type = indexOf(std::getenv("OSG_LOG_TYPE"), typeNames);
    if (type >= 0) {
        _type = static_cast<LogType>(type);
        _typeFromEnvironment = true;
    }
}

void Log::setLogLevel(LogLevel level, bool force)
{
    if (force || !_levelFromEnvironment)
        _level = level;
}

void Log::setLogType(LogType type, bool force)
{
    if (force || !_typeFromEnvironment)
        _type = type;
}

void Log::setLogFile(const Char8* fileName, bool force)
{
    if (_fileFromEnvironment && !force)
        return;
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_file != nullptr)
        std::fclose(_file);
    _file = fileName != nullptr && *fileName != '\0' ? std::fopen(fileName, "w") : nullptr;
    if (force || !_typeFromEnvironment)
        _type = _file != nullptr ? LOG_FILE : LOG_STDERR;
}

std::ostream& Log::stream(LogLevel level)
{
    static thread_local ThreadStreams streams;
    return isShown(level) ? streams.levels[level].stream : streams.hidden;
}

void Log::writeLine(LogLevel level, const std::string& text)
{
    if (!isShown(level))
        return;
    std::string line(levelNames[level]);
    line += ":  ";
    line += text;
    line += '\n';

    const std::lock_guard<std::mutex> lock(_mutex);
    std::FILE* const out =
        _type == LOG_STDOUT ? stdout : (_type == LOG_FILE && _file != nullptr ? _file : stderr);
    std::fwrite(line.data(), 1, line.size(), out);
    std::fflush(out);
}

void LogPrinter::operator()(const Char8* format, ...) const
{
    std::va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length > 0) {
        // One more for the terminating zero.
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(&text[0], text.size(), format, again);
        osgLog().stream(_level).write(text.data(), length);
    }
    va_end(again);
}

OSG_END_NAMESPACE
