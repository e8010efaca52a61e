#include "Canvas.h"

#include <algorithm>

namespace zyscene::render
{

namespace
{
constexpr int largestTile = 2048;
constexpr GLint wantedSamples = 4;
} // namespace

Canvas::Canvas(const Gl& gl, int width, int height) : _gl(gl), _width(width), _height(height)
{
    const int largest = std::min(largestTile, gl.integer(GL_MAX_RENDERBUFFER_SIZE));
    _tileWidth = std::min(width, largest);
    _tileHeight = std::min(height, largest);
    _columns = (width + _tileWidth - 1) / _tileWidth;
    _rows = (height + _tileHeight - 1) / _tileHeight;

    gl.takeErrors();
    make(_drawn, std::min(wantedSamples, gl.integer(GL_MAX_SAMPLES)), true);
    make(_resolved, 0, false);
    if (gl.takeErrors() && _problem.empty())
        _problem = "OpenGL has no memory for the picture";
    gl.PixelStorei(GL_PACK_ALIGNMENT, 1);
}

Canvas::~Canvas()
{
    _gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
    for (const Buffer& buffer : {_drawn, _resolved}) {
        _gl.DeleteFramebuffers(1, &buffer.framebuffer);
        _gl.DeleteRenderbuffers(1, &buffer.color);
        _gl.DeleteRenderbuffers(1, &buffer.depth);
    }
}

void Canvas::make(Buffer& buffer, GLsizei samples, bool withDepth)
{
    _gl.GenFramebuffers(1, &buffer.framebuffer);
    _gl.BindFramebuffer(GL_FRAMEBUFFER, buffer.framebuffer);
    const auto attach = [&](GLuint& name, GLenum format, GLenum attachment) {
        _gl.GenRenderbuffers(1, &name);
        _gl.BindRenderbuffer(GL_RENDERBUFFER, name);
        _gl.RenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, _tileWidth, _tileHeight);
        _gl.FramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, name);
    };
    attach(buffer.color, GL_RGBA8, GL_COLOR_ATTACHMENT0);
    if (withDepth)
        attach(buffer.depth, GL_DEPTH_COMPONENT24, GL_DEPTH_ATTACHMENT);
    if (_gl.CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
        _problem = "OpenGL cannot draw into memory";
}

Tile Canvas::begin(int number) const
{
    Tile tile;
    tile.x = number % _columns * _tileWidth;
    tile.y = number / _columns * _tileHeight;
    tile.width = std::min(_tileWidth, _width - tile.x);
    tile.height = std::min(_tileHeight, _height - tile.y);
    _gl.BindFramebuffer(GL_FRAMEBUFFER, _drawn.framebuffer);
    // The same viewport but for whole pixels: the tiles fit together without a seam.
    _gl.Viewport(-tile.x, -tile.y, _width, _height);
    return tile;
}

void Canvas::end(const Tile& tile, unsigned char* picture) const
{
    _gl.BindFramebuffer(GL_READ_FRAMEBUFFER, _drawn.framebuffer);
    _gl.BindFramebuffer(GL_DRAW_FRAMEBUFFER, _resolved.framebuffer);
    _gl.BlitFramebuffer(0, 0, tile.width, tile.height, 0, 0, tile.width, tile.height, GL_COLOR_BUFFER_BIT,
                        GL_NEAREST);
    _gl.BindFramebuffer(GL_READ_FRAMEBUFFER, _resolved.framebuffer);
    _gl.PixelStorei(GL_PACK_ROW_LENGTH, _width);
    _gl.PixelStorei(GL_PACK_SKIP_PIXELS, tile.x);
    _gl.PixelStorei(GL_PACK_SKIP_ROWS, tile.y);
    _gl.ReadPixels(0, 0, tile.width, tile.height, GL_RGB, GL_UNSIGNED_BYTE, picture);
}

} // namespace zyscene::render
