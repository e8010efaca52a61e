#include <OpenSG/OSGSceneFileType.h>

#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGSceneFileHandler.h>

#include <cctype>

OSG_BEGIN_NAMESPACE

SceneFileType::SceneFileType(const Char8* suffixArray[], UInt16 suffixByteCount, bool override,
                             UInt32 overridePriority, UInt32 flags)
    : _override(override), _overridePriority(overridePriority), _flags(flags)
{
    for (std::size_t i = 0; i < suffixByteCount / sizeof(suffixArray[0]); ++i) {
        std::string suffix(suffixArray[i]);
        for (Char8& ch : suffix)
            ch = static_cast<Char8>(std::tolower(static_cast<UChar8>(ch)));
        _suffixes.emplace_back(suffix.c_str());
    }
    SceneFileHandler::the().addSceneFileType(*this);
}

SceneFileType::~SceneFileType()
{
    SceneFileHandler::the().subSceneFileType(*this);
}

std::list<IDString>& SceneFileType::suffixList()
{
    return _suffixes;
}

NodePtr SceneFileType::read(std::istream&, const Char8*) const
{
    return NullFC;
}

NodePtr SceneFileType::readFile(const Char8*) const
{
    return NullFC;
}

bool SceneFileType::write(const NodePtr&, std::ostream&, const Char8*) const
{
    return false;
}

bool SceneFileType::writeFile(const NodePtr&, const Char8*) const
{
    return false;
}

void SceneFileType::setOptions(const Char8* options)
{
    _options = options != nullptr ? options : "";
}

void SceneFileType::print() const
{
    std::string suffixes;
    for (const IDString& suffix : _suffixes) {
        suffixes += ' ';
        suffixes += suffix.str();
    }
    FLOG(("%s:%s\n", getName(), suffixes.c_str()));
}

OSG_END_NAMESPACE
