#pragma once

#include <OpenSG/OSGNode.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zyscene
{

class JsonWriter;

/// What two scenes are compared by.
struct CompareOptions {
    /// Distance, in units of the scenes, by which what is drawn may be off its place. Negative:
    /// defaultTolerance of the size of the larger scene, the origin counted as part of it.
    double tolerance = -1;

    bool names = true;
    bool materials = true;
    bool normals = true;
    /// Geometry of the first scene without normals agrees with any normals: the way through a Kelda scene
    /// makes some.
    bool normalsMade = false;
    bool uvs = true;

    /// Whether triangles are compared bit for bit. Otherwise by their number, by where the box around them
    /// is, and by their texture coordinates alone: what has been computed in another order agrees no better.
    bool exactTriangles = true;

    /// The node structure too: names, places and activity of the nodes between root and geometry.
    bool tree = false;

    /// What is below inactive nodes of the first scene is left out, as an export leaves it out. What a switch
    /// does not show stays in.
    bool ignoreInactive = false;

    /// Points and lines are drawn, too. An export carries triangles only.
    bool pointsAndLines = true;
};

/// Of the size of a scene; single-precision matrices that were taken apart and put together again agree by
/// it.
constexpr double defaultTolerance = 1e-5;

/// One thing in which two scenes differ.
struct Difference {
    enum Kind {
        Missing,    ///< a use of a geometry, in the first scene only
        Extra,      ///< the same, in the second only
        Renamed,    ///< same place and triangles, other name
        Moved,      ///< same name and triangles, other place
        Triangles,  ///< same name, other triangles
        Normals,    ///< same triangles, other normals
        UVs,        ///< same triangles, other texture coordinates
        Visibility, ///< shown in one of the scenes only
        Material,   ///< other material
        Structure   ///< of the nodes (CompareOptions::tree)
    };
    static constexpr int kindCount = Structure + 1;

    Kind kind;
    osg::NodePtr first;  ///< node of the first scene; null when it has none. Not referenced.
    osg::NodePtr second; ///< the same of the second scene
    std::string text;    ///< what differs, for people: "at (1, 0, 0) and (2, 0, 0)". Without the node.

    /// The node to tell it by.
    const osg::NodePtr& node() const { return first != osg::NullFC ? first : second; }
};

/// The kind's word in reports: "missing", "moved", ...
const char* nameOf(Difference::Kind kind);

/// Kind, node and text: "moved /car/door: at (1, 0, 0) and (2, 0, 0)".
std::string lineOf(const Difference& difference);
/// The same as one object.
void writeDifference(JsonWriter& json, const Difference& difference);

/// What differs, by kind and within a kind in the order of the scenes; empty: nothing.
///
/// Scenes are compared by what they draw. A use is a geometry at one place in the tree; uses of the two
/// scenes are paired by name, triangles and place, and each pair is looked at:
///
/// - Name: as an export makes it legal (see legalName()); a use has the name of its core's first use, since
/// an
///   instance shares the shape. Names that the modeller gives to what has none are no names, and a number
///   that it appended because the name was taken is no difference.
/// - Place: the world matrix with the geometry's own transform, by where it puts the box of the geometry.
/// - Triangles with their normals and first texture coordinates: as multisets, bit for bit, in object space,
///   whatever primitives they come from. Further texture coordinates count where both have them.
/// - Visibility: inactive nodes and what a switch does not show are invisible with all that is below them.
/// - Material: the look, not the objects it is made of.
///
/// Geometry that draws nothing is no use. Null roots are empty scenes. Depth is limited by memory only; time
/// is linear in nodes and triangles but for sorting.
std::vector<Difference> compareScenes(const osg::NodePtr& first, const osg::NodePtr& second,
                                      const CompareOptions& options);

/// The name as an export writes it: a leading digit and everything that is no ASCII letter or digit becomes
/// "_".
std::string legalName(const std::string& name);

/// Where a node is: the names from the root down, "/car/doors/door_left"; a number, from 1, behind names that
/// siblings share.
std::string pathOf(const osg::NodePtr& node);

} // namespace zyscene
