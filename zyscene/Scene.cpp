#include "Scene.h"

#include "ImportOptions.h"
#include "RunContext.h"
#include "Text.h"
#include "TextureSearch.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>
#include <kelda/KLibrary.h>
#include <kelda/KStatus.h>
#include <zyKeldaLoader.h>
#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyUtils/zyFile.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>
#include <unordered_set>

namespace zyscene
{

Scene::~Scene()
{
    if (_root != osg::NullFC)
        osg::subRefCP(_root);
}

std::string Scene::nameOf(const osg::ImagePtr& image) const
{
    const std::string name = image->getName();
    const std::string unix = zyFile::convertToUnixSeparators(name);
    const std::string directory = _directory + "/";
    if (unix.compare(0, directory.size(), directory) == 0)
        return unix.substr(directory.size());
    const bool isAbsolute = !unix.empty() && (unix[0] == '/' || unix.compare(1, 2, ":/") == 0);
    return isAbsolute ? zyFile::getFileName(name) : name;
}

// -- Who reads what ----------------------------------------------------------------------------------

namespace
{
bool hasFileType(const std::string& file)
{
    const osg::SceneFileType* const type = osg::SceneFileHandler::the()->getFileType(file.c_str());
    return type != nullptr && (type->getFlags() & osg::SceneFileType::OSG_READ_SUPPORTED) != 0;
}

// The file type starts the SDK by itself; the import entry relies on the caller. Done the same way, so that
// it does not matter which of the two comes first.
bool startModeller()
{
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    return !KLibrary::initialize("zyKeldaFileIO", true).error();
}
} // namespace

SceneReader::SceneReader(RunContext& context, const ImportOptions& options)
    : _context(context), _options(options.text()), _searchFolders(options.searchFolders())
{
    std::string unit;
    if (options.asksForUnknownUnit(unit)) {
        _context.report(
            {"unit-unknown", Issue::Warning, "", "",
             "unknown import unit '" + unit + "', centimetres are kept; known are " + knownUnits()});
    }
}

bool SceneReader::canRead(const std::string& file)
{
    if (suffixOf(file).empty())
        return false;
    return hasFileType(file) || KFileIO::isImportable(suffixOf(file).c_str());
}

bool SceneReader::canReadAll(const std::vector<std::string>& files)
{
    for (const std::string& file : files) {
        if (!canRead(file)) {
            _context.report({"suffix-unknown", Issue::Error, displayName(file), "",
                             suffixOf(file).empty()
                                 ? "the name has no suffix that says what to read"
                                 : "nobody reads files with the suffix '" + suffixOf(file) + "'"});
            return false;
        }
    }
    return true;
}

// -- Reading -----------------------------------------------------------------------------------------

namespace
{
// The handler's progress callback has no user data.
std::function<void(osg::UInt32)> progressListener;

void forwardProgress(osg::UInt32 percent)
{
    if (progressListener)
        progressListener(percent);
}

class ListenToProgress
{
public:
    explicit ListenToProgress(std::function<void(osg::UInt32)> listener)
    {
        progressListener = std::move(listener);
        osg::SceneFileHandler::the()->setReadProgressCB(&forwardProgress, false);
    }
    ~ListenToProgress()
    {
        osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
        progressListener = nullptr;
    }
    ListenToProgress(const ListenToProgress&) = delete;
    ListenToProgress& operator=(const ListenToProgress&) = delete;
};

class ObserveRepairs
{
public:
    explicit ObserveRepairs(zyNodeUtils::RepairObserver observer)
        : _former(zyNodeUtils::setRepairObserver(std::move(observer)))
    {
    }
    ~ObserveRepairs() { zyNodeUtils::setRepairObserver(std::move(_former)); }
    ObserveRepairs(const ObserveRepairs&) = delete;
    ObserveRepairs& operator=(const ObserveRepairs&) = delete;

private:
    zyNodeUtils::RepairObserver _former;
};

// Messages about single nodes that the module skips. Their texts are part of its interface; nothing else
// tells.
struct SkipText {
    const char* before;
    const char* after;
};
const SkipText skipTexts[] = {
    {"Could not convert '", "', unknown type."},
    {"Could not find Kelda parent node for '", "'."},
};

bool skippedNode(const std::string& text, std::string& node)
{
    for (const SkipText& row : skipTexts) {
        const std::string before = row.before;
        const std::string after = row.after;
        if (text.size() >= before.size() + after.size() && text.compare(0, before.size(), before) == 0 &&
            text.compare(text.size() - after.size(), after.size(), after) == 0) {
            node = text.substr(before.size(), text.size() - before.size() - after.size());
            return true;
        }
    }
    return false;
}

} // namespace

bool graphComplaint(const Message& message, std::string& text)
{
    for (const char* label : {"WARNING:", "FATAL:"}) {
        const std::string prefix = label;
        if (message.channel == Message::Stderr && message.text.compare(0, prefix.size(), prefix) == 0) {
            const std::string::size_type start = message.text.find_first_not_of(" \t", prefix.size());
            text = start == std::string::npos ? std::string() : message.text.substr(start);
            return !text.empty();
        }
    }
    return false;
}

std::string reasonOf(const std::vector<Message>& messages, const Message*& used)
{
    std::string text;
    used = nullptr;
    for (const Message& message : messages) {
        if (message.channel == Message::Sdk && message.error) {
            used = &message;
            return message.text;
        }
    }
    for (const Message& message : messages) {
        if (graphComplaint(message, text)) {
            used = &message;
            return text;
        }
    }
    for (const Message& message : messages) {
        if (message.error) {
            used = &message;
            return message.text;
        }
    }
    return "no reason was given";
}

std::string withoutFileName(const std::string& reason, const std::string& name)
{
    const std::string start = name + ": ";
    if (reason.compare(0, start.size(), start) != 0)
        return reason;
    for (const char* verb : {"cannot be imported: ", "cannot be opened: ", "cannot be read: ",
                             "cannot be saved: ", "cannot be written: "}) {
        const std::string whole = start + verb;
        if (reason.compare(0, whole.size(), whole) == 0)
            return reason.substr(whole.size());
    }
    const std::string rest = reason.substr(start.size());
    return rest.compare(0, 3, "is ") == 0 ? "it " + rest : rest;
}

void stripDirectory(std::string& text, const std::string& directory)
{
    if (directory.size() <= 1)
        return;
    for (const char* end : {"/./", "/", "\\"}) {
        const std::string what = directory + end;
        for (std::string::size_type at = 0; (at = text.find(what, at)) != std::string::npos;)
            text.erase(at, what.size());
    }
}

std::string lineOf(const Message& message)
{
    return std::string(nameOf(message.channel)) + ": " + printable(message.text);
}

bool SceneReader::isThere(const std::string& file)
{
    const auto fail = [this, &file](const char* code, const std::string& message) {
        _context.report({code, Issue::Error, displayName(file), "", message});
        return false;
    };
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found)
        return fail("file-missing", "no such file");
    if (error)
        return fail("read-failed", error.message());
    if (status.type() == std::filesystem::file_type::directory)
        return fail("read-failed", "is a directory");
    // Opening a pipe would wait for its other end.
    if (status.type() != std::filesystem::file_type::regular)
        return fail("read-failed", "is no regular file");
    errno = 0;
    if (!std::ifstream(file, std::ios::binary))
        return fail("read-failed", std::generic_category().message(errno != 0 ? errno : EACCES));
    return true;
}

