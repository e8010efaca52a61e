#include "../Command.h"
#include "../Document.h"
#include "../RunContext.h"

#include <CLI/CLI.hpp>

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGConfig.h>
#include <xxhash.h>

#include <string>
#include <utility>
#include <vector>

namespace zyscene
{

namespace
{
/// Versions of the module, the platform and the libraries.
class VersionCommand : public Command
{
public:
    void addTo(CLI::App&) override {}

    ExitCode run(RunContext& context) override
    {
        // The embedded platform is released together with the module.
        const std::vector<std::pair<const char*, std::string>> versions = {
            {"zyscene", ZY_VERSION},     {"zyKelda2017FileIO", ZY_VERSION}, {"platform", ZY_VERSION},
            {"OpenSG", openSGVersion()}, {"CLI11", CLI11_VERSION},          {"xxHash", xxHashVersion()},
        };
        if (context.json) {
            const ExitCode exit = ExitCode::Done;
            Document document(context, "version", &exit);
            for (const auto& row : versions) {
                document.json().beginObject(JsonWriter::OneLine);
                document.json().member("name", row.first);
                document.json().member("version", std::string_view(row.second));
                document.json().endObject();
            }
            document.finish(exit);
            return exit;
        }
        for (const auto& row : versions)
            context.console.out().write(std::string(row.first) + " " + row.second + "\n");
        return ExitCode::Done;
    }

private:
    // The interface that the embedded scene graph has, two hexadecimal digits for each part.
    static std::string openSGVersion()
    {
        return std::to_string(OSG_VERSION >> 16) + "." + std::to_string(OSG_VERSION >> 8 & 0xff) + "." +
               std::to_string(OSG_VERSION & 0xff);
    }

    static std::string xxHashVersion()
    {
        const unsigned int number = XXH_versionNumber();
        return std::to_string(number / 10000) + "." + std::to_string(number / 100 % 100) + "." +
               std::to_string(number % 100);
    }
};
} // namespace

std::unique_ptr<Command> makeVersionCommand()
{
    return std::make_unique<VersionCommand>();
}

} // namespace zyscene
