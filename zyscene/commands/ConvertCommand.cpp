#include "../Command.h"
#include "../Compare.h"
#include "../Document.h"
#include "../ExportOptions.h"
#include "../ImportOptions.h"
#include "../LossReport.h"
#include "../Output.h"
#include "../RunContext.h"
#include "../SceneJson.h"
#include "../SceneSaver.h"
#include "../Statistics.h"
#include "../Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace zyscene
{

namespace
{
constexpr std::size_t shownDifferences = 5;
constexpr std::size_t listedDifferences = 1000;

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
        app.add_flag("--verify", _verify, "Read OUT back and compare; exit status 3 when it differs");
        app.add_option("--loss-report", _lossReport, "Write what OUT does not carry to FILE, as JSON")
            ->type_name("FILE");
        _exportOptions.addTo(app);
        _importOptions.addTo(app);
    }

    ExitCode run(RunContext& context) override
    {
        Result result;
        ExitCode exit = ExitCode::Usage;
        SceneReader reader(context, _importOptions);
        if (reader.canReadAll({_in}) && canWrite(context) && isFileOfItsOwn(context))
            exit = convert(context, reader, result);

        if (context.json) {
            Document document(context, "convert", &exit);
            if (exit != ExitCode::Usage)
                writeResult(document.json(), result);
            document.finish(exit);
        } else if (result.written) {
            context.console.out().write(printable(displayName(_in)) + " -> " + printable(displayName(_out)) +
                                        ": " + plural(result.statistics.nodes, "node") + ", " +
                                        plural(result.statistics.primitives, "primitive") + "\n");
        }
        return exit;
    }

private:
    struct Result {
        Scene scene;
        Statistics statistics;
        Scene copy;
        LossReport losses;
        bool written = false;
        bool compared = false;
        std::vector<Difference> differences;
    };

    // -- Before anything is touched --

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

    // The loss report must not take the place of a scene. Standard output is for the result.
    bool isFileOfItsOwn(RunContext& context)
    {
        if (_lossReport.empty())
            return true;
        const auto isSame = [this](const std::string& scene) {
            namespace fs = std::filesystem;
            std::error_code error;
            return fs::equivalent(_lossReport, scene, error) ||
                   fs::absolute(_lossReport).lexically_normal() == fs::absolute(scene).lexically_normal();
        };
        if (_lossReport != "-" && !isSame(_in) && !isSame(_out))
            return true;
        context.report({"loss-report-failed", Issue::Error, displayName(_lossReport), "",
                        "the loss report needs a file of its own"});
        return false;
    }

    bool checkLossReport(RunContext& context)
    {
        if (_lossReport.empty())
            return true;
        std::error_code error;
        if (_noClobber && std::filesystem::exists(_lossReport, error)) {
            context.report({"target-exists", Issue::Error, displayName(_lossReport), "",
                            "is there already and is not replaced"});
            return false;
        }
        const std::filesystem::path path = std::filesystem::absolute(_lossReport);
        if (std::filesystem::is_directory(path.parent_path(), error) &&
            !std::filesystem::is_directory(path, error))
            return true;
        return failLossReport(context, "there is no such folder, or it is one itself");
    }

    // -- Converting --

    ExitCode convert(RunContext& context, SceneReader& reader, Result& result)
    {
        SceneSaver saver(context, _out, _exportOptions, !_noClobber);
        if (!saver.checkTarget() || !checkLossReport(context) || !reader.read(_in, result.scene))
            return ExitCode::Failed;
        if (!context.json) // which does not tell them
            result.statistics = countScene(result.scene.root());
        if (isKeldaScene(_out))
            result.losses = LossReport(result.scene.root());

        result.written = saver.save(result.scene, result.losses);
        if (!result.written)
            return ExitCode::Failed;
        result.losses.report(context, displayName(_out));
        if (!_lossReport.empty() && !writeLossReport(context, result.losses))
            return ExitCode::Failed;
        return _verify ? verify(context, result) : ExitCode::Done;
    }

    bool failLossReport(RunContext& context, const std::string& why)
    {
        context.report({"loss-report-failed", Issue::Error, displayName(_lossReport), "",
                        "the loss report cannot be written: " + why});
        return false;
    }

    bool writeLossReport(RunContext& context, const LossReport& losses)
    {
        const int fd = ::open(_lossReport.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0)
            return failLossReport(context, std::generic_category().message(errno));
        int error = 0;
        {
            Output out(fd);
            JsonWriter json(out);
            json.beginObject();
            json.member("schema", "zyscene-loss/1");
            json.member("in", std::string_view(displayName(_in)));
            json.member("out", std::string_view(displayName(_out)));
            json.key("losses");
            losses.write(json);
            json.endObject();
            json.finish();
            out.flush();
            error = out.error();
        }
        if (::close(fd) != 0 && error == 0)
            error = errno;
        return error == 0 || failLossReport(context, std::generic_category().message(error));
    }

    // -- Comparing --

    // The scene is changed into what the losses leave of it.
    ExitCode verify(RunContext& context, Result& result)
    {
        // The copy alone: no shadow scene that lies beside it.
        SceneReader reader(context, std::string("autoLoadShadowGeometry=false"));
        if (!reader.read(_out, result.copy))
            return ExitCode::Failed;

        CompareOptions options;
        options.tree = !isKeldaScene(_out);
        if (isKeldaScene(_out)) {
            applyLosses(result.scene.root());
            options.ignoreInactive = true;
            options.pointsAndLines = false;
            options.normalsMade = result.losses[Loss::NormalsMade].count != 0;
            options.exactTriangles =
                result.losses[Loss::TexGenMoved].count == 0 && result.losses[Loss::Flushed].count == 0;
        }
        result.differences = compareScenes(result.scene.root(), result.copy.root(), options);
        result.compared = true;
        if (result.differences.empty())
            return ExitCode::Done;

        std::string text = "is not what was to be written";
        const char* separator = ": ";
        for (std::size_t i = 0; i < std::min(shownDifferences, result.differences.size()); ++i) {
            text += separator + lineOf(result.differences[i]);
            separator = "; ";
        }
        if (result.differences.size() > shownDifferences)
            text += "; and " + std::to_string(result.differences.size() - shownDifferences) + " more";
        context.report({"copy-differs", Issue::Error, displayName(_out), "", text});
        return ExitCode::Different;
    }

    // -- Result --

    void writeResult(JsonWriter& json, const Result& result)
    {
        json.beginObject();
        json.member("in", std::string_view(displayName(_in)));
        json.member("out", std::string_view(displayName(_out)));
        json.member("written", result.written);
        json.key("losses");
        result.losses.write(json);
        json.key("differences");
        if (result.compared)
            writeDifferences(json, result.differences);
        else
            json.null();
        writeDiagnostics(json, result.scene);
        json.endObject();
    }

    static void writeDifferences(JsonWriter& json, const std::vector<Difference>& differences)
    {
        json.beginArray();
        for (std::size_t i = 0; i < std::min(listedDifferences, differences.size()); ++i)
            writeDifference(json, differences[i]);
        json.endArray();
    }

    std::string _in;
    std::string _out;
    std::string _lossReport;
    bool _noClobber = false;
    bool _verify = false;
    ExportOptions _exportOptions;
    ImportOptions _importOptions;
};
} // namespace

std::unique_ptr<Command> makeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}

} // namespace zyscene
