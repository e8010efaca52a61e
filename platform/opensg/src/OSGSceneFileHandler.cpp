#include <OpenSG/OSGSceneFileHandler.h>

#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGLog.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <memory>

OSG_BEGIN_NAMESPACE

namespace
{

// Kept for the whole process, as the handler is.
std::unique_ptr<GraphOpSeq>& defaultGraphOp()
{
    static std::unique_ptr<GraphOpSeq>* const seq = new std::unique_ptr<GraphOpSeq>(new GraphOpSeq);
    return *seq;
}

} // namespace

// Makes a stream the one being read. A type may read other files meanwhile (a library of materials, say);
// when such a read ends, stream and base file of the outer one are in force again.
class SceneFileHandler::ReadScope
{
public:
    ReadScope(SceneFileHandler& handler, std::istream& in)
        : _handler(handler), _outerStream(handler._readStream), _outerSize(handler._readSize)
    {
        handler._readStream = &in;
        handler._readSize = 0;
        if (!in.good())
            return;
        const std::istream::pos_type start = in.tellg();
        if (start != std::istream::pos_type(-1) && in.seekg(0, std::ios::end)) {
            handler._readSize = static_cast<UInt64>(in.tellg());
            in.seekg(start);
        }
        in.clear(); // a pipe, say, has no size and no positions
    }
    ~ReadScope()
    {
        _handler._readStream = _outerStream;
        _handler._readSize = _outerSize;
    }
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

private:
    SceneFileHandler& _handler;
    std::istream* _outerStream;
    UInt64 _outerSize;
};

SceneFileHandler& SceneFileHandler::the()
{
    static SceneFileHandler* const handler = new SceneFileHandler;
    return *handler;
}

// -- Read -------------------------------------------------------------------------------------------

NodePtr SceneFileHandler::read(const Char8* fileName, GraphOpSeq* graphOpSeq)
{
    if (fileName == nullptr) {
        SWARNING << "SceneFileHandler: cannot read a file without a name." << std::endl;
        return NullFC;
    }

    // The built-in path handler is set up anew for each file; a read within a read must not change it for the
    // outer one.
    const PathHandler outerPaths = _defaultPathHandler;
    struct RestorePaths {
        ~RestorePaths()
        {
            if (nested)
                handler._defaultPathHandler = paths;
        }
        SceneFileHandler& handler;
        const PathHandler& paths;
        bool nested;
    } const restorePaths{*this, outerPaths, _readStream != nullptr};

    const std::string path = findFile(fileName);
    if (path.empty()) {
        SWARNING << "SceneFileHandler: could not find or open \"" << fileName << "\"." << std::endl;
        return NullFC;
    }
    SceneFileType* const type = getFileType(path.c_str());
    if (type == nullptr) {
        SWARNING << "SceneFileHandler: no file type is known for \"" << path << "\"." << std::endl;
        return NullFC;
    }

    // Images are looked for where the scene is.
    ImageFileHandler::the().setPathHandler(getPathHandler());
    triggerReadBegin(path.c_str());
    NodePtr root = NullFC;
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (in) {
        const ReadScope scope(*this, in);
        updateReadProgress(0);
        in.peek(); // the stream of an empty file is at its end from the start
        root = readStream(type, in, path.c_str());
    } else {
        SWARNING << "SceneFileHandler: could not open \"" << path << "\"." << std::endl;
    }
    if (root != NullFC) {
        if (graphOpSeq != nullptr)
            graphOpSeq->run(root);
        triggerReadEnd(path.c_str());
        return root;
    }
    root = type->readFile(path.c_str());
    if (root != NullFC)
        triggerReadEnd(path.c_str());
    return root;
}

NodePtr SceneFileHandler::read(std::istream& in, const Char8* extension, GraphOpSeq* graphOpSeq)
{
    SceneFileType* const type = getFileType(extension);
    if (type == nullptr) {
        SWARNING << "SceneFileHandler: no file type is known for \""
                 << (extension != nullptr ? extension : "") << "\"." << std::endl;
        return NullFC;
    }
    triggerReadBegin(extension);
    NodePtr root = NullFC;
    {
        const ReadScope scope(*this, in);
        updateReadProgress(0);
        root = readStream(type, in, extension);
    }
    if (root != NullFC) {
        if (graphOpSeq != nullptr)
            graphOpSeq->run(root);
        triggerReadEnd(extension);
    }
    return root;
}

