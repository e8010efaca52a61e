// How polygons, lines and points become pixels.

#include "Chunks.h"

#include <OpenSG/OSGLineChunk.h>
#include <OpenSG/OSGPointChunk.h>
#include <OpenSG/OSGPolygonChunk.h>

#include <algorithm>
#include <cstdint>

namespace zyscene::render
{

namespace
{
// -- Polygons ----------------------------------------------------------------------------------------------

constexpr osg::UInt32 stippleRows = 32;

void applyPolygon(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int)
{
    const osg::PolygonChunk& polygon = static_cast<const osg::PolygonChunk&>(*chunk);
    const Gl& gl = frame.gl;
    if (polygon.getCullFace() != GL_NONE) {
        gl.CullFace(polygon.getCullFace());
        gl.Enable(GL_CULL_FACE);
    }
    gl.FrontFace(polygon.getFrontFace());
    gl.PolygonMode(GL_FRONT, polygon.getFrontMode());
    gl.PolygonMode(GL_BACK, polygon.getBackMode());
    gl.set(GL_POLYGON_SMOOTH, polygon.getSmooth());
    gl.PolygonOffset(polygon.getOffsetFactor(), polygon.getOffsetBias());
    gl.set(GL_POLYGON_OFFSET_POINT, polygon.getOffsetPoint());
    gl.set(GL_POLYGON_OFFSET_LINE, polygon.getOffsetLine());
    gl.set(GL_POLYGON_OFFSET_FILL, polygon.getOffsetFill());

    const osg::MFInt32& stipple = *polygon.getMFStipple();
    if (stipple.size() == stippleRows) {
        // Rows are numbers, OpenGL wants their bytes from the left to the right.
        GLubyte pattern[4 * stippleRows];
        for (osg::UInt32 i = 0; i < sizeof(pattern); ++i)
            pattern[i] = static_cast<GLubyte>(static_cast<osg::UInt32>(stipple[i / 4]) >> (24 - i % 4 * 8));
        gl.PolygonStipple(pattern);
        gl.Enable(GL_POLYGON_STIPPLE);
    }
}

void resetPolygon(Frame& frame, unsigned int)
{
    const Gl& gl = frame.gl;
    for (const GLenum capability : {GL_CULL_FACE, GL_POLYGON_SMOOTH, GL_POLYGON_OFFSET_POINT,
                                    GL_POLYGON_OFFSET_LINE, GL_POLYGON_OFFSET_FILL, GL_POLYGON_STIPPLE})
        gl.Disable(capability);
    gl.CullFace(GL_BACK);
    gl.FrontFace(GL_CCW);
    gl.PolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    gl.PolygonOffset(0, 0);
}

// -- Lines -------------------------------------------------------------------------------------------------

void applyLine(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int)
{
    const osg::LineChunk& line = static_cast<const osg::LineChunk&>(*chunk);
    frame.gl.LineWidth(line.getWidth());
    if (line.getStipplePattern() != 0xffff) {
        frame.gl.LineStipple(line.getStippleRepeat(), line.getStipplePattern());
        frame.gl.Enable(GL_LINE_STIPPLE);
    }
    frame.gl.set(GL_LINE_SMOOTH, line.getSmooth());
}

void resetLine(Frame& frame, unsigned int)
{
    frame.gl.LineWidth(1);
    frame.gl.Disable(GL_LINE_STIPPLE);
    frame.gl.Disable(GL_LINE_SMOOTH);
}

// -- Points ------------------------------------------------------------------------------------------------

constexpr GLfloat noAttenuation[] = {1, 0, 0};
constexpr GLfloat largestPoint = 1e6f;

void applyPoint(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int)
{
    const osg::PointChunk& point = static_cast<const osg::PointChunk&>(*chunk);
    const Gl& gl = frame.gl;
    gl.PointSize(point.getSize());
    gl.set(GL_POINT_SMOOTH, point.getSmooth());
    if (point.getMinSize() >= 0) {
        const GLfloat attenuation[] = {point.getConstantAttenuation(), point.getLinearAttenuation(),
                                       point.getQuadraticAttenuation()};
        gl.PointParameterf(GL_POINT_SIZE_MIN, point.getMinSize());
        gl.PointParameterf(GL_POINT_SIZE_MAX, point.getMaxSize());
        gl.PointParameterf(GL_POINT_FADE_THRESHOLD_SIZE, point.getFadeThreshold());
        gl.PointParameterfv(GL_POINT_DISTANCE_ATTENUATION, attenuation);
    }
    gl.set(GL_POINT_SPRITE, point.getSprite());
}

void resetPoint(Frame& frame, unsigned int)
{
    const Gl& gl = frame.gl;
    gl.PointSize(1);
    gl.Disable(GL_POINT_SMOOTH);
    gl.Disable(GL_POINT_SPRITE);
    gl.PointParameterf(GL_POINT_SIZE_MIN, 0);
    gl.PointParameterf(GL_POINT_SIZE_MAX, largestPoint);
    gl.PointParameterf(GL_POINT_FADE_THRESHOLD_SIZE, 1);
    gl.PointParameterfv(GL_POINT_DISTANCE_ATTENUATION, noAttenuation);
}
} // namespace

const ChunkRow polygonChunkRow = {&osg::PolygonChunk::getStaticClass, &applyPolygon, &resetPolygon};
const ChunkRow lineChunkRow = {&osg::LineChunk::getStaticClass, &applyLine, &resetLine};
const ChunkRow pointChunkRow = {&osg::PointChunk::getStaticClass, &applyPoint, &resetPoint};

} // namespace zyscene::render
