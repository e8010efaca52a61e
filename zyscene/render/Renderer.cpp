#include "Renderer.h"

#include "Canvas.h"
#include "Chunks.h"
#include "Lights.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zyscene::render
{

namespace
{

// -- Shapes in OpenGL's memory -----------------------------------------------------------------------------

/// The arrays of a shape, one after the other in one buffer.
class ShapeBuffer
{
public:
    ShapeBuffer(const Gl& gl, const Shape& shape) : _gl(gl), _shape(shape)
    {
        std::size_t size = 0;
        forEachArray([&](const Shape::Array& array) { size += bytesOf(array); });
        gl.GenBuffers(1, &_name);
        gl.BindBuffer(GL_ARRAY_BUFFER, _name);
        gl.BufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(size), nullptr, GL_STATIC_DRAW);
        std::size_t at = 0;
        forEachArray([&](const Shape::Array& array) {
            gl.BufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(at),
                             static_cast<GLsizeiptr>(bytesOf(array)), array.values.data());
            at += bytesOf(array);
        });
    }
    ~ShapeBuffer() { _gl.DeleteBuffers(1, &_name); }
    ShapeBuffer(const ShapeBuffer&) = delete;
    ShapeBuffer& operator=(const ShapeBuffer&) = delete;

    /// Makes the arrays those that are drawn from.
    void use() const;
    /// @param polygonsOnly neither points nor lines
    void draw(bool polygonsOnly) const;

private:
    static std::size_t bytesOf(const Shape::Array& array) { return array.values.size() * sizeof(float); }

    template <class FunctionT>
    void forEachArray(FunctionT function) const
    {
        function(_shape.positions);
        function(_shape.normals);
        function(_shape.colors);
        for (const Shape::Array& array : _shape.uvs)
            function(array);
    }

    const Gl& _gl;
    const Shape& _shape;
    GLuint _name = 0;
};

void ShapeBuffer::use() const
{
    const Gl& gl = _gl;
    gl.BindBuffer(GL_ARRAY_BUFFER, _name);
    std::uintptr_t at = 0;
    // Whether the array is there; then `place` is where it begins.
    const auto enable = [&](const Shape::Array& array, GLenum name, const void*& place) {
        place = reinterpret_cast<const void*>(at);
        at += bytesOf(array);
        if (array.values.empty())
            gl.DisableClientState(name);
        else
            gl.EnableClientState(name);
        return !array.values.empty();
    };
    const void* place = nullptr;
    if (enable(_shape.positions, GL_VERTEX_ARRAY, place))
        gl.VertexPointer(_shape.positions.size, GL_FLOAT, 0, place);
    if (enable(_shape.normals, GL_NORMAL_ARRAY, place))
        gl.NormalPointer(GL_FLOAT, 0, place);
    if (enable(_shape.colors, GL_COLOR_ARRAY, place))
        gl.ColorPointer(_shape.colors.size, GL_FLOAT, 0, place);
    for (std::size_t i = 0; i < uvChannels; ++i) {
        gl.ClientActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        if (enable(_shape.uvs[i], GL_TEXTURE_COORD_ARRAY, place))
            gl.TexCoordPointer(_shape.uvs[i].size, GL_FLOAT, 0, place);
    }
}

void ShapeBuffer::draw(bool polygonsOnly) const
{
    const bool lighting = _gl.IsEnabled(GL_LIGHTING) != GL_FALSE;
    for (const Shape::Batch& batch : _shape.batches) {
        if (polygonsOnly && !batch.polygons)
            continue;
        if (lighting && !batch.lit)
            _gl.Disable(GL_LIGHTING);
        if (batch.first.size() == 1) {
            _gl.DrawArrays(batch.mode, batch.first[0], batch.count[0]);
        } else {
            _gl.MultiDrawArrays(batch.mode, batch.first.data(), batch.count.data(),
                                static_cast<GLsizei>(batch.first.size()));
        }
        if (lighting && !batch.lit)
            _gl.Enable(GL_LIGHTING);
    }
}

// -- What is drawn when ------------------------------------------------------------------------------------

/// A shape with a state at a place.
struct Draw {
    std::size_t shape;
    const Pass* pass;
    WorldMatrix modelView;
    double depth; ///< of the middle, from the eye
};

double depthOf(const Box& box, const WorldMatrix& modelView)
{
    double z = modelView[3][2];
    for (unsigned int i = 0; i < 3; ++i)
        z += modelView[i][2] * (box.min[i] + box.max[i]) / 2;
    return -z;
}

/// The parts of a picture, each in the order of drawing.
struct Schedule {
    std::vector<Draw> opaque;
    std::vector<Draw> blended;

    Schedule(const DrawList& list, const WorldMatrix& view);
};

Schedule::Schedule(const DrawList& list, const WorldMatrix& view)
{
    for (const Item& item : list.items()) {
        for (std::size_t i = 0; i < item.passCount; ++i) {
            const Pass& pass = list.passes()[item.firstPass + i];
            Draw draw = {item.shape, &pass, view, 0};
            draw.modelView.mult(item.world);
            if (pass.moved)
                draw.modelView.mult(pass.object);
            draw.depth = depthOf(list.shapes()[item.shape].box, draw.modelView);
            (pass.blended ? blended : opaque).push_back(draw);
        }
    }
    // Passes of one material at one place stay in their order.
    std::stable_sort(blended.begin(), blended.end(),
                     [](const Draw& a, const Draw& b) { return a.depth > b.depth; });
}

