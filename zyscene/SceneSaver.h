#pragma once

#include "Capture.h"
#include "Scene.h"

#include <string>

namespace zyscene
{

/// Whether scenes can be written to files of this name.
bool canWriteScene(const std::string& file);

/// Writes scenes through the registered file type of the target's suffix, as one transaction: the target is
/// either the complete new file, or what it was.
class SceneSaver
{
public:
    explicit SceneSaver(RunContext& context, bool clobber) : _context(context), _clobber(clobber) {}

    /// Looks, before anything is read or written, whether the target can be made. A failure is reported.
    bool checkTarget(const std::string& target);

    /// Saves the scene. A failure is reported. What is said meanwhile is appended to the scene's messages.
    bool save(const std::string& target, Scene& scene);

private:
    bool fail(const std::string& target, const char* code, const std::string& message);

    RunContext& _context;
    bool _clobber;
};

} // namespace zyscene
