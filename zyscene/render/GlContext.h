#pragma once

#include "Gl.h"

#include <memory>
#include <string>

namespace zyscene::render
{

/// An OpenGL context without display, window or surface, current in the thread that made it. One at a time.
///
/// EGL is loaded when the first context is made, and stays loaded.
class GlContext
{
public:
    /// @param problem set to the reason, in one line, when the result is null
    static std::unique_ptr<GlContext> create(std::string& problem);
    ~GlContext();
    GlContext(const GlContext&) = delete;
    GlContext& operator=(const GlContext&) = delete;

    const Gl& gl() const { return _gl; }
    /// The longest side of a picture, in pixels.
    unsigned int maxSide() const { return _maxSide; }

private:
    struct Egl;

    GlContext() = default;
    std::string open();
    std::string loadFunctions();
    std::string checkVersion();

    std::unique_ptr<Egl> _egl;
    Gl _gl;
    unsigned int _maxSide = 0;
};

} // namespace zyscene::render
