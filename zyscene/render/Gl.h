#pragma once

// OpenGL for this folder. Comes before any header of the scene graph: both define the same enumerants, and
// those of the system go first.

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <OpenSG/OSGGL.h>

namespace zyscene::render
{

// The functions that are called. Each is looked up when the context is made.
#define ZYSCENE_GL_FUNCTIONS(X)                                                                              \
    X(ActiveTexture)                                                                                         \
    X(AlphaFunc)                                                                                             \
    X(BindBuffer)                                                                                            \
    X(BindFramebuffer)                                                                                       \
    X(BindRenderbuffer)                                                                                      \
    X(BindTexture)                                                                                           \
    X(BlendColor)                                                                                            \
    X(BlendEquation)                                                                                         \
    X(BlendFuncSeparate)                                                                                     \
    X(BlitFramebuffer)                                                                                       \
    X(BufferData)                                                                                            \
    X(BufferSubData)                                                                                         \
    X(CheckFramebufferStatus)                                                                                \
    X(Clear)                                                                                                 \
    X(ClearColor)                                                                                            \
    X(ClientActiveTexture)                                                                                   \
    X(Color4fv)                                                                                              \
    X(ColorMaterial)                                                                                         \
    X(ColorPointer)                                                                                          \
    X(CompressedTexImage2D)                                                                                  \
    X(CullFace)                                                                                              \
    X(DeleteBuffers)                                                                                         \
    X(DeleteFramebuffers)                                                                                    \
    X(DeleteRenderbuffers)                                                                                   \
    X(DeleteTextures)                                                                                        \
    X(DepthFunc)                                                                                             \
    X(DepthMask)                                                                                             \
    X(DepthRange)                                                                                            \
    X(Disable)                                                                                               \
    X(DisableClientState)                                                                                    \
    X(DrawArrays)                                                                                            \
    X(Enable)                                                                                                \
    X(EnableClientState)                                                                                     \
    X(FramebufferRenderbuffer)                                                                               \
    X(FrontFace)                                                                                             \
    X(GenBuffers)                                                                                            \
    X(GenFramebuffers)                                                                                       \
    X(GenRenderbuffers)                                                                                      \
    X(GenTextures)                                                                                           \
    X(GenerateMipmap)                                                                                        \
    X(GetError)                                                                                              \
    X(GetFloatv)                                                                                             \
    X(GetIntegerv)                                                                                           \
    X(GetString)                                                                                             \
    X(IsEnabled)                                                                                             \
    X(LightModeli)                                                                                           \
    X(Lightf)                                                                                                \
    X(Lightfv)                                                                                               \
    X(LineStipple)                                                                                           \
    X(LineWidth)                                                                                             \
    X(LoadIdentity)                                                                                          \
    X(LoadMatrixd)                                                                                           \
    X(LoadMatrixf)                                                                                           \
    X(Materialf)                                                                                             \
    X(Materialfv)                                                                                            \
    X(MatrixMode)                                                                                            \
    X(MultiDrawArrays)                                                                                       \
    X(NormalPointer)                                                                                         \
    X(PixelStorei)                                                                                           \
    X(PointParameterf)                                                                                       \
    X(PointParameterfv)                                                                                      \
    X(PointSize)                                                                                             \
    X(PolygonMode)                                                                                           \
    X(PolygonOffset)                                                                                         \
    X(PolygonStipple)                                                                                        \
    X(ReadPixels)                                                                                            \
    X(RenderbufferStorageMultisample)                                                                        \
    X(Scissor)                                                                                               \
    X(TexCoordPointer)                                                                                       \
    X(TexEnvf)                                                                                               \
    X(TexEnvfv)                                                                                              \
    X(TexEnvi)                                                                                               \
    X(TexGenfv)                                                                                              \
    X(TexGeni)                                                                                               \
    X(TexImage2D)                                                                                            \
    X(TexImage3D)                                                                                            \
    X(TexParameterf)                                                                                         \
    X(TexParameterfv)                                                                                        \
    X(TexParameteri)                                                                                         \
    X(VertexPointer)                                                                                         \
    X(Viewport)

/// The functions of the current context: gl.Enable(GL_BLEND). Nothing is linked, so that all that does not
/// draw also runs where there is no OpenGL.
struct Gl {
#define ZYSCENE_GL_MEMBER(name) decltype(&::gl##name) name = nullptr;
    ZYSCENE_GL_FUNCTIONS(ZYSCENE_GL_MEMBER)
#undef ZYSCENE_GL_MEMBER

    void set(GLenum capability, bool on) const
    {
        if (on)
            Enable(capability);
        else
            Disable(capability);
    }
    GLint integer(GLenum name) const
    {
        GLint values[4] = {0, 0, 0, 0};
        GetIntegerv(name, values);
        return values[0];
    }
    /// Forgets errors so far.
    /// @return whether there was one
    bool takeErrors() const
    {
        bool any = false;
        while (GetError() != GL_NO_ERROR)
            any = true;
        return any;
    }
};

} // namespace zyscene::render
