#include "Capture.h"

#include <kelda/KMessage.h>
#include <zyUtils/zyLog.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zyscene
{

const char* nameOf(Message::Channel channel)
{
    switch (channel) {
    case Message::LogInfo:
        return "log.info";
    case Message::LogWarning:
        return "log.warning";
    case Message::LogError:
        return "log.error";
    case Message::Stdout:
        return "stdout";
    case Message::Stderr:
        return "stderr";
    case Message::Sdk:
        return "sdk";
    }
    return "";
}

Capture::Capture(Listener listener) : _listener(std::move(listener))
{
    redirect(_streams[0], STDOUT_FILENO, Message::Stdout, "stdout");
    redirect(_streams[1], STDERR_FILENO, Message::Stderr, "stderr");

    zyLog::setDefaultSinkEnabled(false);
    _sink = zyLog::addSink([this](zyLog::Level level, const std::string& text) {
        const Message::Channel channel = level == zyLog::Error     ? Message::LogError
                                         : level == zyLog::Warning ? Message::LogWarning
                                                                   : Message::LogInfo;
        say(channel, level == zyLog::Error, text);
    });
    KMessage::setHandler(
        [](KMessage::Kind kind, const char* text, void* self) {
            static_cast<Capture*>(self)->say(Message::Sdk, kind == KMessage::kError, text);
        },
        this);
}

Capture::~Capture()
{
    KMessage::setHandler(nullptr, nullptr);
    zyLog::removeSink(_sink);
    zyLog::setDefaultSinkEnabled(true);

    std::fflush(nullptr);
    for (Stream& stream : _streams) {
        read(stream, true);
        restore(stream);
    }
}

void Capture::drain()
{
    std::fflush(stdout);
    std::fflush(stderr);
    for (Stream& stream : _streams)
        read(stream, false);
}

void Capture::say(Message::Channel channel, bool error, std::string text)
{
    drain();
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    _listener({channel, error, std::move(text)});
}

void Capture::redirect(Stream& stream, int descriptor, Message::Channel channel, const char* name)
{
    std::fflush(nullptr);
    stream.descriptor = descriptor;
    stream.channel = channel;
    stream.memory = ::memfd_create(name, MFD_CLOEXEC);
    if (stream.memory >= 0)
        stream.saved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 10);
    if (stream.saved < 0 || ::dup2(stream.memory, descriptor) < 0) {
        const int reason = errno;
        for (Stream& opened : _streams)
            restore(opened);
        throw std::system_error(reason, std::generic_category(), "cannot capture what is printed");
    }
}

void Capture::restore(Stream& stream)
{
    if (stream.saved >= 0) {
        ::dup2(stream.saved, stream.descriptor);
        ::close(stream.saved);
        stream.saved = -1;
    }
    if (stream.memory >= 0) {
        ::close(stream.memory);
        stream.memory = -1;
    }
}

void Capture::read(Stream& stream, bool all)
{
    char block[4096];
    for (;;) {
        const ssize_t count = ::pread(stream.memory, block, sizeof(block), stream.position);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        stream.position += count;
        stream.partial.append(block, static_cast<std::size_t>(count));
    }

    std::string::size_type start = 0;
    for (std::string::size_type end = 0; (end = stream.partial.find('\n', start)) != std::string::npos;
         start = end + 1)
        _listener({stream.channel, false, stream.partial.substr(start, end - start)});
    stream.partial.erase(0, start);
    if (all && !stream.partial.empty())
        _listener({stream.channel, false, std::move(stream.partial)});
}

} // namespace zyscene