namespace
{
bool isAboutTexture(const Message& message, std::string& texture)
{
    const std::string before = "Error reading texture image '";
    const std::string after = "'!";
    const std::string& text = message.text;
    if (message.channel != Message::LogError || text.size() < before.size() + after.size() ||
        text.compare(0, before.size(), before) != 0)
        return false;
    texture = text.substr(before.size(), text.size() - before.size() - after.size());
    return true;
}

// Why an image cannot be read, from the last complaint of the scene graph: it names the file in front.
std::string reasonOfImage(const std::vector<Message>& said)
{
    std::string reason;
    for (auto message = said.rbegin(); message != said.rend(); ++message) {
        if (!graphComplaint(*message, reason))
            continue;
        const std::string::size_type name = reason.find("\": ");
        return name == std::string::npos ? reason : reason.substr(name + 3);
    }
    return "no reason was given";
}
} // namespace

// What is wrong with a scene that can be read, to be reported when it has been.
struct SceneReader::Findings {
    std::vector<Issue> issues;
    std::unordered_set<std::string> unreadable; ///< what was said of textures: once for each
};

// Takes a message into the scene's record, with paths of the scene's directory made relative.
void SceneReader::take(Scene& scene, Message message, const std::string& shown, const TextureSearch& search,
                       Findings& findings)
{
    stripDirectory(message.text, scene._directory);
    _context.console.note(lineOf(message));

    std::string name;
    if (message.channel == Message::LogError && skippedNode(message.text, name))
        _context.keep({"node-skipped", Issue::Warning, shown, name, message.text});
    if (isAboutTexture(message, name)) {
        message.told = true;
        const std::string text = "texture '" + name + "' cannot be read: " + reasonOfImage(scene.messages());
        if (!search.lastIsMissing() && findings.unreadable.insert(text).second)
            findings.issues.push_back({"texture-unreadable", Issue::Warning, shown, "", text});
    }
    scene.add(std::move(message));
}

