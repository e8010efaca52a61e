#pragma once

#include "RunContext.h"

#include <OpenSG/OSGNode.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zyscene
{

class JsonWriter;

/// One kind of what a Kelda scene does not take from a scene graph.
struct LossKind {
    const char* code; ///< stable: "node-inactive", "uv-set", ...
    Issue::Severity
        severity;     ///< a warning: something is missing or looks different; a note: only kept differently
    const char* what; ///< for people: "lights are not written"
};

/// The kinds, in the order of reports.
enum class Loss {
    Inactive,    ///< with everything below
    Coreless,    ///< with everything below
    Light,       ///< and other cores that nothing is created for; what is below them is written
    Surface,     //
    UnknownCore, //
    EmptyMesh,   ///< geometry of no triangle
    PointsLines, //
    Shear,       ///< of transforms that are given by their matrix; the projective part too
    Refused,     ///< components and matrices that are no numbers or infinite
    Orientation, ///< rotationOrientation of Transform3D
    Coarse, ///< rotations whose fourth component does not tell the angle: small ones, no unit quaternions
    ChildrenMoved,  ///< below a geometry with a transform of its own
    SwitchHidden,   ///< a child without an object of its own is not chosen: the switch itself is hidden
    SwitchGeometry, ///< first use of a geometry, directly below a switch that does not choose it
    Material,       //
    Colors,         //
    FurtherUVs,     ///< texture coordinates beyond channel 0
    UVComponents,   ///< third and fourth
    PositionW,      //
    Attachment,     ///< other than names
    Group,          ///< group cores with a meaning of their own: material groups, pools, ...
    Switch,         ///< its choice becomes visibility
    SharedCore,     ///< of groups and transforms
    Polygons,       ///< polygons, strips and so on, which become separate triangles
    NormalsMade,    ///< of geometry without: the modeller's own
    Renamed,        //
    Unnamed         //
};
constexpr std::size_t lossCount = static_cast<std::size_t>(Loss::Unnamed) + 1;
extern const std::array<LossKind, lossCount> lossKinds;

/// What an export of a scene graph to a Kelda scene does not carry over.
class LossReport
{
public:
    /// What was lost of one kind.
    struct Entry {
        std::uint64_t count = 0; ///< nodes; what is lost of a core is counted at its first node
        std::vector<std::string>
            nodes; ///< their names in depth-first order; of lost subtrees the topmost ones
    };

    /// Looks at everything at and below `root`, which may be null. Linear in nodes and primitives.
    explicit LossReport(const osg::NodePtr& root = osg::NullFC);

    const Entry& operator[](Loss loss) const { return _entries[static_cast<std::size_t>(loss)]; }

    /// Reports each kind that occurs as one issue of the file: as a warning or as a note.
    void report(RunContext& context, const std::string& file) const;

    /// The kinds that occur, as an array.
    void write(JsonWriter& json) const;

private:
    std::array<Entry, lossCount> _entries;
};

/// Changes a scene graph into what its export can carry of it, as far as things are drawn at other places or
/// hidden: comparing with the result tells whether the export lost anything that the report does not name. Of
/// what else is lost, inactive nodes for example, a comparison has to be told.
void applyLosses(const osg::NodePtr& root);

} // namespace zyscene
