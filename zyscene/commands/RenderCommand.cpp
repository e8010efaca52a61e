// First: it has to come before the headers of the scene graph.
#include "../render/Renderer.h"

#include "../Command.h"
#include "../Document.h"
#include "../ImportOptions.h"
#include "../RunContext.h"
#include "../SceneJson.h"
#include "../Staging.h"
#include "../TessellationOption.h"
#include "../Text.h"

#include <CLI/CLI.hpp>

#include <OpenSG/OSGImageFileHandler.h>

#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zyscene
{

namespace
{
// -- Arguments ---------------------------------------------------------------------------------------------

struct ViewRow {
    const char* name;
    render::View view;
};
const std::array<ViewRow, 4> views = {{
    {"front", render::View::Front},
    {"side", render::View::Side},
    {"top", render::View::Top},
    {"iso", render::View::Iso},
}};

// Takes digits from the start of the text. A number that is too large for any picture stays the largest.
bool takeNumber(std::string_view& text, unsigned int& number)
{
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return false;
    const std::from_chars_result end = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end.ec == std::errc::result_out_of_range)
        number = std::numeric_limits<unsigned int>::max();
    text.remove_prefix(static_cast<std::size_t>(end.ptr - text.data()));
    return number != 0;
}

// "1280x720"
bool parseSize(std::string_view text, unsigned int& width, unsigned int& height)
{
    if (!takeNumber(text, width) || text.empty() || text[0] != 'x')
        return false;
    text.remove_prefix(1);
    return takeNumber(text, height) && text.empty();
}

// "ff8000"
bool parseColor(const std::string& text, osg::Color3f& color)
{
    unsigned int number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, number, 16);
    if (text.size() != 6 || parsed.ec != std::errc() || parsed.ptr != end)
        return false;
    for (unsigned int i = 0; i < 3; ++i)
        color[i] = static_cast<float>(number >> (16 - 8 * i) & 0xff) / 255;
    return true;
}

std::string checkSize(std::string& text)
{
    unsigned int width = 0;
    unsigned int height = 0;
    return parseSize(text, width, height) ? std::string()
                                          : "the size is to be WIDTHxHEIGHT in pixels, not '" + text + "'";
}

std::string checkColor(std::string& text)
{
    osg::Color3f color;
    return parseColor(text, color) ? std::string()
                                   : "the colour is to be six hexadecimal digits RRGGBB, not '" + text + "'";
}

// -- Target ------------------------------------------------------------------------------------------------

/// A picture file in the making: the old one stays until the new one is whole.
class PictureSaver
{
public:
    explicit PictureSaver(const std::string& target) : _target(target) {}

    /// Looks, before anything is read, whether the file can be made.
    /// @return an empty text, or why not
    std::string check()
    {
        const std::string obstacle = StagedScene::obstacleTo(_target);
        if (obstacle.empty())
            _staged.emplace(_target);
        return obstacle;
    }

    /// check() comes first.
    /// @return an empty text, or why there is no new file
    std::string save(const osg::ImagePtr& image, RunContext& context)
    {
        std::string problem = _staged->open();
        if (problem.empty())
            problem = write(image, context);
        if (problem.empty())
            problem = _staged->commit(true);
        _staged.reset();
        return problem;
    }

private:
    std::string write(const osg::ImagePtr& image, RunContext& context)
    {
        const std::string file = _staged->path();
        std::vector<Message> said;
        bool written = false;
        {
            Capture capture([&](Message message) {
                stripDirectory(message.text, _staged->folder());
                context.console.note(lineOf(message));
                said.push_back(std::move(message));
            });
            written = osg::ImageFileHandler::the()->write(image, file.c_str(), "image/png");
        }
        const Message* used = nullptr;
        return written ? std::string() : withoutFileName(reasonOf(said, used), displayName(file));
    }

    std::string _target;
    std::optional<StagedScene> _staged;
};

// -- Command -----------------------------------------------------------------------------------------------

/// Draws a scene into a picture file, without a display.
class RenderCommand : public Command
{
public:
    void addTo(CLI::App& app) override
    {
        app.add_option("FILE", _file, "Scene file")->required()->type_name("");
        app.add_option("-o,--output", _out, "Picture to write, a PNG file")->required()->type_name("PNG");
        app.add_option("--size", _size, "Size in pixels")
            ->check(CLI::Validator(&checkSize, "", "size"))
            ->capture_default_str()
            ->type_name("WxH");
        std::vector<std::string> names;
        for (const ViewRow& row : views)
            names.push_back(row.name);
        app.add_option("--view", _view,
                       "Where it is seen from: front (+z), side (+x), top (+y) or iso, all three")
            ->check(CLI::IsMember(names))
            ->capture_default_str()
            ->type_name("VIEW");
        app.add_option("--background", _background, "Colour behind the scene")
            ->check(CLI::Validator(&checkColor, "", "color"))
            ->capture_default_str()
            ->type_name("RRGGBB");
        addTessellationOption(app, _tessellation);
        _importOptions.addTo(app);
    }

