#include "SceneSaver.h"

#include "RunContext.h"
#include "Staging.h"
#include "Statistics.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <zyKeldaSceneFileType.h>

#include <filesystem>
#include <functional>
#include <system_error>

namespace zyscene
{

bool canWriteScene(const std::string& file)
{
    if (suffixOf(file).empty())
        return false;
    const osg::SceneFileType* const type = osg::SceneFileHandler::the()->getFileType(file.c_str());
    // The module registers its suffixes for writing, but its file type has no write of its own yet.
    return type != nullptr && (type->getFlags() & osg::SceneFileType::OSG_WRITE_SUPPORTED) != 0 &&
           dynamic_cast<const zyKeldaSceneFileType*>(type) == nullptr;
}

// -- Before anything is touched ----------------------------------------------------------------------

bool SceneSaver::fail(const std::string& target, const char* code, const std::string& message)
{
    _context.report({code, Issue::Error, displayName(target), "", message});
    return false;
}

bool SceneSaver::checkTarget(const std::string& target)
{
    const std::filesystem::path path = std::filesystem::absolute(target);
    std::error_code error;
    const std::filesystem::file_status folder = std::filesystem::status(path.parent_path(), error);
    if (folder.type() != std::filesystem::file_type::directory)
        return fail(target, "write-failed", "cannot be written: there is no such folder");
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        return true;
    if (status.type() != std::filesystem::file_type::regular)
        return fail(target, "write-failed", "cannot be written: is there already and is no regular file");
    if (!_clobber)
        return fail(target, "target-exists", "is there already and is not replaced");
    return true;
}

// -- Writing -----------------------------------------------------------------------------------------

namespace
{
// The handler's progress callback has no user data.
ProgressBar* writeBar = nullptr;

void showWriteProgress(osg::UInt32 percent)
{
    if (writeBar != nullptr)
        writeBar->update(percent);
}

class ShowWriteProgress
{
public:
    explicit ShowWriteProgress(ProgressBar& bar)
    {
        writeBar = &bar;
        osg::SceneFileHandler::the()->setWriteProgressCB(&showWriteProgress);
    }
    ~ShowWriteProgress()
    {
        osg::SceneFileHandler::the()->setWriteProgressCB(nullptr);
        writeBar = nullptr;
    }
    ShowWriteProgress(const ShowWriteProgress&) = delete;
    ShowWriteProgress& operator=(const ShowWriteProgress&) = delete;
};

// Whether the file can be read back and holds as much as the scene.
bool isWhole(const std::string& file, const osg::NodePtr& scene)
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
} // namespace

bool SceneSaver::save(const std::string& target, Scene& scene)
{
    StagedFile staged(target);
    std::string problem = staged.open();
    const std::string folder = std::filesystem::path(staged.path()).parent_path().string();
    if (problem.empty()) {
        std::vector<Message> said;
        bool written = false;
        bool whole = false;
        {
            ProgressBar bar(_context.console, "writing " + displayName(target));
            Capture capture([&](Message message) {
                stripDirectory(message.text, folder);
                _context.console.note(lineOf(message));
                said.push_back(std::move(message));
            });
            const ShowWriteProgress progress(bar);
            written = osg::SceneFileHandler::the()->write(scene.root(), staged.path().c_str());
            // What the writer answers is not enough: a full disk is noticed only by looking.
            whole = written && isWhole(staged.path(), scene.root());
        }
        const Message* used = nullptr;
        if (!whole) {
            problem = reasonOf(said, used);
            if (used == nullptr)
                problem = written ? "the file is incomplete" : "no reason was given";
        }
        for (Message& message : said)
            scene.add(std::move(message));
    }
    if (problem.empty())
        problem = staged.commit(_clobber);
    return problem.empty() || fail(target, "write-failed", "cannot be written: " + problem);
}

} // namespace zyscene
