#include "osb_bytes.h"

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGOSBSceneFileType.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

Bytes& Bytes::u8(unsigned value)
{
    _text.push_back(static_cast<char>(value & 0xff));
    return *this;
}

Bytes& Bytes::u16(unsigned value)
{
    return u8(value >> 8).u8(value);
}

Bytes& Bytes::u32(std::uint32_t value)
{
    return u16(value >> 16).u16(value & 0xffff);
}

Bytes& Bytes::f32(float value)
{
    std::uint32_t bits;
    std::memcpy(&bits, &value, 4);
    return u32(bits);
}

Bytes& Bytes::str(const std::string& text)
{
    u32(static_cast<std::uint32_t>(text.size() + 1));
    _text += text;
    return u8(0);
}

Bytes& Bytes::raw(const Bytes& other)
{
    _text += other._text;
    return *this;
}

Bytes Bytes::header()
{
    return Bytes().str("OpenSG binary V1.0").str("").str("").u32(0).u32(0);
}

Bytes& Bytes::record(const std::string& type, std::uint32_t id, int kind)
{
    str(type).u32(id);
    if (kind >= 0)
        u8(static_cast<unsigned>(kind));
    return u16(100);
}

Bytes& Bytes::field(const std::string& name, const std::string& type, const Bytes& data)
{
    return str(name).str(type).u32(static_cast<std::uint32_t>(data._text.size())).raw(data);
}

Bytes& Bytes::handle(const std::string& name, const std::string& type, std::uint32_t id)
{
    return field(name, type, Bytes().u32(id));
}

Bytes& Bytes::handles(const std::string& name, const std::string& type, const std::vector<std::uint32_t>& ids)
{
    Bytes data;
    data.u32(static_cast<std::uint32_t>(ids.size()));
    for (const std::uint32_t id : ids)
        data.u32(id);
    return field(name, type, data);
}

Bytes& Bytes::end()
{
    return str("");
}

osg::NodePtr readOsb(const std::string& bytes)
{
    std::istringstream in(bytes);
    return osg::OSBSceneFileType::the().read(in, "scene.osb");
}

std::string writeOsb(const osg::NodePtr& root)
{
    std::ostringstream out;
    return osg::OSBSceneFileType::the().write(root, out, "scene.osb") ? out.str() : std::string();
}

NothingLeft::NothingLeft() : _before(osg::FieldContainerFactory::the()->getNumContainers()) {}

NothingLeft::~NothingLeft()
{
    EXPECT_EQ(_before, osg::FieldContainerFactory::the()->getNumContainers()) << "containers are left over";
}

void beginCapture()
{
    ::testing::internal::CaptureStderr();
}

std::vector<std::string> endCapture()
{
    std::istringstream text(::testing::internal::GetCapturedStderr());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}
