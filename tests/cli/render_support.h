#pragma once

// Pictures of small graphs, and what they are compared with.

#include <render/Renderer.h>

#include "Graphs.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGTextureChunk.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

/// A colour, 0..255.
struct Rgb {
    int r;
    int g;
    int b;
};
std::ostream& operator<<(std::ostream& out, const Rgb& color);
/// Whether no channel differs by more.
bool isNear(const Rgb& a, const Rgb& b, int tolerance = 2);
/// 0..1 as OpenGL writes it: cut to that range.
Rgb rgb(double r, double g, double b);

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels; ///< RGB, rows from the top down
    std::vector<std::string> notices;
    std::string problem;

    Rgb at(int x, int y) const;
    /// At this part of the width and height.
    Rgb at(double x, double y) const { return at(int(x * width), int(y * height)); }
    Rgb middle() const { return at(width / 2, height / 2); }
    /// Pixels that are not of this colour.
    int countOthers(const Rgb& color) const;
};

/// 160x90 on black, seen from the front.
zyscene::render::PictureOptions smallPicture();

/// Draws the graph and lets go of it.
Picture draw(const osg::NodePtr& root, const zyscene::render::PictureOptions& options = smallPicture());

Picture readPicture(const std::string& file);

/// Compares with golden/render/NAME.png: hardly any pixel may differ visibly. With UPDATE_GOLDEN=1 in the
/// environment the file is written instead.
void expectGolden(const Picture& picture, const std::string& name);

/// Everything below, and what is handed over here, lives until the end of the test: it may be drawn several
/// times.
void keep(const osg::FieldContainerPtr& container);

// -- Things to draw ----------------------------------------------------------------------------------

/// -1..1 in x and y, facing +z, texture coordinates 0..1.
osg::GeometryPtr makeQuad(float z = 0, float size = 1);
/// A ball of radius 1 around the origin, with normals and texture coordinates.
osg::GeometryPtr makeBall(int slices = 32);
osg::NodePtr makeDrawn(const osg::GeometryPtr& geometry, const osg::MaterialPtr& material);
osg::NodePtr transformed(const osg::NodePtr& node, const osg::Matrix& matrix);
osg::NodePtr moved(const osg::NodePtr& node, float x, float y, float z);
osg::NodePtr turned(const osg::NodePtr& node, const osg::Vec3f& axis, float degrees);

// -- Materials ---------------------------------------------------------------------------------------

osg::ChunkMaterialPtr makeMaterial(const std::vector<osg::StateChunkPtr>& chunks);
osg::MaterialChunkPtr makeUnlit(float r, float g, float b, float a = 1);
osg::MaterialChunkPtr makeLit(float r, float g, float b, float a = 1);
/// 8 bits for each channel, rows from the bottom up.
osg::ImagePtr makeImage(osg::UInt32 pixelFormat, int width, int height,
                        const std::vector<osg::UInt8>& pixels);
/// A board of white and coloured fields with a black one at the origin.
osg::ImagePtr makeBoard(int fields, osg::UInt8 r, osg::UInt8 g, osg::UInt8 b);
/// Without filtering.
osg::TextureChunkPtr makeTexture(const osg::ImagePtr& image, GLenum envMode);
