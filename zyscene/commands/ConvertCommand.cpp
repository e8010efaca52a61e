#include "../Command.h"
#include "../Document.h"
#include "../ImportOptions.h"
#include "../RunContext.h"
#include "../SceneJson.h"
#include "../SceneSaver.h"
#include "../Statistics.h"
#include "../Text.h"

#include <CLI/CLI.hpp>

#include <string>

namespace zyscene
{

namespace
{
/// Reads one scene file and writes it as another, whose suffix says how.
class ConvertCommand : public Command
{
public:
    void addTo(CLI::App& app) override
    {
        app.add_option("IN", _in, "Scene file to read")->required()->type_name("");
        app.add_option("OUT", _out, "Scene file to write, in the form of its suffix")
            ->required()
            ->type_name("");
        app.add_flag("--no-clobber", _noClobber, "Never replace a file that is there already");
        _importOptions.addTo(app);
    }

    ExitCode run(RunContext& context) override
    {
        Scene scene;
        SceneReader reader(context, _importOptions);
        ExitCode exit = ExitCode::Usage;
        bool written = false;
        if (reader.canReadAll({_in}) && canWrite(context)) {
            SceneSaver saver(context, !_noClobber);
            written = saver.checkTarget(_out) && reader.read(_in, scene) && saver.save(_out, scene);
            exit = written ? ExitCode::Done : ExitCode::Failed;
        }

        if (context.json) {
            Document document(context, "convert", &exit);
            if (exit != ExitCode::Usage)
                writeResult(document.json(), scene, written);
            document.finish(exit);
        } else if (written) {
            const Statistics statistics = countScene(scene.root());
            context.console.out().write(printable(displayName(_in)) + " -> " + printable(displayName(_out)) +
                                        ": " + plural(statistics.nodes, "node") + ", " +
                                        plural(statistics.primitives, "primitive") + "\n");
        }
        return exit;
    }

private:
    bool canWrite(RunContext& context)
    {
        if (canWriteScene(_out))
            return true;
        const std::string suffix = suffixOf(_out);
        context.report({"suffix-unknown", Issue::Error, displayName(_out), "",
                        suffix.empty() ? "the name has no suffix that says what to write"
                                       : "nobody writes files with the suffix '" + suffix + "'"});
        return false;
    }

    void writeResult(JsonWriter& json, const Scene& scene, bool written)
    {
        json.beginObject();
        json.member("in", std::string_view(displayName(_in)));
        json.member("out", std::string_view(displayName(_out)));
        json.member("written", written);
        writeDiagnostics(json, scene);
        json.endObject();
    }

    std::string _in;
    std::string _out;
    bool _noClobber = false;
    ImportOptions _importOptions;
};
} // namespace

std::unique_ptr<Command> makeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}

} // namespace zyscene
