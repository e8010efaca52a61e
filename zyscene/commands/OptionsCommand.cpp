#include "../Command.h"
#include "../Document.h"
#include "../ExportOptions.h"
#include "../ImportOptions.h"
#include "../RunContext.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string>

namespace zyscene
{

namespace
{
/// The option words of the module, their defaults and effects.
class OptionsCommand : public Command
{
public:
    void addTo(CLI::App&) override {}

    ExitCode run(RunContext& context) override
    {
        if (context.json)
            showJson(context);
        else
            showText(context.console.out());
        return ExitCode::Done;
    }

private:
    static constexpr const char* unitsEffect = "unit of the imported scene: one of the names below";
    static constexpr const char* unitsDefault = "Centimeter";
    static constexpr const char* exportUnitsEffect = "working unit that the saved file is labelled with";

    static void showText(Output& out)
    {
        out.write("Import (set for the suffix \"kb\", also for \"ka\"):\n");
        line(out, "flag", "word", "otherwise", "effect");
        line(out, "--import-units U", std::string(importUnitsWord) + "U", unitsDefault, unitsEffect);
        for (const ImportSwitch& row : importSwitches)
            line(out, row.flag, row.word, row.defaultValue, row.effect);
        out.write("\nExport (set for the suffix \"kb\", also for \"ka\"):\n");
        line(out, "--units U", std::string(exportUnitsWord) + "U", defaultExportUnit, exportUnitsEffect);
        out.write("\nUnits, with a capital or a small first letter:\n  ");
        for (const char* unit : importUnits)
            out.write(std::string(unit) + (unit == importUnits.back() ? "\n" : " "));
        out.write("An import: Ignore keeps centimetres; KeldaUnits takes the working unit of the scene.\n"
                  "An export: also");
        for (const char* unit : shortExportUnits)
            out.write(std::string(" ") + unit);
        out.write(".\nThe words are recognised in this letter case only, anywhere in the text.\n");
    }

    static void line(Output& out, const std::string& flag, const std::string& word,
                     const std::string& defaultValue, const std::string& effect)
    {
        std::string text = "  " + flag;
        text.resize(std::max<std::size_t>(text.size() + 1, 22), ' ');
        text += word;
        text.resize(std::max<std::size_t>(text.size() + 1, 58), ' ');
        text += defaultValue;
        text.resize(std::max<std::size_t>(text.size() + 1, 70), ' ');
        text += effect + "\n";
        out.write(text);
    }

    static void showJson(RunContext& context)
    {
        const ExitCode exit = ExitCode::Done;
        Document document(context, "options", &exit);
        JsonWriter& json = document.json();
        const auto write = [&json](const char* direction, const char* flag, const char* word,
                                   const char* defaultValue, const char* effect) {
            json.beginObject();
            json.member("direction", direction);
            json.member("flag", flag);
            json.member("word", word);
            json.member("default", defaultValue);
            json.member("effect", effect);
        };
        write("import", "--import-units", importUnitsWord, unitsDefault, unitsEffect);
        json.key("values");
        json.beginArray(JsonWriter::OneLine);
        for (const char* unit : importUnits)
            json.value(unit);
        for (const char* unit : specialImportUnits)
            json.value(unit);
        json.endArray();
        json.endObject();
        for (const ImportSwitch& row : importSwitches) {
            write("import", row.flag, row.word, row.defaultValue, row.effect);
            json.endObject();
        }
        write("export", "--units", exportUnitsWord, defaultExportUnit, exportUnitsEffect);
        json.key("values");
        json.beginArray(JsonWriter::OneLine);
        for (const char* unit : importUnits)
            json.value(unit);
        for (const char* unit : shortExportUnits)
            json.value(unit);
        json.endArray();
        json.endObject();
        document.finish(exit);
    }
};
} // namespace

std::unique_ptr<Command> makeOptionsCommand()
{
    return std::make_unique<OptionsCommand>();
}

} // namespace zyscene