NodePtr SceneFileHandler::readStream(SceneFileType* type, std::istream& in, const Char8* fileNameOrExtension)
{
    return _readFP != nullptr ? _readFP(type, in, fileNameOrExtension) : type->read(in, fileNameOrExtension);
}

std::string SceneFileHandler::findFile(const Char8* fileName)
{
    if (_pathHandler != nullptr)
        return _pathHandler->findFile(fileName);
    _defaultPathHandler.clearPathList();
    _defaultPathHandler.push_frontCurrentDir();
    _defaultPathHandler.clearBaseFile();
    const std::string path = _defaultPathHandler.findFile(fileName);
    if (!path.empty())
        _defaultPathHandler.setBaseFile(path.c_str());
    return path;
}

// -- Write ------------------------------------------------------------------------------------------

bool SceneFileHandler::write(const NodePtr& node, const Char8* fileName, bool compress)
{
    SceneFileType* const type = getFileType(fileName);
    if (type == nullptr) {
        SWARNING << "SceneFileHandler: no file type is known for \"" << (fileName != nullptr ? fileName : "")
                 << "\"." << std::endl;
        return false;
    }

    updateWriteProgress(0);
    triggerWriteBegin(fileName);
    std::ofstream out(PathHandler::nativeName(fileName), std::ios::out | std::ios::binary | std::ios::trunc);
    if (out) {
        updateWriteProgress(0);
        bool written = writeStream(type, node, out, fileName, compress);
        if (written) {
            out.close();
            written = !out.fail();
            if (!written)
                SWARNING << "SceneFileHandler: could not write all of \"" << fileName << "\"." << std::endl;
        }
        if (written) {
            triggerWriteEnd(fileName);
            return true;
        }
    } else {
        SWARNING << "SceneFileHandler: could not open \"" << fileName << "\" for writing." << std::endl;
    }
    return type->writeFile(node, fileName);
}

bool SceneFileHandler::write(const NodePtr& node, std::ostream& out, const Char8* extension, bool compress)
{
    SceneFileType* const type = getFileType(extension);
    if (type == nullptr) {
        SWARNING << "SceneFileHandler: no file type is known for \""
                 << (extension != nullptr ? extension : "") << "\"." << std::endl;
        return false;
    }
    updateWriteProgress(0);
    triggerWriteBegin(extension);
    const bool written = writeStream(type, node, out, extension, compress);
    if (written)
        triggerWriteEnd(extension);
    return written;
}

bool SceneFileHandler::writeStream(SceneFileType* type, const NodePtr& node, std::ostream& out,
                                   const Char8* fileNameOrExtension, bool compress)
{
    if (_writeFP != nullptr)
        return _writeFP(type, node, out, fileNameOrExtension, compress);
    if (compress) {
        SFATAL << "SceneFileHandler: compressed output is not supported." << std::endl;
        return false;
    }
    return type->write(node, out, fileNameOrExtension);
}

// -- Types ------------------------------------------------------------------------------------------

std::map<std::string, SceneFileHandler::FileTypeList>::iterator
SceneFileHandler::findSuffix(const Char8* fileNameOrExtension)
{
    if (fileNameOrExtension == nullptr)
        return _types.end();
    std::string name(fileNameOrExtension);
    std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && name.compare(dot, std::string::npos, ".gz") == 0) {
        name.erase(dot);
        dot = name.rfind('.');
    }
    if (dot != std::string::npos)
        name.erase(0, dot + 1);
    for (Char8& ch : name)
        ch = static_cast<Char8>(std::tolower(static_cast<UChar8>(ch)));
    return _types.find(name);
}

SceneFileType* SceneFileHandler::getFileType(const Char8* fileNameOrExtension)
{
    const auto it = findSuffix(fileNameOrExtension);
    return it != _types.end() ? it->second.front() : nullptr;
}

