#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace zyscene
{

/// The word that is followed by the name of a unit.
extern const char exportUnitsWord[];
/// The unit without the word.
extern const char defaultExportUnit[];

/// What the modeller calls its units in short. It takes these, and the names of the import units with either
/// first letter.
extern const std::array<const char*, 8> shortExportUnits;

/// "Inch, Foot, ..., in, ft, ...": the names of the import units and the short ones, for a message.
std::string knownExportUnits();

/// The export options of one command line.
class ExportOptions
{
public:
    void addTo(CLI::App& app);

    /// The option text as the module gets it.
    std::string text() const;

    /// Whether the option text asks for a unit that neither the module nor the modeller knows; the file then
    /// gets the unit that a new scene has. `unit` is the name as the module reads it: the letters behind the
    /// word.
    bool asksForUnknownUnit(std::string& unit) const;

private:
    std::optional<std::string> _units; ///< as given, which may be empty
    std::vector<std::string> _raw;
};

} // namespace zyscene
