#include <OpenSG/OSGOSBSceneFileType.h>

#include "OSGOsbReader.h"
#include "OSGOsbWriter.h"

#include <OpenSG/OSGSceneFileHandler.h>

OSG_BEGIN_NAMESPACE

namespace
{

OsbOptions currentOptions(const SceneFileType& type)
{
    const Char8* const stored = SceneFileHandler::the().getOptions("osb");
    return OsbOptions::parse(stored != nullptr ? stored : type.getOptions());
}

} // namespace

const Char8* OSBSceneFileType::_suffixA[] = {"osb"};
OSBSceneFileType OSBSceneFileType::_the(_suffixA, sizeof(_suffixA), false, 10,
                                        OSG_READ_SUPPORTED | OSG_WRITE_SUPPORTED);

OSBSceneFileType::OSBSceneFileType(const Char8* suffixArray[], UInt16 suffixByteCount, bool override,
                                   UInt32 overridePriority, UInt32 flags)
    : SceneFileType(suffixArray, suffixByteCount, override, overridePriority, flags)
{
}

OSBSceneFileType::~OSBSceneFileType() = default;

OSBSceneFileType& OSBSceneFileType::the()
{
    return _the;
}

const Char8* OSBSceneFileType::getName() const
{
    return "OpenSG Binary";
}

NodePtr OSBSceneFileType::read(std::istream& in, const Char8* fileNameOrExtension) const
{
    return OsbReader(fileNameOrExtension, currentOptions(*this)).read(in);
}

bool OSBSceneFileType::write(const NodePtr& node, std::ostream& out, const Char8* fileNameOrExtension) const
{
    return OsbWriter(fileNameOrExtension, currentOptions(*this)).write(node, out);
}

OSG_END_NAMESPACE
