#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <cstdio>
#include <mutex>
#include <ostream>
#include <string>

OSG_BEGIN_NAMESPACE

/// A message is shown if its level is not above that of the log.
enum LogLevel { LOG_LOG = 0, LOG_FATAL = 1, LOG_WARNING = 2, LOG_NOTICE = 3, LOG_INFO = 4, LOG_DEBUG = 5 };

/// Where messages go.
enum LogType { LOG_NONE = 0, LOG_STDOUT = 1, LOG_STDERR = 2, LOG_FILE = 3 };

/// The library's log. Each line is prefixed with the name of its level ("WARNING:  ") and leaves as a whole,
/// so lines of several threads do not mix.
///
/// The environment variables OSG_LOG_LEVEL (a level's name without "LOG_", or its number), OSG_LOG_TYPE
/// (none, stdout, stderr, file) and OSG_LOG_FILE are read on first use and win over settings that are not
/// forced.
class OSG_PLATFORM_API Log
{
public:
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// NOTICE at the start.
    void setLogLevel(LogLevel level, bool force = false);
    LogLevel getLogLevel() const { return _level; }
    bool isShown(LogLevel level) const { return level <= _level && _type != LOG_NONE; }

    /// STDERR at the start.
    void setLogType(LogType type, bool force = false);
    LogType getLogType() const { return _type; }

    /// Creates the file and sends what follows there. With null, an empty name or a file that cannot be
    /// created, messages go to stderr.
    void setLogFile(const Char8* fileName, bool force = false);

    /// The calling thread's stream of this level; what is put there appears with the end of the line. Valid
    /// until the thread ends.
    std::ostream& stream(LogLevel level);

    /// Writes one line, prefix and end of line added.
    void writeLine(LogLevel level, const std::string& text);

private:
    friend OSG_PLATFORM_API Log& osgLog();

    Log();
    ~Log() = delete; // lives as long as the process: file types log from static destructors

    std::mutex _mutex;
    LogLevel _level;
    LogType _type;
    std::FILE* _file;
    bool _levelFromEnvironment;
    bool _typeFromEnvironment;
    bool _fileFromEnvironment;
};

OSG_PLATFORM_API Log& osgLog();

/// printf arguments in the shape the F... macros need.
class OSG_PLATFORM_API LogPrinter
{
public:
    explicit LogPrinter(LogLevel level) : _level(level) {}

    void operator()(const Char8* format, ...) const
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

private:
    LogLevel _level;
};

OSG_END_NAMESPACE

// -- Streams: SWARNING << "text" << std::endl; ------------------------------------------------------

#define SLOG osg::osgLog().stream(osg::LOG_LOG)
#define SFATAL osg::osgLog().stream(osg::LOG_FATAL)
#define SWARNING osg::osgLog().stream(osg::LOG_WARNING)
#define SNOTICE osg::osgLog().stream(osg::LOG_NOTICE)
#define SINFO osg::osgLog().stream(osg::LOG_INFO)
#define SDEBUG osg::osgLog().stream(osg::LOG_DEBUG)

// -- printf form, with double parentheses: FWARNING(("text %d\n", n)); ------------------------------

#define OSG_LOG_PRINT(level, arguments)                                                                      \
    do {                                                                                                     \
        if (osg::osgLog().isShown(level))                                                                    \
            osg::LogPrinter{level} arguments;                                                                \
    } while (false)

#define FLOG(arguments) OSG_LOG_PRINT(osg::LOG_LOG, arguments)
#define FFATAL(arguments) OSG_LOG_PRINT(osg::LOG_FATAL, arguments)
#define FWARNING(arguments) OSG_LOG_PRINT(osg::LOG_WARNING, arguments)
#define FNOTICE(arguments) OSG_LOG_PRINT(osg::LOG_NOTICE, arguments)
#define FINFO(arguments) OSG_LOG_PRINT(osg::LOG_INFO, arguments)
#if defined(NDEBUG)
#define FDEBUG(arguments)                                                                                    \
    do {                                                                                                     \
    } while (false)
#else
#define FDEBUG(arguments) OSG_LOG_PRINT(osg::LOG_DEBUG, arguments)
#endif
