#pragma once

#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(TextureChunk, StateChunkPtr)

/// A texture and how it joins the colour that comes from the units before it.
///
/// The envCombine, envSource, envOperand and envScale fields are those of the environment mode GL_COMBINE and
/// mean nothing in the other modes. Formats of 0 are those of the image.
class OSG_PLATFORM_API TextureChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(TextureChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD_COUNTED(4, Image, image, ImagePtr)
    OSG_SFIELD(5, InternalFormat, internalFormat, GLenum, 0)
    OSG_SFIELD(6, ExternalFormat, externalFormat, GLenum, 0)
    /// Whether images of odd sizes are scaled to the next power of two.
    OSG_SFIELD(7, Scale, scale, Bool, true)
    OSG_SFIELD(8, Frame, frame, UInt32, 0)
    OSG_SFIELD(9, MinFilter, minFilter, GLenum, GL_LINEAR_MIPMAP_LINEAR)
    OSG_SFIELD(10, MagFilter, magFilter, GLenum, GL_LINEAR)
    OSG_SFIELD(11, WrapS, wrapS, GLenum, GL_REPEAT)
    OSG_SFIELD(12, WrapT, wrapT, GLenum, GL_REPEAT)
    OSG_SFIELD(13, WrapR, wrapR, GLenum, GL_REPEAT)
    OSG_SFIELD(14, EnvMode, envMode, GLenum, GL_REPLACE)
    OSG_SFIELD(15, EnvColor, envColor, Color4f, 0.f, 0.f, 0.f, 0.f)
    OSG_SFIELD(16, EnvCombineRGB, envCombineRGB, GLenum, GL_MODULATE)
    OSG_SFIELD(17, EnvCombineAlpha, envCombineAlpha, GLenum, GL_MODULATE)
    OSG_SFIELD(18, EnvScaleRGB, envScaleRGB, Real32, 1.f)
    OSG_SFIELD(19, EnvScaleAlpha, envScaleAlpha, Real32, 1.f)
    OSG_SFIELD(20, EnvSource0RGB, envSource0RGB, GLenum, GL_TEXTURE)
    OSG_SFIELD(21, EnvSource1RGB, envSource1RGB, GLenum, GL_PREVIOUS)
    OSG_SFIELD(22, EnvSource2RGB, envSource2RGB, GLenum, GL_CONSTANT)
    OSG_SFIELD(23, EnvSource0Alpha, envSource0Alpha, GLenum, GL_TEXTURE)
    OSG_SFIELD(24, EnvSource1Alpha, envSource1Alpha, GLenum, GL_PREVIOUS)
    OSG_SFIELD(25, EnvSource2Alpha, envSource2Alpha, GLenum, GL_CONSTANT)
    OSG_SFIELD(26, EnvOperand0RGB, envOperand0RGB, GLenum, GL_SRC_COLOR)
    OSG_SFIELD(27, EnvOperand1RGB, envOperand1RGB, GLenum, GL_SRC_COLOR)
    OSG_SFIELD(28, EnvOperand2RGB, envOperand2RGB, GLenum, GL_SRC_ALPHA)
    OSG_SFIELD(29, EnvOperand0Alpha, envOperand0Alpha, GLenum, GL_SRC_ALPHA)
    OSG_SFIELD(30, EnvOperand1Alpha, envOperand1Alpha, GLenum, GL_SRC_ALPHA)
    OSG_SFIELD(31, EnvOperand2Alpha, envOperand2Alpha, GLenum, GL_SRC_ALPHA)
    OSG_SFIELD_INTERNAL(32, GLId, GLId, GLenum, 0)
    OSG_SFIELD_INTERNAL(33, IgnoreGLForAspect, IgnoreGLForAspect, Int32, -1)
    OSG_SFIELD(34, PointSprite, pointSprite, Bool, false)
    OSG_SFIELD(35, Priority, priority, Real32, 1.f)
    OSG_SFIELD(36, ShaderOperation, shaderOperation, GLenum, 0)
    OSG_SFIELD(37, ShaderInput, shaderInput, GLenum, 0)
    OSG_MFIELD(38, ShaderOffsetMatrix, shaderOffsetMatrix, Real32)
    OSG_SFIELD(39, ShaderOffsetScale, shaderOffsetScale, Real32, 0.f)
    OSG_SFIELD(40, ShaderOffsetBias, shaderOffsetBias, Real32, 0.f)
    OSG_SFIELD(41, ShaderRGBADotProduct, shaderRGBADotProduct, GLenum, 0)
    OSG_SFIELD(42, ShaderCullModes, shaderCullModes, UInt8, 0)
    OSG_SFIELD(43, ShaderConstEye, shaderConstEye, Vec3f, 0.f, 0.f, 0.f)
    OSG_SFIELD(44, LodBias, lodBias, Real32, 0.f)
    OSG_SFIELD(45, Target, target, GLenum, 0)
    OSG_SFIELD(46, DirtyLeft, dirtyLeft, Int32, -1)
    OSG_SFIELD(47, DirtyMinX, dirtyMinX, Int32, -1)
    OSG_SFIELD(48, DirtyMaxX, dirtyMaxX, Int32, -1)
    OSG_SFIELD(49, DirtyMinY, dirtyMinY, Int32, -1)
    OSG_SFIELD(50, DirtyMaxY, dirtyMaxY, Int32, -1)
    OSG_SFIELD(51, DirtyMinZ, dirtyMinZ, Int32, -1)
    OSG_SFIELD(52, DirtyMaxZ, dirtyMaxZ, Int32, -1)
    OSG_SFIELD(53, Anisotropy, anisotropy, Real32, 1.f)
    OSG_SFIELD(54, BorderColor, borderColor, Color4f, 0.f, 0.f, 0.f, 0.f)
    OSG_SFIELD(55, BorderWidth, borderWidth, UInt32, 0)
    OSG_SFIELD(56, NPOTMatrixScale, NPOTMatrixScale, UInt32, 0)

    /// Says which part of the image has changed, in pixels, both ends included; -1: up to the border. Edits
    /// by itself.
    void imageContentChanged(Int32 minX = -1, Int32 maxX = -1, Int32 minY = -1, Int32 maxY = -1,
                             Int32 minZ = -1, Int32 maxZ = -1);

protected:
    TextureChunk() {}
    TextureChunk(const TextureChunk&) = default;
};

OSG_END_NAMESPACE