// -- Drawing -----------------------------------------------------------------------------------------------

/// Alpha from which on nothing is seen through: the last of 256 steps.
constexpr float solidAlpha = 254.5f / 255;

class Painter
{
public:
    Painter(Frame& frame, const DrawList& list, const Camera& camera)
        : _gl(frame.gl), _list(list), _schedule(list, camera.view), _state(frame)
    {
        _buffers.reserve(list.shapes().size());
        for (const Shape& shape : list.shapes())
            _buffers.push_back(std::make_unique<ShapeBuffer>(_gl, shape));
    }

    void paint()
    {
        _state.reset();
        for (const Draw& draw : _schedule.opaque)
            drawOne(draw, true);
        // What is solid in things that are see-through in part: only what shows through has to wait for its
        // turn.
        for (const Draw& draw : _schedule.blended) {
            if (draw.pass->covers)
                drawOne(draw, true, GL_GREATER);
        }
        for (const Draw& draw : _schedule.blended)
            drawOne(draw, false, draw.pass->covers ? GL_LEQUAL : GL_NONE);
    }

private:
    /// @param alphaFunc fragments are kept if their alpha is so, compared with solidAlpha; GL_NONE: all
    void drawOne(const Draw& draw, bool hides, GLenum alphaFunc = GL_NONE)
    {
        _state.apply(*draw.pass, _list.shapes()[draw.shape].hasColors(), hides);
        if (draw.shape != _used) {
            _buffers[draw.shape]->use();
            _used = draw.shape;
        }
        _gl.MatrixMode(GL_MODELVIEW);
        _gl.LoadMatrixd(draw.modelView.getValues());
        if (alphaFunc != GL_NONE) {
            _gl.AlphaFunc(alphaFunc, solidAlpha);
            _gl.Enable(GL_ALPHA_TEST);
        }
        if (!hides && draw.pass->covers && _gl.IsEnabled(GL_CULL_FACE) == GL_FALSE)
            drawFarSideFirst(draw);
        else
            _buffers[draw.shape]->draw(false);
        if (alphaFunc != GL_NONE) {
            _gl.Disable(GL_ALPHA_TEST);
            _gl.AlphaFunc(GL_ALWAYS, 0);
        }
    }

    // Of something closed, what faces away lies behind what faces the eye.
    void drawFarSideFirst(const Draw& draw)
    {
        const bool mirrored = draw.modelView.det3() < 0; // which turns all faces over
        _gl.Enable(GL_CULL_FACE);
        _gl.CullFace(mirrored ? GL_BACK : GL_FRONT);
        _buffers[draw.shape]->draw(true);
        _gl.CullFace(mirrored ? GL_FRONT : GL_BACK);
        _buffers[draw.shape]->draw(false);
        _gl.CullFace(GL_BACK);
        _gl.Disable(GL_CULL_FACE);
    }

    const Gl& _gl;
    const DrawList& _list;
    Schedule _schedule;
    StateApplier _state;
    std::vector<std::unique_ptr<ShapeBuffer>> _buffers;
    std::size_t _used = static_cast<std::size_t>(-1); ///< shape whose arrays are enabled
};

float maxAnisotropyOf(const Gl& gl)
{
    GLfloat value = 0;
    gl.GetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &value);
    gl.takeErrors(); // not every OpenGL knows it
    return value;
}
} // namespace

std::string drawPicture(const GlContext& context, const DrawList& list, const PictureOptions& options,
                        const osg::ImagePtr& image, Notices& notices)
{
    for (const std::string& text : list.notices())
        notices.add(text);
    const Gl& gl = context.gl();
    if (options.width == 0 || options.height == 0 || options.width > context.maxSide() ||
        options.height > context.maxSide()) {
        return "the picture cannot be larger than " + std::to_string(context.maxSide()) + "x" +
               std::to_string(context.maxSide());
    }
    const int width = static_cast<int>(options.width);
    const int height = static_cast<int>(options.height);

    std::string problem;
    const Camera camera = fitCamera(list, options.view, double(width) / height, problem);
    if (!problem.empty())
        return problem;
    if (!image->set(osg::Image::OSG_RGB_PF, width, height))
        return "there is no memory for the picture";
    const Canvas canvas(gl, width, height);
    if (!canvas.problem().empty())
        return canvas.problem();

    Textures textures(gl, notices);
    const unsigned int units = static_cast<unsigned int>(
        std::min({gl.integer(GL_MAX_TEXTURE_UNITS), gl.integer(GL_MAX_TEXTURE_COORDS), GLint(uvChannels)}));
    Frame frame = {gl, notices, textures, camera.view, camera.world, units, maxAnisotropyOf(gl)};
    gl.MatrixMode(GL_PROJECTION);
    gl.LoadMatrixd(camera.projection.getValues());
    setLights(frame, list.lights());
    Painter painter(frame, list, camera);

    const osg::Color3f& background = options.background;
    gl.ClearColor(background.red(), background.green(), background.blue(), 1);
    osg::beginEditCP(image, osg::Image::PixelFieldMask);
    for (int i = 0; i < canvas.tileCount(); ++i) {
        const Tile tile = canvas.begin(i);
        gl.DepthMask(GL_TRUE);
        gl.Clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        painter.paint();
        canvas.end(tile, image->getData());
    }
    osg::endEditCP(image, osg::Image::PixelFieldMask);
    return gl.takeErrors() ? "OpenGL failed while drawing" : "";
}

} // namespace zyscene::render