int SceneFileHandler::getSuffixList(std::list<const Char8*>& suffixes, UInt32 flags)
{
    for (const auto& entry : _types)
        if ((entry.second.front()->getFlags() & flags) == flags)
            suffixes.push_back(entry.first.c_str());
    return static_cast<int>(suffixes.size());
}

void SceneFileHandler::print()
{
    for (const auto& entry : _types)
        FLOG(("%s: %s\n", entry.first.c_str(), entry.second.front()->getName()));
}

void SceneFileHandler::addSceneFileType(SceneFileType& fileType)
{
    for (const IDString& suffix : fileType.suffixList()) {
        FileTypeList& types = _types[suffix.str()];
        auto place = types.end();
        if (fileType.doOverride())
            place = std::find_if(types.begin(), types.end(), [&fileType](const SceneFileType* other) {
                return !other->doOverride() || other->getOverridePriority() <= fileType.getOverridePriority();
            });
        types.insert(place, &fileType);
    }
}

void SceneFileHandler::subSceneFileType(SceneFileType& fileType)
{
    for (auto it = _types.begin(); it != _types.end();) {
        it->second.remove(&fileType);
        if (it->second.empty()) {
            _options.erase(it->first);
            it = _types.erase(it);
        } else {
            ++it;
        }
    }
}

bool SceneFileHandler::setOptions(const Char8* suffix, const Char8* options)
{
    const auto it = findSuffix(suffix);
    if (it == _types.end())
        return false;
    _options[it->first] = options != nullptr ? options : "";
    return true;
}

const Char8* SceneFileHandler::getOptions(const Char8* suffix)
{
    const auto type = findSuffix(suffix);
    if (type == _types.end())
        return nullptr;
    const auto options = _options.find(type->first);
    return options != _options.end() ? options->second.c_str() : nullptr;
}

// -- Progress ---------------------------------------------------------------------------------------

void SceneFileHandler::setReadProgressCB(progresscbfp cb, bool)
{
    _readProgress = cb;
}

void SceneFileHandler::updateReadProgress()
{
    if (_readProgress == nullptr || _readStream == nullptr || _readSize == 0)
        return;
    const bool atEnd = _readStream->eof();
    const std::streamoff position = atEnd ? 0 : static_cast<std::streamoff>(_readStream->tellg());
    if (atEnd)
        _readProgress(100);
    else if (position >= 0)
        _readProgress(static_cast<UInt32>(static_cast<UInt64>(position) * 100 / _readSize));
}

void SceneFileHandler::updateReadProgress(UInt32 percent)
{
    if (_readProgress != nullptr)
        _readProgress(percent);
}

void SceneFileHandler::updateWriteProgress(UInt32 percent)
{
    if (_writeProgress != nullptr)
        _writeProgress(percent);
}

void SceneFileHandler::triggerReadBegin(const Char8* fileName)
{
    if (_readBegin != nullptr)
        _readBegin(fileName);
}

void SceneFileHandler::triggerReadEnd(const Char8* fileName)
{
    if (_readEnd != nullptr)
        _readEnd(fileName);
}

void SceneFileHandler::triggerWriteBegin(const Char8* fileName)
{
    if (_writeBegin != nullptr)
        _writeBegin(fileName);
}

void SceneFileHandler::triggerWriteEnd(const Char8* fileName)
{
    if (_writeEnd != nullptr)
        _writeEnd(fileName);
}

// -- Parts ------------------------------------------------------------------------------------------

PathHandler* SceneFileHandler::getPathHandler()
{
    return _pathHandler != nullptr ? _pathHandler : &_defaultPathHandler;
}

GraphOpSeq* SceneFileHandler::getDefaultGraphOp()
{
    return defaultGraphOp().get();
}

void SceneFileHandler::setDefaultGraphOp(GraphOpSeq* graphOpSeq)
{
    if (defaultGraphOp().get() != graphOpSeq)
        defaultGraphOp().reset(graphOpSeq);
}

OSG_END_NAMESPACE
