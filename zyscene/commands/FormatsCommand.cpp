#include "../Command.h"
#include "../Document.h"
#include "../RunContext.h"
#include "../Scene.h"
#include "../SceneSaver.h"

#include <CLI/CLI.hpp>

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>
#include <kelda/KStringArray.h>

#include <algorithm>
#include <list>
#include <map>
#include <string>

namespace zyscene
{

namespace
{
/// The suffixes that are read and written, and by whom.
class FormatsCommand : public Command
{
public:
    void addTo(CLI::App&) override {}

    ExitCode run(RunContext& context) override
    {
        const std::map<std::string, Format> formats = collect();
        if (context.json) {
            const ExitCode exit = ExitCode::Done;
            Document document(context, "formats", &exit);
            JsonWriter& json = document.json();
            for (const auto& row : formats) {
                json.beginObject(JsonWriter::OneLine);
                json.member("suffix", std::string_view(row.first));
                json.member("read", row.second.read);
                json.member("write", row.second.write);
                json.member("by", std::string_view(row.second.by));
                json.endObject();
            }
            document.finish(exit);
            return exit;
        }
        for (const auto& row : formats) {
            std::string text = "  " + row.first;
            text.resize(std::max<std::size_t>(text.size() + 1, 12), ' ');
            text += row.second.read ? "read  " : "      ";
            text += row.second.write ? "write  " : "       ";
            text += row.second.by + "\n";
            context.console.out().write(text);
        }
        return ExitCode::Done;
    }

private:
    struct Format {
        bool read;
        bool write;
        std::string by;
    };

    static std::map<std::string, Format> collect()
    {
        std::map<std::string, Format> formats;
        for (const auto flag :
             {osg::SceneFileType::OSG_READ_SUPPORTED, osg::SceneFileType::OSG_WRITE_SUPPORTED}) {
            std::list<const osg::Char8*> suffixes;
            osg::SceneFileHandler::the()->getSuffixList(suffixes, flag);
            for (const osg::Char8* suffix : suffixes) {
                const std::string name = std::string("x.") + suffix;
                formats[suffix] = {SceneReader::canRead(name), canWriteScene(name),
                                   osg::SceneFileHandler::the()->getFileType(suffix)->getName()};
            }
        }
        KStringArray imported;
        KFileIO::importableSuffixes(imported);
        for (unsigned int i = 0; i < imported.length(); ++i) {
            // A registered type comes before the import entry.
            formats.insert({imported[i].asUTF8(), {true, false, "Kelda import"}});
        }
        return formats;
    }
};
} // namespace

std::unique_ptr<Command> makeFormatsCommand()
{
    return std::make_unique<FormatsCommand>();
}

} // namespace zyscene
