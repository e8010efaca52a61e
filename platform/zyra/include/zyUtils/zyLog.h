#ifndef ZYLOG_H
#define ZYLOG_H

#include <zyUtils/zyUtilsApi.h>

#include <functional>
#include <string>

#if defined(__GNUC__)
#define ZYLOG_PRINTF __attribute__((format(printf, 1, 2)))
#else
#define ZYLOG_PRINTF
#endif

/// The host's log: printf-formatted messages of three levels, delivered to any number of sinks.
///
/// Safe to use from several threads; the messages of one thread arrive in order. A message is delivered
/// before the call returns.
class ZYUTILS_API zyLog
{
public:
    /// How much a message matters, the most important first.
    enum Level { Error = 0, Warning = 1, Info = 2 };

    /// Receives one message: its level, and its text exactly as it was formatted (no line feed is added or
    /// taken away). A sink may log, add or remove sinks; it must not throw.
    typedef std::function<void(Level level, const std::string& text)> Sink;

    /// @name Messages
    /// `format` and what follows as for `printf`. A null format is ignored.
    /// @{
    static void info(const char* format, ...) ZYLOG_PRINTF;
    static void warning(const char* format, ...) ZYLOG_PRINTF;
    static void error(const char* format, ...) ZYLOG_PRINTF;
    /// @}

    /// Messages that matter less than `level` are dropped before they are formatted. Initially `Info`: none
    /// is.
    static void setLevel(Level level);
    static Level getLevel();

    /// Adds a sink behind those that are there.
    /// @return its number for removeSink(), never 0. An empty function is not added: 0.
    static unsigned int addSink(Sink sink);

    /// Removes a sink. A message that is being delivered meanwhile may still reach it.
    /// @return false when no sink has that number.
    static bool removeSink(unsigned int sink);

    /// Switches the sink that is there from the start: it writes each message as a line to standard error,
    /// warnings and errors with their level in front.
    /// @return whether it was on.
    static bool setDefaultSinkEnabled(bool enabled);

private:
    zyLog();
};

#undef ZYLOG_PRINTF

#endif
