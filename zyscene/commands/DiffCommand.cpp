#include "../Command.h"
#include "../Compare.h"
#include "../Document.h"
#include "../ImportOptions.h"
#include "../RunContext.h"
#include "../Scene.h"
#include "../Text.h"

#include <CLI/CLI.hpp>

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace zyscene
{

namespace
{
constexpr std::size_t shownOfAKind = 20;
constexpr std::size_t listedOfAKind = 250;

/// Compares two scenes by what they draw.
class DiffCommand : public Command
{
public:
    void addTo(CLI::App& app) override
    {
        app.add_option("A", _first, "Scene file")->required()->type_name("");
        app.add_option("B", _second, "Scene file to compare it with")->required()->type_name("");
        app.add_option("--tolerance", _compare.tolerance,
                       "Distance by which places may differ (default: 1e-5 of the scenes' size)")
            ->check(CLI::Validator(&checkTolerance, "", "tolerance"))
            ->type_name("ABS");
        app.add_option("--ignore", _ignored, "What is not compared: names, materials, normals, uvs")
            ->delimiter(',')
            ->check(CLI::IsMember(std::vector<std::string>{"names", "materials", "normals", "uvs"}))
            ->type_name("LIST");
        app.add_flag("--tree", _compare.tree,
                     "Compare the nodes above the geometry as well, but for levels that neither move nor "
                     "gather anything");
        _importOptions.addTo(app);
    }

    ExitCode run(RunContext& context) override
    {
        for (const std::string& word : _ignored) {
            (word == "names"       ? _compare.names
             : word == "materials" ? _compare.materials
             : word == "normals"   ? _compare.normals
                                   : _compare.uvs) = false;
        }

        Scene first;
        Scene second;
        SceneReader reader(context, _importOptions);
        ExitCode exit = ExitCode::Usage;
        std::vector<Difference> differences;
        if (reader.canReadAll({_first, _second})) {
            const bool read = reader.read(_first, first);
            exit = reader.read(_second, second) && read ? ExitCode::Done : ExitCode::Failed;
        }
        if (exit == ExitCode::Done) {
            differences = compareScenes(first.root(), second.root(), _compare);
            if (!differences.empty())
                exit = ExitCode::Different;
        }

        const bool compared = exit == ExitCode::Done || exit == ExitCode::Different;
        if (context.json) {
            Document document(context, "diff", &exit);
            if (exit != ExitCode::Usage)
                writeResult(document.json(), differences, compared);
            document.finish(exit);
        } else if (compared) {
            showText(context.console, differences);
        }
        return exit;
    }

private:
    static std::string checkTolerance(std::string& text)
    {
        double value = 0;
        if (!CLI::detail::lexical_cast(text, value) || !std::isfinite(value) || value < 0)
            return "the tolerance is to be a number that is not negative, not '" + text + "'";
        return std::string();
    }

    typedef std::array<std::size_t, Difference::kindCount> Counts;

    static Counts countKinds(const std::vector<Difference>& differences)
    {
        Counts counts{};
        for (const Difference& difference : differences)
            ++counts[difference.kind];
        return counts;
    }

    // Calls `show` for the first ones of each kind, and `rest` behind them with the number of those left out.
    template <class ShowT, class RestT>
    static void forEachShown(const std::vector<Difference>& differences, std::size_t limit, ShowT show,
                             RestT rest)
    {
        const Counts counts = countKinds(differences);
        Counts seen{};
        for (const Difference& difference : differences) {
            if (++seen[difference.kind] <= limit)
                show(difference);
            if (seen[difference.kind] == counts[difference.kind] && counts[difference.kind] > limit)
                rest(difference.kind, counts[difference.kind] - limit);
        }
    }

    void showText(Console& console, const std::vector<Difference>& differences)
    {
        Output& out = console.out();
        const auto startLine = [](Difference::Kind kind) {
            std::string line = nameOf(kind);
            line.resize(12, ' ');
            return line;
        };
        forEachShown(
            differences, shownOfAKind,
            [&](const Difference& difference) {
                out.write(startLine(difference.kind) + printable(pathOf(difference.node())) + ": " +
                          printable(difference.text) + "\n");
            },
            [&](Difference::Kind kind, std::size_t count) {
                out.write(startLine(kind) + "and " + std::to_string(count) + " more\n");
            });
        out.write(printable(displayName(_first)) + " and " + printable(displayName(_second)) + ": " +
                  (differences.empty() ? "no differences" : plural(differences.size(), "difference")) + "\n");
    }

    void writeResult(JsonWriter& json, const std::vector<Difference>& differences, bool compared)
    {
        json.beginObject();
        json.member("first", std::string_view(displayName(_first)));
        json.member("second", std::string_view(displayName(_second)));
        json.member("compared", compared);
        json.key("counts");
        json.beginObject();
        const Counts counts = countKinds(differences);
        for (int kind = 0; kind < Difference::kindCount; ++kind)
            json.member(nameOf(static_cast<Difference::Kind>(kind)),
                        std::uint64_t(counts[std::size_t(kind)]));
        json.endObject();
        json.key("differences");
        json.beginArray();
        forEachShown(
            differences, listedOfAKind,
            [&](const Difference& difference) { writeDifference(json, difference); },
            [](Difference::Kind, std::size_t) {}); // the counts tell
        json.endArray();
        json.endObject();
    }

    std::string _first;
    std::string _second;
    std::vector<std::string> _ignored;
    CompareOptions _compare;
    ImportOptions _importOptions;
};
} // namespace

std::unique_ptr<Command> makeDiffCommand()
{
    return std::make_unique<DiffCommand>();
}

} // namespace zyscene
