#pragma once

#include <functional>
#include <string>

namespace zyscene
{

/// Something that the module or the platform said.
struct Message {
    enum Channel { LogInfo, LogWarning, LogError, Stdout, Stderr, Sdk };

    Channel channel;
    bool error; ///< an error of the log or of the SDK
    std::string text;
    bool told = false; ///< an issue says it in other words
};

/// "log.info", "stdout", ...
const char* nameOf(Message::Channel channel);

/// Collects everything that is said in this process while it lives: lines written to descriptors 1 and 2, the
/// host's log, and the SDK's messages.
///
/// The descriptors are pointed to memory files. Whenever the log or the SDK says something, and at each
/// drain(), what has been printed before is delivered first, so that the channels keep their order without a
/// thread. Between two such moments the lines of standard output come before those of standard error. One
/// capture at a time.
class Capture
{
public:
    using Listener = std::function<void(Message)>;

    /// @throws std::system_error when there is no memory file to be had
    explicit Capture(Listener listener);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Delivers the complete lines printed so far.
    void drain();

private:
    struct Stream {
        int descriptor = -1; ///< 1 or 2
        int saved = -1;      ///< what the descriptor was
        int memory = -1;
        long long position = 0; ///< read up to here
        std::string partial;    ///< a line without its end
        Message::Channel channel = Message::Stdout;
    };

    void redirect(Stream& stream, int descriptor, Message::Channel channel, const char* name);
    void restore(Stream& stream);
    void read(Stream& stream, bool all);
    void say(Message::Channel channel, bool error, std::string text);

    Listener _listener;
    Stream _streams[2];
    unsigned int _sink = 0;
};

} // namespace zyscene
