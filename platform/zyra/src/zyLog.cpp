#include <zyUtils/zyLog.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace
{

typedef std::vector<std::pair<unsigned int, zyLog::Sink>> SinkList;

struct LogState {
    std::atomic<int> level{zyLog::Info};
    std::atomic<bool> defaultSink{true};
    std::mutex mutex;
    // Replaced, never changed: a delivery goes on with the list it began with while sinks come and go.
    std::shared_ptr<const SinkList> sinks = std::make_shared<SinkList>();
    unsigned int lastNumber = 0;
};

// Never destroyed: objects with static storage may log until the very end.
LogState& state()
{
    static LogState& theState = *new LogState;
    return theState;
}

std::string formatText(const char* format, va_list args)
{
    char buffer[512];
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(buffer, sizeof(buffer), format, args);
    std::string text;
    if (length < 0) {
        text = format; // cannot be formatted in this locale: better than nothing
    } else if (static_cast<std::size_t>(length) < sizeof(buffer)) {
        text.assign(buffer, static_cast<std::size_t>(length));
    } else {
        text.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(&text[0], text.size(), format, again);
        text.pop_back();
    }
    va_end(again);
    return text;
}

void writeToStandardError(zyLog::Level level, const std::string& text)
{
    std::string line = level == zyLog::Error ? "error: " : level == zyLog::Warning ? "warning: " : "";
    line += text;
    if (line.empty() || line.back() != '\n')
        line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr); // one call: lines of several threads stay whole
}

void deliver(zyLog::Level level, const char* format, va_list args)
{
    LogState& log = state();
    if (format == nullptr || level > log.level)
        return;
    std::shared_ptr<const SinkList> sinks;
    {
        const std::lock_guard<std::mutex> lock(log.mutex);
        sinks = log.sinks;
    }
    const std::string text = formatText(format, args);
    if (log.defaultSink)
        writeToStandardError(level, text);
    for (const auto& sink : *sinks)
        sink.second(level, text);
}

} // namespace

// -- Messages ---------------------------------------------------------------------------------

void zyLog::info(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    deliver(Info, format, args);
    va_end(args);
}

void zyLog::warning(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    deliver(Warning, format, args);
    va_end(args);
}

void zyLog::error(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    deliver(Error, format, args);
    va_end(args);
}

// -- Level and sinks --------------------------------------------------------------------------

void zyLog::setLevel(Level level)
{
    state().level = level;
}

zyLog::Level zyLog::getLevel()
{
    return static_cast<Level>(state().level.load());
}

unsigned int zyLog::addSink(Sink sink)
{
    if (!sink)
        return 0;
    LogState& log = state();
    const std::lock_guard<std::mutex> lock(log.mutex);
    auto sinks = std::make_shared<SinkList>(*log.sinks);
    sinks->emplace_back(++log.lastNumber, std::move(sink));
    log.sinks = std::move(sinks);
    return log.lastNumber;
}

bool zyLog::removeSink(unsigned int sink)
{
    LogState& log = state();
    std::shared_ptr<const SinkList>
        former; // dies after the lock is released: what a sink holds may log as it goes
    const std::lock_guard<std::mutex> lock(log.mutex);
    auto sinks = std::make_shared<SinkList>(*log.sinks);
    const auto found = std::find_if(sinks->begin(), sinks->end(), [sink](const SinkList::value_type& entry) {
        return entry.first == sink;
    });
    if (found == sinks->end())
        return false;
    sinks->erase(found);
    former = std::move(log.sinks);
    log.sinks = std::move(sinks);
    return true;
}

bool zyLog::setDefaultSinkEnabled(bool enabled)
{
    return state().defaultSink.exchange(enabled);
}
