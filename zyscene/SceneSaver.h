#pragma once

#include "Scene.h"
#include "Staging.h"

#include <optional>
#include <string>
#include <vector>

namespace zyscene
{

class ExportOptions;
class LossReport;
struct Message;

/// Whether scenes can be written to files of this name.
bool canWriteScene(const std::string& file);

/// Whether files of this name are Kelda scenes.
bool isKeldaScene(const std::string& file);

/// Writes scenes through the registered file type of the target's suffix, as one transaction: the target is
/// either the complete new file with its textures, or what it was.
class SceneSaver
{
public:
    /// @param context gets what is to be said; must outlive the saver
    SceneSaver(RunContext& context, const std::string& target, const ExportOptions& options, bool clobber);

    /// Looks, before anything is read or written, whether the target can be made. A failure is reported.
    bool checkTarget();

    /// Saves the scene; checkTarget() comes first. A failure is reported. What is said meanwhile is appended
    /// to the scene's messages.
    /// @param losses what the target does not take: no more is said about it
    bool save(Scene& scene, const LossReport& losses);

private:
    bool fail(const char* code, const std::string& message);
    std::string write(const osg::NodePtr& root, std::vector<Message>& said);
    void reportSkipped(const std::vector<Message>& said, const LossReport& losses);

    RunContext& _context;
    std::string _target;
    std::string _options;
    bool _clobber;
    std::optional<StagedScene> _staged;
};

} // namespace zyscene
