#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace zyscene
{

/// An import option that is a switch: the flag of the command line and the text that the module looks for.
struct ImportSwitch {
    const char* flag;
    const char* word;         ///< the text that sets the non-default value; the module knows no other
    const char* defaultValue; ///< what holds without the word
    const char* effect;
};

constexpr std::size_t importSwitchCount = 6;
extern const std::array<ImportSwitch, importSwitchCount> importSwitches;

/// The word that is followed by the name of a unit.
extern const char importUnitsWord[];

/// Unit names that the module knows with their first letter in either case, and the special ones in exactly
/// one form.
extern const std::array<const char*, 8> importUnits;
extern const std::array<const char*, 2> specialImportUnits;

/// The import options of one command line.
class ImportOptions
{
public:
    void addTo(CLI::App& app);

    /// The option text as the module gets it.
    std::string text() const;

    /// Whether the option text asks for a unit that the module does not know; it then keeps centimetres and
    /// says nothing. `unit` is the name as the module reads it: the letters behind the word.
    bool asksForUnknownUnit(std::string& unit) const;

    /// Further folders for textures. They are no matter of the module: see TextureSearch.
    const std::vector<std::string>& searchFolders() const { return _searchFolders; }

private:
    std::optional<std::string> _units; ///< as given, which may be empty
    std::array<bool, importSwitchCount> _switches{};
    std::vector<std::string> _raw;
    std::vector<std::string> _searchFolders;
};

/// "Inch, Foot, ...": the unit names for a message.
std::string knownUnits();

} // namespace zyscene
