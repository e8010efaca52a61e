#include "ExportOptions.h"

#include "ImportOptions.h"
#include "OptionText.h"
#include "Text.h"

#include <CLI/CLI.hpp>

namespace zyscene
{

const char exportUnitsWord[] = "units=";
const char defaultExportUnit[] = "Millimeter";

const std::array<const char*, 8> shortExportUnits = {"in", "ft", "yd", "mi", "m", "km", "mm", "cm"};

std::string knownExportUnits()
{
    std::string result;
    for (const char* unit : importUnits) {
        result += unit;
        result += ", ";
    }
    for (const char* unit : shortExportUnits) {
        result += unit;
        result += ", ";
    }
    result.resize(result.size() - 2);
    return result;
}

void ExportOptions::addTo(CLI::App& app)
{
    const std::string group = "Export options (.ka, .kb)";
    app.add_option_function<std::string>(
           "--units", [this](const std::string& unit) { _units = unit; },
           "Working unit that the file is labelled with, " + std::string(defaultExportUnit) +
               " otherwise: " + knownExportUnits())
        ->type_name("U")
        ->group(group);
    app.add_option("--export-option", _raw, "Text for the module, as it is; may be repeated")
        ->type_name("TEXT")
        ->take_all()
        ->expected(1)
        ->group(group);
}

std::string ExportOptions::text() const
{
    std::string result;
    if (_units)
        addWord(result, exportUnitsWord + *_units);
    for (const std::string& word : _raw)
        addWord(result, word);
    return result;
}

bool ExportOptions::asksForUnknownUnit(std::string& unit) const
{
    bool found = false;
    unit = unitBehind(text(), exportUnitsWord, found);
    if (!found)
        return false;
    for (const char* known : importUnits) {
        if (unit == known || unit == lowerCase(known))
            return false;
    }
    for (const char* known : shortExportUnits) {
        if (unit == known)
            return false;
    }
    return true;
}

} // namespace zyscene
