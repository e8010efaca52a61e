#pragma once

#include "Gl.h"

#include <string>

namespace zyscene::render
{

/// A part of a picture: pixels from its lower left corner.
struct Tile {
    int x;
    int y;
    int width;
    int height;
};

/// Where pictures are drawn: a framebuffer with several samples for each pixel. Pictures that are larger than
/// it are drawn tile by tile, so that memory does not grow with them.
class Canvas
{
public:
    /// For pictures of this size.
    Canvas(const Gl& gl, int width, int height);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    /// Why nothing can be drawn; empty when all is well.
    const std::string& problem() const { return _problem; }

    int tileCount() const { return _columns * _rows; }
    /// Makes ready for drawing into one tile: the viewport is that of the whole picture, moved.
    Tile begin(int tile) const;
    /// Puts what was drawn into the picture: three bytes for each pixel, rows from the bottom up without
    /// gaps.
    void end(const Tile& tile, unsigned char* picture) const;

private:
    struct Buffer {
        GLuint framebuffer = 0;
        GLuint color = 0;
        GLuint depth = 0;
    };

    void make(Buffer& buffer, GLsizei samples, bool withDepth);

    const Gl& _gl;
    int _width;
    int _height;
    int _tileWidth;
    int _tileHeight;
    int _columns;
    int _rows;
    Buffer _drawn;
    Buffer _resolved;
    std::string _problem;
};

} // namespace zyscene::render
