#pragma once

#include <OpenSG/OSGNodePtr.h>

#include <cstdint>
#include <string>
#include <vector>

// Scene files made by hand, and reading and writing in memory.

/// Appends to a text, most significant byte first.
class Bytes
{
public:
    Bytes& u8(unsigned value);
    Bytes& u16(unsigned value);
    Bytes& u32(std::uint32_t value);
    Bytes& f32(float value);
    /// Length with the terminating zero, characters, zero.
    Bytes& str(const std::string& text);
    Bytes& raw(const Bytes& other);

    /// What stands before the first record.
    static Bytes header();
    /// Type, id, kind and version; -1 for types without kind.
    Bytes& record(const std::string& type, std::uint32_t id, int kind);
    Bytes& field(const std::string& name, const std::string& type, const Bytes& data);
    Bytes& handle(const std::string& name, const std::string& type, std::uint32_t id);
    Bytes& handles(const std::string& name, const std::string& type, const std::vector<std::uint32_t>& ids);
    /// End of a record or of the file.
    Bytes& end();

    const std::string& text() const { return _text; }

private:
    std::string _text;
};

/// Null if it cannot be read.
osg::NodePtr readOsb(const std::string& bytes);
inline osg::NodePtr readOsb(const Bytes& bytes)
{
    return readOsb(bytes.text());
}
/// "" if it cannot be written.
std::string writeOsb(const osg::NodePtr& root);

/// As many containers live at its end as at its start, or the test fails.
class NothingLeft
{
public:
    NothingLeft();
    ~NothingLeft();

private:
    std::uint32_t _before;
};

void beginCapture();
std::vector<std::string> endCapture();

/// Lines that the library logs while \a body runs.
template <class Body>
std::vector<std::string> logOf(Body body)
{
    beginCapture();
    body();
    return endCapture();
}
