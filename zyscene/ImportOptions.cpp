#include "ImportOptions.h"

#include "OptionText.h"
#include "Text.h"

#include <CLI/CLI.hpp>

namespace zyscene
{

const std::array<ImportSwitch, importSwitchCount> importSwitches = {{
    {"--env-combiner", "multitextureEnvCombiner=true", "false", "texture environments by combiner"},
    {"--color-shadow", "forceGrayscaleShadowTexture=false", "true", "shadow textures keep their colours"},
    {"--no-auto-shadow", "autoLoadShadowGeometry=false", "true", "the shadow companion file is not added"},
    {"--as-shadow", "shadowGeometry=true", "false", "the file itself is a shadow scene"},
    {"--no-shadow-merge", "shadowMerge=false", "true", "shadows stay a pass of their own"},
    {"--material-library", "useLocalMaterialLibrary=true", "false",
     "materials of the local library replace those of the scene by name"},
}};

const char importUnitsWord[] = "importunits=";

const std::array<const char*, 8> importUnits = {"Inch",  "Foot",      "Yard",       "Mile",
                                                "Meter", "Kilometer", "Millimeter", "Centimeter"};
const std::array<const char*, 2> specialImportUnits = {"Ignore", "KeldaUnits"};

void ImportOptions::addTo(CLI::App& app)
{
    const std::string group = "Import options";
    app.add_option_function<std::string>(
           "--import-units", [this](const std::string& unit) { _units = unit; },
           "Target unit: " + knownUnits())
        ->type_name("U")
        ->group(group);
    for (std::size_t i = 0; i < importSwitches.size(); ++i) {
        const ImportSwitch& row = importSwitches[i];
        app.add_flag(row.flag, _switches[i], std::string(row.effect) + " (" + row.word + ")")->group(group);
    }
    app.add_option("--search", _searchFolders,
                   "Folder to look into for textures that are not found; may be repeated")
        ->type_name("DIR")
        ->take_all()
        ->expected(1)
        ->check(CLI::ExistingDirectory)
        ->group(group);
    app.add_option("--import-option", _raw, "Text for the module, as it is; may be repeated")
        ->type_name("TEXT")
        ->take_all()
        ->expected(1)
        ->group(group);
}

std::string ImportOptions::text() const
{
    std::string result;
    if (_units)
        addWord(result, importUnitsWord + *_units);
    for (std::size_t i = 0; i < importSwitches.size(); ++i) {
        if (_switches[i])
            addWord(result, importSwitches[i].word);
    }
    for (const std::string& word : _raw)
        addWord(result, word);
    return result;
}

bool ImportOptions::asksForUnknownUnit(std::string& unit) const
{
    bool found = false;
    unit = unitBehind(text(), importUnitsWord, found);
    if (!found)
        return false;
    for (const char* known : specialImportUnits) {
        if (unit == known)
            return false;
    }
    for (const char* known : importUnits) {
        if (unit == known || unit == lowerCase(known))
            return false;
    }
    return true;
}

std::string knownUnits()
{
    std::string result;
    for (const char* unit : importUnits) {
        result += unit;
        result += ", ";
    }
    for (const char* unit : specialImportUnits) {
        result += unit;
        result += ", ";
    }
    result.resize(result.size() - 2);
    return result;
}

} // namespace zyscene
