#ifndef ZYNODEUTILS_H
#define ZYNODEUTILS_H

#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGQuaternion.h>
#include <OpenSG/OSGVector.h>

#include <functional>
#include <string>

/// Operations on nodes and on the geometry below them.
///
/// None of them recurses: trees may be as deep as memory allows. Null nodes are accepted everywhere.
class ZYOPENSGUTILS_API zyNodeUtils
{
public:
    /// @name Names
    /// @{

    /// Names `node`.
    /// @param overwrite    whether a name that is there already, and is not empty, is replaced.
    /// @param uniqueBelow  a subtree in which no second node may have the name: where one has, "_1", "_2",
    ///                     ... is appended until the name is free. Null: names need not be unique. Each call
    ///                     with a subtree looks at all of it.
    static void setName(const osg::NodePtr& node, const std::string& name, bool overwrite,
                        const osg::NodePtr& uniqueBelow);

    /// The node's name; "" when it has none.
    static std::string getName(const osg::NodePtr& node);

    /// @}
    /// @name Materials
    /// @{

    /// The material that the node's own core brings: a drawable's or a material group's. Null when it brings
    /// none, or the node is null; ancestors are not asked.
    static osg::MaterialPtr getMaterial(const osg::NodePtr& node);

    /// @}
    /// @name Structure
    /// @{

    /// Puts `parent` into the place of `node` below the node's former parent, at the same index, and hangs
    /// `node` below it as its last child. A `parent` that has a parent of its own is taken away from there.
    /// Below a node that has no parent nothing can be taken: there `parent` keeps its place and only receives
    /// the child.
    /// @return false, with nothing changed, when one of the two is null, both are the same, or the result
    ///         would be a cycle. True without a change when `parent` is the node's parent already.
    static bool insertParentNode(const osg::NodePtr& node, const osg::NodePtr& parent);

    /// @}
    /// @name Matrices
    /// @{

    /// Splits the 4x4 matrix of a transformation into matrix = T R S: translation, then rotation, then scale
    /// along the object's own axes.
    ///
    /// By polar decomposition: R is the rotation nearest to the 3x3 part, S what then comes nearest to it;
    /// for a matrix without shear the product is the matrix again up to single precision. Shear and the
    /// projective row are left out.
    ///
    /// - A matrix that mirrors has three scales below zero, whichever axes were mirrored.
    /// - An axis of scale 0 gives scale 0; the rotation keeps the other axes and completes them.
    /// - A translation or 3x3 part with a value that is not finite: the identity.
    ///
    /// @param rotation  of length 1
    static void decomposeMatrix(const osg::Matrix& matrix, osg::Vec3f& translation, osg::Quaternion& rotation,
                                osg::Vec3f& scale);

    /// Angles in degrees about x, y and z, in this order about fixed axes: rotation = Rz Ry Rx. x and z are
    /// within 180 degrees either way, y within 90. At y = +-90, where only x and z together are defined, z is
    /// 0.
    /// @param rotation  its 3x3 part must be orthonormal; the rest is not looked at
    static void cnvMatToEul(const osg::Matrix& rotation, osg::Vec3f& degrees);

    /// @}
    /// @name Geometry repair
    /// @{

    /// What repairGeometry() did to one geometry.
    struct Repair {
        std::string nodeName;    ///< the first node, in depth-first order, that has the geometry as its core
        std::string what;        ///< for people: each kind of damage and how often it was met
        unsigned int primitives; ///< primitives dropped
        unsigned int triangles;  ///< triangles that these would have given if they had been sound
    };

    typedef std::function<void(const Repair&)> RepairObserver;

    /// Makes the geometries at and below `root` safe to draw and to walk. Geometry cores with several parents
    /// are looked at once. Sound geometry stays bit for bit as it is and is only read.
    ///
    /// Dropped with their lengths and index entries:
    /// - primitives with fewer corners than their type needs, or of no known type;
    /// - polygons with fewer than three different position indices;
    /// - primitives with a corner beyond the end of the indices (without indices: of one of the properties),
    ///   or with an index beyond the end of the positions or of a property that shares the positions' index
    ///   column;
    /// - types without a length, lengths without a type, and index entries behind the last primitive.
    ///
    /// An index of another column beyond the end of its property becomes 0: a face is worth more than one
    /// wrong normal or texture coordinate. A property without any value counts as absent.
    ///
    /// Geometry without types draws nothing and is not looked at. Geometry without indices keeps its
    /// properties as they are: where a primitive goes that others follow, it receives indices for those that
    /// stay.
    ///
    /// Types, lengths and indices that another geometry shares are copied before they are changed. Each
    /// repaired geometry gives one warning in the log and one call of the observer.
    ///
    /// @return the number of primitives dropped, corners corrected and surplus entries (types, lengths,
    ///         corners) removed.
    static unsigned int repairGeometry(const osg::NodePtr& root);

    /// Has `observer` called for each geometry that is repaired from now on; an empty one ends that. It must
    /// not change the scene.
    /// @return the observer that was there.
    static RepairObserver setRepairObserver(RepairObserver observer);

    /// @}
};

#endif
