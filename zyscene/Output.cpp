#include "Output.h"

#include <cerrno>
#include <unistd.h>

namespace zyscene
{

Output::~Output()
{
    flush();
}

void Output::flush()
{
    std::size_t done = 0;
    while (done < _buffer.size() && _error == 0) {
        const ssize_t written = ::write(_fd, _buffer.data() + done, _buffer.size() - done);
        if (written > 0)
            done += static_cast<std::size_t>(written);
        else if (written < 0 && errno != EINTR)
            _error = errno;
    }
    _flushed += _buffer.size();
    _buffer.clear();
}

} // namespace zyscene