    ExitCode run(RunContext& context) override
    {
        Result result;
        parseSize(_size, result.picture.width, result.picture.height);
        parseColor(_background, result.picture.background);
        for (const ViewRow& row : views) {
            if (_view == row.name)
                result.picture.view = row.view;
        }

        ExitCode exit = ExitCode::Usage;
        SceneReader reader(context, _importOptions);
        if (reader.canReadAll({_file}) && canWrite(context))
            exit = render(context, reader, result) ? ExitCode::Done : ExitCode::Failed;

        if (context.json) {
            Document document(context, "render", &exit);
            if (exit != ExitCode::Usage)
                writeResult(document.json(), result);
            document.finish(exit);
        } else if (exit == ExitCode::Done) {
            context.console.out().write(printable(displayName(_file)) + " -> " +
                                        printable(displayName(_out)) + ": " + sizeOf(result) + ", " +
                                        plural(result.uses, "drawn geometry use") + "\n");
        }
        return exit;
    }

private:
    struct Result {
        Scene scene;
        render::PictureOptions picture;
        std::size_t uses = 0;
        std::size_t lights = 0;
        bool written = false;
    };

    static std::string sizeOf(const Result& result)
    {
        return std::to_string(result.picture.width) + "x" + std::to_string(result.picture.height);
    }

    bool canWrite(RunContext& context)
    {
        if (suffixOf(_out) == "png")
            return true;
        context.report({"suffix-unknown", Issue::Error, displayName(_out), "",
                        "pictures are PNG files: the name has to end in '.png'"});
        return false;
    }

    static bool fail(RunContext& context, const char* code, const std::string& file,
                     const std::string& message)
    {
        context.report({code, Issue::Error, displayName(file), "", message});
        return false;
    }

    bool render(RunContext& context, SceneReader& reader, Result& result)
    {
        PictureSaver saver(_out);
        const std::string obstacle = saver.check();
        if (!obstacle.empty())
            return fail(context, "write-failed", _out, "cannot be written: " + obstacle);

        // Before the scene is read, which may take its time.
        std::string problem;
        const std::unique_ptr<render::GlContext> gl = makeContext(context, problem);
        if (!gl)
            return fail(context, "gl-missing", _file, "cannot be drawn: " + problem);
        const unsigned int most = gl->maxSide();
        if (result.picture.width > most || result.picture.height > most) {
            return fail(context, "picture-too-large", _out,
                        "cannot be drawn: OpenGL draws at most " + std::to_string(most) + "x" +
                            std::to_string(most) + " pixels, not " + sizeOf(result));
        }
        if (!reader.read(_file, result.scene))
            return false;

        osg::ImagePtr image = osg::Image::create();
        osg::addRefCP(image);
        problem = draw(context, *gl, result, image);
        if (!problem.empty()) {
            fail(context, "render-failed", _file, "cannot be drawn: " + problem);
        } else {
            problem = saver.save(image, context);
            result.written =
                problem.empty() || fail(context, "write-failed", _out, "cannot be written: " + problem);
        }
        osg::subRefCP(image);
        return result.written;
    }

    // Drivers print what they think; it is shown with -v.
    static std::unique_ptr<render::GlContext> makeContext(RunContext& context, std::string& problem)
    {
        Capture capture([&](const Message& message) { context.console.note(lineOf(message)); });
        return render::GlContext::create(problem);
    }

    std::string draw(RunContext& context, const render::GlContext& gl, Result& result,
                     const osg::ImagePtr& image)
    {
        render::Notices notices;
        std::string problem;
        {
            Capture capture([&](const Message& message) { context.console.note(lineOf(message)); });
            const render::DrawList list(result.scene.root(), _tessellation);
            result.uses = list.items().size();
            result.lights = list.lights().size();
            problem = render::drawPicture(gl, list, result.picture, image, notices);
        }
        for (const std::string& text : notices.texts())
            context.report({"not-drawn", Issue::Warning, displayName(_file), "", text});
        return problem;
    }

    void writeResult(JsonWriter& json, const Result& result)
    {
        json.beginObject();
        json.member("in", std::string_view(displayName(_file)));
        json.member("out", std::string_view(displayName(_out)));
        json.member("written", result.written);
        json.member("width", result.picture.width);
        json.member("height", result.picture.height);
        json.member("view", std::string_view(_view));
        json.member("background", std::string_view(lowerCase(_background)));
        json.member("uses", static_cast<std::uint64_t>(result.uses));
        json.member("lights", static_cast<std::uint64_t>(result.lights));
        writeDiagnostics(json, result.scene);
        json.endObject();
    }

    std::string _file;
    std::string _out;
    std::string _size = "1280x720";
    std::string _view = "iso";
    std::string _background = "d0d0d0";
    TessellationOptions _tessellation;
    ImportOptions _importOptions;
};
} // namespace

std::unique_ptr<Command> makeRenderCommand()
{
    return std::make_unique<RenderCommand>();
}

} // namespace zyscene
