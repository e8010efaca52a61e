#pragma once

#include "io/SceneSink.h"

namespace kelda
{

/// A file that is replaced as a whole or not at all. The bytes go to a nameless (or, where the file system
/// has none, a temporary) file in the target's folder; commit() flushes it and renames it over the target.
/// Until then, and when anything fails or the process is killed, the old file is whole.
class SafeFile : public Output
{
public:
    SafeFile() = default;
    ~SafeFile() override;
    SafeFile(const SafeFile&) = delete;
    SafeFile& operator=(const SafeFile&) = delete;

    /// A target that is a link is replaced where it leads to.
    bool open(const std::string& path);
    bool write(const void* bytes, size_t count) override;
    bool commit();
    const std::string& error() const override { return _error; }

private:
    bool fail(const std::string& what, int code);
    bool give(const char* bytes, size_t count);
    bool flush();

    std::string _target;
    std::string _folder;
    std::string _temporary; ///< name of the temporary file; empty: it has none
    int _file = -1;
    std::string _buffer; ///< small writes are gathered
    std::string _error;
};

} // namespace kelda
