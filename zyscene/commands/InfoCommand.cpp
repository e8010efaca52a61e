#include "../Command.h"
#include "../Document.h"
#include "../ImportOptions.h"
#include "../RunContext.h"
#include "../SceneJson.h"
#include "../SceneText.h"
#include "../TessellationOption.h"
#include "../Text.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace zyscene
{

namespace
{
/// What is in scenes, as the host sees them after import.
class InfoCommand : public Command
{
public:
    void addTo(CLI::App& app) override
    {
        app.add_option("FILE", _files, "Scene files")->required()->type_name("");
        app.add_flag("--tree", _tree, "The node tree too (a JSON document always has it)");
        app.add_flag("--arrays", _arrays, "With --json: every property value, not only hashes");
        addTessellationOption(app, _tessellation);
        _importOptions.addTo(app);
    }

    ExitCode run(RunContext& context) override
    {
        SceneReader reader(context, _importOptions);
        if (!reader.canReadAll(_files)) {
            if (context.json) {
                const ExitCode exit = ExitCode::Usage;
                Document(context, "info", &exit).finish(exit);
            }
            return ExitCode::Usage;
        }
        return context.json ? showJson(context, reader) : showText(context, reader);
    }

private:
    ExitCode showText(RunContext& context, SceneReader& reader)
    {
        std::size_t done = 0;
        for (const std::string& file : _files) {
            Scene scene;
            if (!reader.read(file, scene))
                continue;
            ++done;
            context.console.out().write(printable(displayName(file)) + "\n");
            writeSceneText(context.console, scene, _tree, _tessellation);
            context.console.out().flush();
        }
        return exitCodeOf(done, _files.size() - done);
    }

    ExitCode showJson(RunContext& context, SceneReader& reader)
    {
        if (_files.size() == 1) {
            // The outcome is known before the document begins: it need not wait.
            Scene scene;
            const ExitCode exit = reader.read(_files[0], scene) ? ExitCode::Done : ExitCode::Failed;
            Document document(context, "info", &exit);
            writeResult(document.json(), _files[0], scene);
            document.finish(exit);
            return exit;
        }

        std::size_t done = 0;
        Document document(context, "info", nullptr);
        for (const std::string& file : _files) {
            Scene scene;
            if (reader.read(file, scene))
                ++done;
            writeResult(document.json(), file, scene);
        }
        const ExitCode exit = exitCodeOf(done, _files.size() - done);
        document.finish(exit);
        return exit;
    }

    void writeResult(JsonWriter& json, const std::string& file, const Scene& scene)
    {
        json.beginObject();
        json.member("file", std::string_view(displayName(file)));
        json.member("suffix", std::string_view(suffixOf(file)));
        writeScene(json, scene, _arrays, _tessellation);
        json.endObject();
    }

    std::vector<std::string> _files;
    bool _tree = false;
    bool _arrays = false;
    TessellationOptions _tessellation;
    ImportOptions _importOptions;
};
} // namespace

std::unique_ptr<Command> makeInfoCommand()
{
    return std::make_unique<InfoCommand>();
}

} // namespace zyscene
