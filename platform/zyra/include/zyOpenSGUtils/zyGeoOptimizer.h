#ifndef ZYGEOOPTIMIZER_H
#define ZYGEOOPTIMIZER_H

#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGNode.h>

/// Makes geometry smaller without changing what it draws.
///
///     zyGeoOptimizer optimizer(true);
///     optimizer.setUnifyVertices(true);
///     optimizer.run(root);
///
/// What is drawn stays bit for bit the same: primitives, their order, their corners and every value at every
/// corner.
class ZYOPENSGUTILS_API zyGeoOptimizer
{
public:
    /// @param keepSharing  true: properties that several geometries share stay shared, and are optimised for
    ///                     all of them together. false: each geometry gets properties of its own first, with
    ///                     only the values that it uses; this is for scenes whose parts are to be edited or
    ///                     saved one by one.
    explicit zyGeoOptimizer(bool keepSharing);

    /// Whether run() unifies vertices: within each property of indexed geometry, values that are equal bit
    /// for bit become one, values that no index refers to are dropped, and the index columns follow. The
    /// values that stay keep their order. Properties that share an index column are unified as tuples. Off
    /// initially.
    void setUnifyVertices(bool unify);
    bool getUnifyVertices() const { return _unifyVertices; }

    /// Optimises the geometry cores at and below `root`, each once. Where nothing can be merged or dropped
    /// nothing is written, copied or marked as edited.
    ///
    /// Left as it is:
    /// - geometry without indices, or with anything odd about it (an index beyond its property, indices that
    ///   end within a corner, several index columns but none for one of the properties), and every property
    ///   that it uses;
    /// - with `keepSharing`, a property that anything outside the geometries below `root` refers to;
    /// - a property that is indexed alone in one place and as part of a tuple in another, or whose indices
    ///   mean different things to the geometries that share them.
    ///
    /// Time and memory are linear in the number of indices and values.
    void run(const osg::NodePtr& root) const;

private:
    bool _keepSharing;
    bool _unifyVertices;
};

#endif
