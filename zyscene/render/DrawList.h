#pragma once

#include "Shape.h"

#include "tessellation/Tessellation.h"

#include <OpenSG/OSGLight.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGNode.h>

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace zyscene::render
{

/// Composed in double precision, so that depth does not cost places.
typedef osg::TransformationMatrix<osg::Real64> WorldMatrix;

/// One drawing of a shape with one state.
struct Pass {
    osg::StatePtr state;    ///< null: nothing but what holds without any chunk
    osg::MaterialPtr owner; ///< the material that the pass is of
    bool blended;           ///< drawn after what hides or shows through, from the far to the near
    bool covers;            ///< blended, but where its alpha is 1 nothing shows through
    bool moved;             ///< whether `object` is not the identity
    WorldMatrix object;     ///< between the object and its node
};

/// A shape at a place in the world.
struct Item {
    std::size_t shape;
    std::size_t firstPass;
    std::size_t passCount;
    WorldMatrix world; ///< with the drawable's own transform
};

struct LightUse {
    osg::LightPtr light;
    float value;       ///< the host's factor of its colours
    WorldMatrix world; ///< of the system that its position and direction are in
};

/// What a scene draws, in the order in which the graph has it: inactive nodes, what a switch does not choose,
/// and what is below a node without a core are left out. The material of the nearest material group above
/// goes before that of the geometry. Surfaces are drawn as triangles; those that are damaged are left out.
///
/// Handles are good as long as the scene lives and does not change. Time and memory are linear in the nodes
/// and corners; cores that several nodes share are looked at once.
class DrawList
{
public:
    explicit DrawList(const osg::NodePtr& root,
                      const TessellationOptions& tessellation = TessellationOptions());
    DrawList(const DrawList&) = delete;
    DrawList& operator=(const DrawList&) = delete;

    const std::vector<Item>& items() const { return _items; }
    const std::vector<Shape>& shapes() const { return _shapes; }
    const std::vector<Pass>& passes() const { return _passes; }
    /// Those that are on.
    const std::vector<LightUse>& lights() const { return _lights; }
    /// What is to be said about surfaces: which are left out, and why.
    const std::vector<std::string>& notices() const { return _notices; }

private:
    struct Open;
    struct PassRange {
        std::size_t first;
        std::size_t count;
    };

    void enter(Open& open);
    void addItem(const osg::NodeCorePtr& core, const Open& open);
    /// Number of the shape; `noShape` when the core draws nothing.
    std::size_t shapeOf(const osg::NodeCorePtr& core, const osg::NodePtr& node);
    Shape shapeOfSurface(const osg::Surface& surface, const osg::NodePtr& node);
    PassRange passesOf(const osg::MaterialPtr& material);

    std::vector<Item> _items;
    std::vector<Shape> _shapes;
    std::vector<Pass> _passes;
    std::vector<LightUse> _lights;
    std::vector<std::string> _notices;
    TessellationOptions _tessellation;
    std::size_t _cellsLeft; ///< for the surfaces to come
    std::unordered_map<const void*, std::size_t> _shapesByCore;
    std::unordered_map<const void*, PassRange> _passesByMaterial;
};

} // namespace zyscene::render
