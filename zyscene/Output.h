#pragma once

#include <string>
#include <string_view>

namespace zyscene
{

/// Buffered writing to a file descriptor that somebody else owns.
///
/// The first failed write (a full disk, a closed pipe) is kept in error(); what follows is dropped.
class Output
{
public:
    explicit Output(int fd) : _fd(fd) {}
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::string_view text)
    {
        _buffer.append(text);
        if (_buffer.size() >= flushSize)
            flush();
    }
    void put(char c) { _buffer.push_back(c); }

    void flush();
    /// errno of the first failed write; 0 while all went well.
    int error() const { return _error; }
    int fd() const { return _fd; }
    /// Bytes written so far, those in the buffer included.
    unsigned long long position() const { return _flushed + _buffer.size(); }

private:
    static constexpr std::size_t flushSize = 1 << 16;

    int _fd;
    int _error = 0;
    unsigned long long _flushed = 0;
    std::string _buffer;
};

} // namespace zyscene
