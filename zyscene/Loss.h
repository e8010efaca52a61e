#pragma once

#include "RunContext.h"

#include <array>
#include <cstddef>

namespace zyscene
{

/// One kind of what a Kelda scene does not take from a scene graph.
struct LossKind {
    enum Subject { Nodes, Materials };

    const char* code; ///< stable: "node-inactive", "uv-set", ...
    Issue::Severity
        severity;     ///< a warning: something is missing or looks different; a note: only kept differently
    Subject subject;  ///< what is counted and named
    const char* what; ///< for people: "lights are not written"
};

/// The kinds, in the order of reports.
enum class Loss {
    Inactive,        ///< with everything below
    Coreless,        ///< with everything below
    Light,           ///< and other cores that nothing is created for; what is below them is written
    Surface,         ///< without homogeneous control points
    SurfaceWeights,  ///< of control points, which change the shape
    SurfaceMaterial, ///< and what else a geometry hands on
    UnknownCore,     //
    EmptyMesh,       ///< geometry of no triangle
    PointsLines,     //
    Shear,           ///< of transforms that are given by their matrix; the projective part too
    Refused,         ///< components and matrices that are no numbers or infinite
    Orientation,     ///< rotationOrientation of Transform3D
    Coarse, ///< rotations whose fourth component does not tell the angle: small ones, no unit quaternions
    ChildrenMoved,  ///< below a geometry with a transform of its own
    SwitchHidden,   ///< a child without an object of its own is not chosen: the switch itself is hidden
    SwitchGeometry, ///< first use of a geometry, directly below a switch that does not choose it
    Colors,         //
    FurtherUVs,     ///< texture coordinates beyond channel 0
    UVComponents,   ///< third and fourth
    PositionW,      //
    Attachment,     ///< other than names

    MaterialGroup,    ///< that replaces the material of a geometry below it
    MaterialInstance, ///< further uses of a geometry, with another material than the first
    MaterialPasses,   ///< made of others, of which the first is written
    MaterialDefault,  ///< without colours, or of no chunks
    MaterialMeasured, ///< what they have beside their analytic values
    MaterialRefused,  ///< colours that are no numbers or infinite
    Unlit,            //
    Emission,         //
    BackFaces,        ///< values of their own
    Blending,         ///< other than by alpha
    Chunk,            ///< of any other class
    FurtherTextures,  ///< beyond the first
    Environment,      ///< other than modulate
    TextureMatrix,    //
    Sampling,         ///< filters, wrapping
    ImageFormat,      ///< that PNG does not have
    ImageName,        ///< several images for one file
    TexGenFunction,   ///< other than object-linear
    TexGenFurther,    ///< third and fourth coordinate, beacons
    TexGenBent,       ///< planes that no placement has
    TexGenUnplaced,   ///< by a placement whose name a later node has, too
    TexGenMoved,      ///< coordinates generated from those of a geometry that is not in the world's

    Group,          ///< group cores with a meaning of their own: material groups, pools, ...
    Switch,         ///< its choice becomes visibility
    SharedCore,     ///< of groups and transforms
    Polygons,       ///< polygons, strips and so on, which become separate triangles
    NormalsMade,    ///< of geometry without: the modeller's own
    Flushed,        ///< transformations, into the geometry below them
    Renamed,        //
    Unnamed,        //
    Alpha,          ///< of materials that are not blended
    Gain,           ///< of a texture, for a diffuse colour
    MaterialRenamed ///< legal, unique, or made up
};
constexpr std::size_t lossCount = static_cast<std::size_t>(Loss::MaterialRenamed) + 1;
extern const std::array<LossKind, lossCount> lossKinds;

} // namespace zyscene
