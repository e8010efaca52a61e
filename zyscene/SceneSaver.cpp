#include "SceneSaver.h"

#include "Capture.h"
#include "ExportOptions.h"
#include "LossReport.h"
#include "RunContext.h"
#include "Statistics.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <zyKeldaSceneFileType.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <unordered_set>
#include <utility>

namespace zyscene
{

namespace
{
// By the suffix alone: of a name that ends in ".gz" the handler looks at what stands before that, but nothing
// packs what is written.
const osg::SceneFileType* fileTypeOf(const std::string& file)
{
    const std::string suffix = suffixOf(file);
    return suffix.empty() ? nullptr : osg::SceneFileHandler::the()->getFileType(suffix.c_str());
}
} // namespace

bool canWriteScene(const std::string& file)
{
    const osg::SceneFileType* const type = fileTypeOf(file);
    return type != nullptr && (type->getFlags() & osg::SceneFileType::OSG_WRITE_SUPPORTED) != 0;
}

bool isKeldaScene(const std::string& file)
{
    return dynamic_cast<const zyKeldaSceneFileType*>(fileTypeOf(file)) != nullptr;
}

SceneSaver::SceneSaver(RunContext& context, const std::string& target, const ExportOptions& options,
                       bool clobber)
    : _context(context), _target(target), _options(options.text()), _clobber(clobber)
{
    std::string unit;
    if (options.asksForUnknownUnit(unit)) {
        _context.report({"unit-unknown", Issue::Warning, "", "",
                         "unknown export unit '" + unit +
                             "', the file is labelled with the modeller's own; known are " +
                             knownExportUnits()});
    }
}

// -- Before anything is touched ----------------------------------------------------------------------

bool SceneSaver::fail(const char* code, const std::string& message)
{
    _context.report({code, Issue::Error, displayName(_target), "", message});
    return false;
}

bool SceneSaver::checkTarget()
{
    const std::string obstacle = StagedScene::obstacleTo(_target);
    if (!obstacle.empty())
        return fail("write-failed", "cannot be written: " + obstacle);
    std::error_code error;
    if (!_clobber && std::filesystem::exists(_target, error))
        return fail("target-exists", "is there already and is not replaced");
    _staged.emplace(_target);
    return true;
}

// -- Writing -----------------------------------------------------------------------------------------

namespace
{
// The handler's progress callbacks have no user data.
ProgressBar* writeBar = nullptr;

void showWriteProgress(osg::UInt32 percent)
{
    if (writeBar != nullptr)
        writeBar->update(percent);
}

// An export reports its end as read progress.
class ShowWriteProgress
{
public:
    explicit ShowWriteProgress(ProgressBar& bar)
    {
        writeBar = &bar;
        osg::SceneFileHandler::the()->setWriteProgressCB(&showWriteProgress);
        osg::SceneFileHandler::the()->setReadProgressCB(&showWriteProgress, false);
    }
    ~ShowWriteProgress()
    {
        osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
        osg::SceneFileHandler::the()->setWriteProgressCB(nullptr);
        writeBar = nullptr;
    }
    ShowWriteProgress(const ShowWriteProgress&) = delete;
    ShowWriteProgress& operator=(const ShowWriteProgress&) = delete;
};

// Whether the file is a complete Kelda scene by what its form says of itself: the binary form by its size in
// the header, the text by its last line.
bool isWholeKeldaScene(const std::string& file)
{
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    const std::streamoff size = in.tellg();
    char start[64] = {};
    if (!in || size < static_cast<std::streamoff>(sizeof(start)) || !in.seekg(0) ||
        !in.read(start, sizeof(start)))
        return false;
    if (std::memcmp(start, "\x89KELDAB\n", 8) == 0) {
        std::uint64_t stated = 0;
        for (int i = 7; i >= 0; --i)
            stated = stated << 8 | static_cast<unsigned char>(start[16 + i]);
        return stated == static_cast<std::uint64_t>(size);
    }

    const std::string first = "//Kelda ASCII ";
    const std::string last = "//End of scene\n";
    std::string end(last.size(), '\0');
    return first.compare(0, first.size(), start, first.size()) == 0 &&
           in.seekg(size - static_cast<std::streamoff>(last.size())) &&
           in.read(end.data(), static_cast<std::streamsize>(end.size())) && end == last;
}

// Whether the file can be read back and holds as much as the scene.
bool holdsAsMuch(const std::string& file, const osg::NodePtr& scene)
{
    const osg::NodePtr copy = osg::SceneFileHandler::the()->read(file.c_str(), nullptr);
    if (copy == osg::NullFC)
        return false;
    osg::addRefCP(copy);
    const Statistics there = countScene(copy);
    const Statistics here = countScene(scene);
    osg::subRefCP(copy);
    return there.nodes == here.nodes && there.primitives == here.primitives &&
           there.vertices == here.vertices;
}

// Why a save failed. Of what the SDK complains about, the last thing is the save: an export goes on after
// everything else.
std::string reasonOfSave(const std::vector<Message>& said)
{
    for (auto message = said.rbegin(); message != said.rend(); ++message) {
        if (message->channel == Message::Sdk && message->error)
            return message->text;
    }
    const Message* used = nullptr;
    const std::string reason = reasonOf(said, used);
    return used != nullptr ? reason : "the file is incomplete";
}
} // namespace

// Writes into the staging folder. Returns an empty text, or why there is no whole file.
std::string SceneSaver::write(const osg::NodePtr& root, std::vector<Message>& said)
{
    const std::string file = _staged->path();
    const std::string folder = _staged->folder();
    ProgressBar bar(_context.console, "writing " + displayName(_target));
    bool whole = false;
    {
        Capture capture([&](Message message) {
            stripDirectory(message.text, folder);
            _context.console.note(lineOf(message));
            said.push_back(std::move(message));
        });
        // Options are one text for each suffix, and stay: whatever the read had is replaced. Both words for
        // units end in the same letters.
        osg::SceneFileHandler::the()->setOptions("kb", _options.c_str());
        bool written = false;
        {
            const ShowWriteProgress progress(bar);
            written = osg::SceneFileHandler::the()->write(root, file.c_str());
        }
        // What the writer answers is not enough: it says yes after a failed save, too.
        whole = written && (isKeldaScene(_target) ? isWholeKeldaScene(file) : holdsAsMuch(file, root));
    }
    return whole ? std::string() : withoutFileName(reasonOfSave(said), displayName(file));
}

// -- What was left out meanwhile ---------------------------------------------------------------------

namespace
{
// The module's line about what it could not make. Lines before it may lack their end.
bool skippedPart(const Message& message, std::string& text)
{
    if (message.channel != Message::Stdout)
        return false;
    const std::string::size_type start = message.text.rfind("Couldn't ");
    if (start == std::string::npos)
        return false;
    text = message.text.substr(start);
    return true;
}

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

// The node in such a line; "" where it names none.
std::string nodeIn(const std::string& text)
{
    const std::string::size_type open = text.find('\'', 9);
    const std::string::size_type close = text.rfind('\'');
    return open != std::string::npos && close > open ? text.substr(open + 1, close - open - 1)
                                                     : std::string();
}
} // namespace

void SceneSaver::reportSkipped(const std::vector<Message>& said, const LossReport& losses)
{
    std::unordered_set<std::string> known;
    for (const Loss loss : {Loss::EmptyMesh, Loss::PointsLines})
        known.insert(losses[loss].names.begin(), losses[loss].names.end());

    std::string text;
    for (const Message& message : said) {
        if (skippedPart(message, text)) {
            // A part of a material is made by a command; of the unit has been warned.
            const bool ofMaterial = startsWith(text, "Couldn't call '") ||
                                    startsWith(text, "Couldn't call sets") ||
                                    startsWith(text, "Couldn't add member");
            const std::string node = ofMaterial ? std::string() : nodeIn(text);
            if (ofMaterial)
                _context.report({"material-skipped", Issue::Warning, displayName(_target), "", text});
            else if (!node.empty() && known.count(node) == 0)
                _context.report({"node-skipped", Issue::Warning, displayName(_target), node, text});
        } else if (losses[Loss::ImageFormat].count == 0 && graphComplaint(message, text) &&
                   startsWith(text, "ImageFileHandler: could not write ")) {
            _context.report({"texture-not-written", Issue::Warning, displayName(_target), "",
                             "texture " + text.substr(text.find('"')) + ": it is not written"});
        }
    }
}

bool SceneSaver::save(Scene& scene, const LossReport& losses)
{
    std::vector<Message> said;
    std::string problem = _staged->open();
    if (problem.empty())
        problem = write(scene.root(), said);
    if (problem.empty())
        problem = _staged->commit(_clobber);
    _staged.reset();

    for (const Message& message : said)
        scene.add(message);
    if (!problem.empty())
        return fail("write-failed", "cannot be written: " + problem);
    for (const Message& message : said) {
        // With -v all messages have been shown as they came.
        if (message.error && _context.console.options().verbose == 0)
            _context.console.line(lineOf(message));
    }
    reportSkipped(said, losses);
    return true;
}

} // namespace zyscene
