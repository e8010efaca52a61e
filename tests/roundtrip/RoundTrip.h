#pragma once

// What the round-trip tests share: trips through a scene file, small graphs, and a plain look at what a graph
// draws.

#include "Graphs.h"

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGTransform3D.h>

#include <array>
#include <string>
#include <vector>

// -- Trips ---------------------------------------------------------------------------------------------

/// A folder of its own, removed at the end.
class TripFolder
{
public:
    TripFolder();
    ~TripFolder();
    TripFolder(const TripFolder&) = delete;
    TripFolder& operator=(const TripFolder&) = delete;

    /// Writes the graph through the scene file handler, as "trip" with the suffix, and reads it back.
    /// Textures of former trips go before. Null when one of the two fails. What the module prints is
    /// swallowed.
    osg::NodePtr trip(const osg::NodePtr& root, const std::string& suffix) const;
    std::string operator/(const std::string& name) const { return _path + "/" + name; }

private:
    std::string _path;
};

// -- What a graph draws --------------------------------------------------------------------------------

/// Position, normal and texture coordinates of three corners, as bits; the least of its three rotations.
typedef std::array<osg::UInt32, 24> TriangleBits;

/// The values of a material made of chunks.
struct SeenMaterial {
    std::string name;
    std::vector<float> colors; ///< diffuse, ambient and specular without alpha, shininess
    float opacity = 1;         ///< where it is blended
    osg::ImagePtr texture;     ///< the first; null: none. Not referenced.
};

/// A geometry with triangles at one place in the tree.
struct SeenUse {
    std::string name; ///< of the node, as it is
    osg::NodeCorePtr core;
    osg::Matrix place; ///< world matrix with the geometry's own transform
    bool shown;
    std::vector<TriangleBits> triangles; ///< sorted
    SeenMaterial material;               ///< the geometry's own
};

/// All uses in depth-first order, those below inactive nodes only when asked for. None of a null
/// root.
std::vector<SeenUse> lookAt(const osg::NodePtr& root, bool withInactive);

/// The largest distance between where the two matrices put the corners of the box around the triangles.
double distanceOf(const SeenUse& first, const SeenUse& second);
/// Diagonal of the box around the origin and everything drawn.
double sizeOf(const std::vector<SeenUse>& uses);

/// Whether inactive nodes of the first graph are expected in the second.
enum class Inactive { GoneInSecond, Kept };

/// Differences as text, for messages; those in structure, too.
/// @param tolerance  negative: 1e-5 of the size
std::string differencesBetween(const osg::NodePtr& first, const osg::NodePtr& second,
                               Inactive inactive = Inactive::GoneInSecond, double tolerance = -1);

// -- Small graphs --------------------------------------------------------------------------------------

/// One triangle, moved so that it differs from those of other numbers.
osg::GeometryPtr makeTriangle(int number);
osg::Transform3DPtr makeMove(float x, float y, float z);
