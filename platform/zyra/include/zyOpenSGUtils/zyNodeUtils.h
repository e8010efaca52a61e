#ifndef ZYNODEUTILS_H
#define ZYNODEUTILS_H

#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGNode.h>

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
