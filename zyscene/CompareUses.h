#pragma once

#include "Compare.h"
#include "MaterialLook.h"

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGMatrix.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zyscene
{

/// World matrices are composed in double precision, so that depth does not cost places.
typedef osg::TransformationMatrix<osg::Real64> WorldMatrix;

// -- What is drawn of a geometry -----------------------------------------------------------------------

/// A multiset of triangles, lines and points, by count and sums of hashes: the order does not matter, every
/// bit of every corner does.
struct Digest {
    std::uint64_t triangles = 0;
    std::uint64_t others = 0; ///< points and pieces of lines
    std::uint64_t sum = 0;
    std::uint64_t mixedSum = 0;
    std::uint64_t attributes = 0; ///< which of the attributes asked for there are

    bool operator==(const Digest& other) const
    {
        return triangles == other.triangles && others == other.others && sum == other.sum &&
               mixedSum == other.mixedSum && attributes == other.attributes;
    }
    bool operator!=(const Digest& other) const { return !(*this == other); }
    bool operator<(const Digest& other) const;
    bool drawsNothing() const { return triangles == 0 && others == 0; }
};

/// Which values of a corner go into a digest.
struct Attributes {
    bool positions = true;
    bool normals = false;
    int uvChannel = -1; ///< -1: none

    bool operator<(const Attributes& other) const
    {
        return std::tie(positions, normals, uvChannel) <
               std::tie(other.positions, other.normals, other.uvChannel);
    }
};

constexpr int uvChannelCount = 8;

struct Box {
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
    bool empty = true;

    void extend(const double (&point)[3]);
    void extend(const Box& other);
};

/// A geometry core as it is drawn, whoever uses it.
class DrawnShape
{
public:
    DrawnShape(const osg::GeometryPtr& geometry, bool pointsAndLines);

    const osg::GeometryPtr& geometry() const { return _geometry; }
    const Box& box() const { return _box; }
    /// Computed at the first call for these attributes.
    const Digest& digest(const Attributes& attributes);
    bool hasNormals() const;
    bool hasUVs(int channel) const;

private:
    Digest compute(const Attributes& attributes, Box& box) const;

    osg::GeometryPtr _geometry;
    bool _pointsAndLines;
    bool _boxKnown = false;
    Box _box; ///< of what is drawn, in object space
    std::map<Attributes, Digest> _digests;
};

// -- Uses ----------------------------------------------------------------------------------------------

struct Use {
    osg::NodePtr node;
    DrawnShape* shape;
    const std::string* name; ///< see plainName()
    const MaterialLook* material;
    WorldMatrix world; ///< with the geometry's own transform
    bool visible;
    bool belowInactive;
};

/// What a scene draws. Handles and pointers are good as long as this and the scene live.
class DrawnScene
{
public:
    DrawnScene(const osg::NodePtr& root, bool ignoreInactive, const CompareOptions& options);
    DrawnScene(const DrawnScene&) = delete;
    DrawnScene& operator=(const DrawnScene&) = delete;

    /// In depth-first order.
    const std::vector<Use>& uses() const { return _uses; }
    /// Null when the core is no geometry or draws nothing.
    DrawnShape* shapeOf(const osg::NodeCorePtr& core);
    /// The name under which an export knows the geometry.
    const std::string& nameOf(const DrawnShape& shape) const;
    /// Diagonal of the box around the origin and all that is drawn.
    double size() const { return _size; }
    /// The names that materials take away from nodes.
    const std::unordered_set<std::string>& takenNames() const { return _takenNames; }

private:
    struct Open;

    void collect(const osg::NodePtr& root, bool ignoreInactive);
    void enter(const Open& open, std::vector<Open>& stack, bool ignoreInactive);
    void nameShapes();
    void measure();
    const MaterialLook* lookOf(const osg::MaterialPtr& material);

    const Attributes _attributes;
    const bool _pointsAndLines;
    std::vector<Use> _uses;
    std::deque<DrawnShape> _shapes;
    std::unordered_map<const void*, DrawnShape*> _shapesByCore;
    std::unordered_map<const DrawnShape*, std::string> _names;
    LookReader _reader;
    std::unordered_map<const void*, MaterialLook> _looks;
    std::unordered_set<std::string> _takenNames;
    double _size = 0;
};

/// The attributes of a corner that these options look at.
Attributes attributesOf(const CompareOptions& options);

/// Where the matrix puts a point: x, y, z, w.
void place(const WorldMatrix& matrix, const double (&point)[3], double (&result)[4]);
/// Corner 0..7 of a box.
void cornerOf(const Box& box, unsigned int corner, double (&result)[3]);

/// The name as an export makes it legal; "" where the modeller made it up ("transform12").
std::string plainName(const std::string& name);
/// Without the number at its end.
std::string withoutNumber(const std::string& name);

/// Whether the switch above the node, if there is one, shows it. `place` is its place among the children.
bool isShownByParent(const osg::NodePtr& parent, osg::UInt32 place);
/// The matrix of a transform core; identity for other cores.
osg::Matrix matrixOf(const osg::NodeCorePtr& core);

} // namespace zyscene
