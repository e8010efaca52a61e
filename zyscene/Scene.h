#pragma once

#include "Capture.h"
#include "Progress.h"

#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGNode.h>

#include <string>
#include <utility>
#include <vector>

namespace zyscene
{

class ImportOptions;
class TextureSearch;
struct Issue;
struct RunContext;

/// What reading a file gave. Owns the scene.
class Scene
{
public:
    Scene() = default;
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Null after a failed read.
    osg::NodePtr root() const { return _root; }
    const std::vector<Message>& messages() const { return _messages; }
    void add(Message message) { _messages.push_back(std::move(message)); }
    const ProgressRecord& progress() const { return _progress; }

    /// The name of an image, as results speak of it: relative to the scene's folder, of what lies elsewhere
    /// the last part only; names that are no paths as they are.
    std::string nameOf(const osg::ImagePtr& image) const;

private:
    friend class SceneReader;

    osg::NodePtr _root;
    std::string _directory; ///< of the file; absolute
    std::vector<Message> _messages;
    ProgressRecord _progress;
};

/// Makes paths below `directory` relative to it, wherever they stand in a message: the same scene gives the
/// same messages wherever it lies.
void stripDirectory(std::string& text, const std::string& directory);

/// Why reading or writing failed, from what was said: the SDK knows best, then the scene graph's readers and
/// writers, then the log. The first complaint counts, what follows is its consequence.
/// @param used set to the message that gave the reason; null when none did
std::string reasonOf(const std::vector<Message>& messages, const Message*& used);

/// A reason that begins with the file's name, and says that the file cannot be used, without both: the line
/// that it becomes part of begins with them. A place in the file stays behind its name.
std::string withoutFileName(const std::string& reason, const std::string& name);

/// A warning of the scene graph's log, without the level in front; false for lines of other origin or lesser
/// levels.
bool graphComplaint(const Message& message, std::string& text);

/// "log.error: ...", made printable.
std::string lineOf(const Message& message);

/// Reads scene files as the host application does: through the registered file type of the suffix, and where
/// there is none through the module's import entry.
class SceneReader
{
public:
    /// @param context gets what is to be said; must outlive the reader
    SceneReader(RunContext& context, const ImportOptions& options);
    /// @param optionText as the module gets it
    SceneReader(RunContext& context, std::string optionText)
        : _context(context), _options(std::move(optionText))
    {
    }

    /// Whether somebody reads files of this name.
    static bool canRead(const std::string& file);

    /// Checks the names of all files before any of them is touched. Reports the first that nobody reads.
    bool canReadAll(const std::vector<std::string>& files);

    /// Reads one file. A failure is reported, with the reason that the platform gave.
    /// @return false when there is no scene
    bool read(const std::string& file, Scene& scene);

private:
    bool isThere(const std::string& file);
    struct Findings;
    void take(Scene& scene, Message message, const std::string& shown, const TextureSearch& search,
              Findings& findings);
    void reportTextures(const TextureSearch& search, const std::string& shown);

    RunContext& _context;
    std::string _options;
    std::vector<std::string> _searchFolders;
};

} // namespace zyscene
