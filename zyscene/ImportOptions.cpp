#include "ImportOptions.h"

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
    app.add_option("--import-units", _units, "Target unit: " + knownUnits())->type_name("U")->group(group);
    for (std::size_t i = 0; i < importSwitches.size(); ++i) {
        const ImportSwitch& row = importSwitches[i];
        app.add_flag(row.flag, _switches[i], std::string(row.effect) + " (" + row.word + ")")->group(group);
    }
    app.add_option("--import-option", _raw, "Text for the module, as it is; may be repeated")
        ->type_name("TEXT")
        ->take_all()
        ->expected(1)
        ->group(group);
}

std::string ImportOptions::text() const
{
    // The separator ends a unit name, which is a run of letters.
    std::string result;
    const auto add = [&result](const std::string& word) {
        if (!result.empty())
            result += ';';
        result += word;
    };
    if (!_units.empty())
        add(importUnitsWord + _units);
    for (std::size_t i = 0; i < importSwitches.size(); ++i) {
        if (_switches[i])
            add(importSwitches[i].word);
    }
    for (const std::string& word : _raw)
        add(word);
    return result;
}

bool ImportOptions::asksForUnknownUnit(std::string& unit) const
{
    const std::string all = text();
    const std::string::size_type key = all.find(importUnitsWord);
    if (key == std::string::npos)
        return false;
    unit.clear();
    for (std::string::size_type i = key + sizeof(importUnitsWord) - 1; i < all.size(); ++i) {
        const char c = lowerCase(all.substr(i, 1))[0];
        if (c < 'a' || c > 'z')
            break;
        unit += all[i];
    }

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