void SceneReader::reportTextures(const TextureSearch& search, const std::string& shown)
{
    for (const TextureSearch::Relinked& texture : search.relinked()) {
        _context.report(
            {"texture-relinked", Issue::Note, shown, "",
             "texture '" + texture.name + "' was found in '" + displayName(texture.folder) + "'"});
    }
    for (const TextureSearch::Missing& texture : search.missing()) {
        std::string places;
        for (const std::string& place : texture.tried)
            places += (places.empty() ? "'" : ", '") + place + "'";
        _context.report({"texture-missing", Issue::Warning, shown, "",
                         "texture '" + texture.name + "' was not found; tried " + places, texture.tried});
    }
}

bool SceneReader::read(const std::string& file, Scene& scene)
{
    if (!isThere(file))
        return false;

    const std::string shown = displayName(file);
    // Absolute: relative names with a colon or a dollar sign mean something to the handler's search.
    const std::filesystem::path path = std::filesystem::absolute(file).lexically_normal();
    scene._directory = path.parent_path().string();
    Findings findings;
    osg::NodePtr root;
    const TextureSearch search(path.string(), _searchFolders);
    {
        ProgressBar bar(_context.console, "reading " + shown);
        Capture capture([&](Message message) { take(scene, std::move(message), shown, search, findings); });
        ListenToProgress progress([&](osg::UInt32 percent) {
            scene._progress.add(percent);
            bar.update(percent);
        });
        ObserveRepairs observe([&](const zyNodeUtils::Repair& repair) {
            if (repair.primitives != 0) {
                findings.issues.push_back(
                    {"primitives-dropped", Issue::Warning, shown, repair.nodeName,
                     "node '" + repair.nodeName + "': " + plural(repair.primitives, "primitive") + " (" +
                         plural(repair.triangles, "triangle") + ") dropped: " + repair.what});
            }
        });

        if (hasFileType(file)) {
            // Options are one text for each suffix, and stay: whatever the last read had is replaced.
            osg::SceneFileHandler::the()->setOptions("kb", _options.c_str());
            root = osg::SceneFileHandler::the()->read(path.string().c_str());
        } else if (startModeller()) {
            root = zyKeldaLoader::read(path.string(), _options);
        }
    }
    osg::addRefCP(root);
    scene._root = root;

    if (root == osg::NullFC) {
        // Further complaints say the same in other words; -v shows them.
        const Message* used = nullptr;
        const std::string reason = reasonOf(scene._messages, used);
        _context.report({"read-failed", Issue::Error, shown, "",
                         "cannot be read: " + withoutFileName(reason, path.filename().string())});
        return false;
    }
    for (const Message& message : scene._messages) {
        // With -v all messages have been shown as they came.
        if (message.error && !message.told && _context.console.options().verbose == 0)
            _context.console.line(lineOf(message));
    }
    reportTextures(search, shown);
    for (Issue& issue : findings.issues)
        _context.report(std::move(issue));
    return true;
}

} // namespace zyscene
