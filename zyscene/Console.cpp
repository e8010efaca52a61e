#include "Console.h"

#include "Text.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#include <cstdint>
#include <sanitizer/common_interface_defs.h>
#endif

namespace zyscene
{

namespace
{
// A copy of a standard descriptor that neither redirection nor child processes touch.
int keepDescriptor(int fd)
{
    const int lowest = 10; // out of the way of programs that count on small numbers
    int kept = ::fcntl(fd, F_DUPFD_CLOEXEC, lowest);
    if (kept < 0) {
        // Closed by whoever started us: nobody wants to read it, and no file of ours must get its number.
        const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        if (null >= 0 && null != fd) {
            ::dup2(null, fd);
            ::close(null);
        }
        kept = ::fcntl(fd, F_DUPFD_CLOEXEC, lowest);
    }
    return kept;
}

bool decide(When when, int fd)
{
    return when == When::Always || (when == When::Auto && ::isatty(fd) != 0);
}
} // namespace

Console::Console() : _out(keepDescriptor(STDOUT_FILENO)), _err(keepDescriptor(STDERR_FILENO))
{
    // Whatever prints outside of a capture is no result.
    ::dup2(_err.fd(), STDOUT_FILENO);
#if defined(__SANITIZE_ADDRESS__)
    // A report must not end up in the memory of a capture.
    __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(_err.fd())));
#endif
}

Console::~Console()
{
    clearStatus();
    _out.flush();
    _err.flush();
    ::close(_out.fd());
    ::close(_err.fd());
}

void Console::configure(const ConsoleOptions& options)
{
    _options = options;

    When color = options.color;
    const char* noColor = std::getenv("NO_COLOR");
    if (color == When::Auto && noColor != nullptr && noColor[0] != '\0')
        color = When::Never;
    _colorsOut = decide(color, _out.fd());
    _colorsErr = decide(color, _err.fd());
    _showsStatus = !options.quiet && decide(options.progress, _err.fd());
}

void Console::labelled(const char* label, const char* color, std::string_view text)
{
    std::string shown = "zyscene: ";
    if (_colorsErr)
        shown += color;
    shown += label;
    if (_colorsErr)
        shown += "\033[0m";
    shown += ": ";
    shown += printable(text);
    line(shown);
}

void Console::error(std::string_view text)
{
    labelled("error", "\033[1;31m", text);
}

void Console::warning(std::string_view text)
{
    if (!_options.quiet)
        labelled("warning", "\033[1;33m", text);
}

void Console::note(std::string_view text)
{
    if (_options.verbose > 0)
        line(printable(text));
}

void Console::line(std::string_view text)
{
    clearStatus();
    _err.write(text);
    _err.put('\n');
    _err.flush();
}

void Console::setStatus(std::string_view text)
{
    _err.write("\r\033[K");
    _err.write(text);
    _err.flush();
    _statusDrawn = true;
}

void Console::clearStatus()
{
    if (!_statusDrawn)
        return;
    _err.write("\r\033[K");
    _err.flush();
    _statusDrawn = false;
}

} // namespace zyscene
