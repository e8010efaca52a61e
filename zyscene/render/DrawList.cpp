#include "DrawList.h"

#include "SurfaceShape.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <OpenSG/OSGTransform3D.h>
#include <OpenSG/OSGTransformChunk.h>
#include <zyOpenSGUtils/zyLights.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace zyscene::render
{

// -- Walk --------------------------------------------------------------------------------------------------

/// A node whose children are being looked at.
struct DrawList::Open {
    osg::NodePtr node;
    WorldMatrix world;         ///< its core's matrix included
    osg::MaterialPtr material; ///< of the nearest material group at or above it
    osg::UInt32 next = 0;      ///< child
    osg::UInt32 end = 0;
};

namespace
{
constexpr std::size_t noShape = std::numeric_limits<std::size_t>::max();
// Cells of all surfaces together, before they get coarse.
constexpr std::size_t maxCellsOfScene = std::size_t(1) << 22;

// The children that a core lets through.
void chooseChildren(const osg::NodePtr& node, osg::UInt32& next, osg::UInt32& end)
{
    next = 0;
    end = node->getNChildren();
    const osg::SwitchPtr chooser = osg::SwitchPtr::dcast(node->getCore());
    if (chooser == osg::NullFC || chooser->getChoice() == osg::Switch::ALL)
        return;
    const osg::Int32 choice = chooser->getChoice();
    if (choice < 0 || static_cast<osg::UInt32>(choice) >= end) {
        end = 0;
    } else {
        next = static_cast<osg::UInt32>(choice);
        end = next + 1;
    }
}
} // namespace

DrawList::DrawList(const osg::NodePtr& root, const TessellationOptions& tessellation)
    : _tessellation(tessellation), _cellsLeft(maxCellsOfScene)
{
    if (root == osg::NullFC)
        return;
    // With a stack of its own: trees may be as deep as memory allows.
    std::vector<Open> stack;
    stack.push_back({root, WorldMatrix(), osg::NullFC});
    enter(stack.back());
    while (!stack.empty()) {
        Open& open = stack.back();
        if (open.next == open.end) {
            stack.pop_back();
            continue;
        }
        Open below = {open.node->getChild(open.next++), open.world, open.material};
        enter(below);
        stack.push_back(below);
    }
}

void DrawList::enter(Open& open)
{
    const osg::NodeCorePtr core = open.node->getCore();
    if (core == osg::NullFC || open.node->getTravMask() == 0)
        return;

    const osg::TransformPtr transform = osg::TransformPtr::dcast(core);
    if (transform != osg::NullFC)
        open.world.mult(WorldMatrix(transform->getMatrix()));
    const osg::MaterialGroupPtr group = osg::MaterialGroupPtr::dcast(core);
    if (group != osg::NullFC && group->getMaterial() != osg::NullFC)
        open.material = group->getMaterial();

    const osg::LightPtr light = osg::LightPtr::dcast(core);
    if (light != osg::NullFC && light->getOn()) {
        const osg::NodePtr beacon = light->getBeacon();
        _lights.push_back({light, zyLights::getLightValue(open.node),
                           beacon != osg::NullFC ? WorldMatrix(beacon->getToWorld()) : open.world});
    }
    addItem(core, open);
    chooseChildren(open.node, open.next, open.end);
}

// -- Shapes ------------------------------------------------------------------------------------------------

Shape DrawList::shapeOfSurface(const osg::Surface& surface, const osg::NodePtr& node)
{
    TessellationOptions options = _tessellation;
    options.maxCells = std::min(options.maxCells, _cellsLeft);
    SurfaceMesh mesh;
    const std::string problem = tessellate(surface, options, mesh);
    const osg::Char8* const name = osg::getName(node);
    const std::string shown = "surface '" + std::string(name != nullptr ? name : "") + "'";
    if (!problem.empty())
        _notices.push_back(shown + " is not drawn: " + problem);
    else if (mesh.coarse)
        _notices.push_back(shown + " is drawn more coarsely than the tolerance asks for");
    _cellsLeft -= std::min(_cellsLeft, mesh.triangleCount() / 2);
    return makeShape(mesh);
}

std::size_t DrawList::shapeOf(const osg::NodeCorePtr& core, const osg::NodePtr& node)
{
    const auto found = _shapesByCore.emplace(core.getBaseCPtr(), noShape);
    if (found.second) {
        const osg::SurfacePtr surface = osg::SurfacePtr::dcast(core);
        Shape shape = surface != osg::NullFC ? shapeOfSurface(*surface, node)
                                             : makeShape(osg::GeometryPtr::dcast(core));
        if (!shape.drawsNothing()) {
            found.first->second = _shapes.size();
            _shapes.push_back(std::move(shape));
        }
    }
    return found.first->second;
}

void DrawList::addItem(const osg::NodeCorePtr& core, const Open& open)
{
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(core);
    if (geometry == osg::NullFC)
        return;
    const std::size_t shape = shapeOf(core, open.node);
    if (shape == noShape)
        return;
    osg::MaterialPtr material = open.material != osg::NullFC ? open.material : geometry->getMaterial();
    if (material == osg::NullFC)
        material = osg::getDefaultMaterial();
    const PassRange passes = passesOf(material);
    if (passes.count == 0)
        return;
    _items.push_back({shape, passes.first, passes.count, open.world});
    if (geometry->getTransform() != osg::NullFC)
        _items.back().world.mult(WorldMatrix(geometry->getTransform()->getMatrix()));
}

// -- Materials ---------------------------------------------------------------------------------------------

namespace
{
osg::StatePtr stateOf(const osg::MaterialPtr& material, osg::UInt32 number)
{
    osg::StatePtr state = material->getState(number);
    // A material that was never edited has none yet; one that is made of others leaves that to them.
    osg::MaterialPtr maker = material;
    while (state == osg::NullFC && maker != osg::NullFC) {
        maker->rebuildState();
        state = material->getState(number);
        const osg::MultiPassMaterialPtr passes = osg::MultiPassMaterialPtr::dcast(maker);
        const osg::SwitchMaterialPtr chooser = osg::SwitchMaterialPtr::dcast(maker);
        if (passes != osg::NullFC && number < passes->getMaterials().size()) {
            maker = passes->getMaterials(number);
            number = 0;
        } else {
            maker = chooser != osg::NullFC ? chooser->getCurrentMaterial() : osg::MaterialPtr();
        }
    }
    return state;
}

// A chunk of the class's only place; null when it is to be ignored.
template <class ChunkPtr, class Chunk>
ChunkPtr chunkOf(const osg::StatePtr& state)
{
    if (state == osg::NullFC)
        return ChunkPtr();
    const ChunkPtr chunk = ChunkPtr::dcast(state->getChunk(Chunk::getStaticClassId()));
    return chunk != osg::NullFC && chunk->getIgnore() ? ChunkPtr() : chunk;
}

bool needsBackground(const osg::BlendChunk& blend)
{
    const GLenum source = blend.getSrcFactor();
    return blend.isTransparent() || source == GL_DST_COLOR || source == GL_ONE_MINUS_DST_COLOR ||
           source == GL_DST_ALPHA || source == GL_ONE_MINUS_DST_ALPHA;
}

// Whether the blending shows the background through as far as alpha is below 1, and does nothing else.
bool coversByAlpha(const osg::BlendChunk& blend)
{
    constexpr GLenum asColor = 0xffff;
    return blend.getSrcFactor() == GL_SRC_ALPHA && blend.getDestFactor() == GL_ONE_MINUS_SRC_ALPHA &&
           (blend.getEquation() == GL_NONE || blend.getEquation() == GL_FUNC_ADD) &&
           blend.getAlphaFunc() == GL_NONE && blend.getAlphaSrcFactor() == asColor &&
           blend.getAlphaDestFactor() == asColor;
}

Pass passOf(const osg::MaterialPtr& material, osg::UInt32 number)
{
    Pass pass = {stateOf(material, number), material, false, false, false, WorldMatrix()};
    const auto blend = chunkOf<osg::BlendChunkPtr, osg::BlendChunk>(pass.state);
    switch (material->getTransparencyMode()) {
    case osg::Material::TransparencyForceTransparent:
        pass.blended = true;
        break;
    case osg::Material::TransparencyForceOpaque:
        break;
    default:
        pass.blended = blend != osg::NullFC && needsBackground(*blend);
        break;
    }
    pass.covers = pass.blended && (blend == osg::NullFC || coversByAlpha(*blend));

    const auto move = chunkOf<osg::TransformChunkPtr, osg::TransformChunk>(pass.state);
    if (move != osg::NullFC) {
        pass.moved = true;
        pass.object = WorldMatrix(move->getMatrix());
    }
    return pass;
}
} // namespace

DrawList::PassRange DrawList::passesOf(const osg::MaterialPtr& material)
{
    const auto found = _passesByMaterial.find(material.getBaseCPtr());
    if (found != _passesByMaterial.end())
        return found->second;
    const PassRange range = {_passes.size(), material->getNPasses()};
    for (osg::UInt32 i = 0; i < range.count; ++i)
        _passes.push_back(passOf(material, i));
    return _passesByMaterial.emplace(material.getBaseCPtr(), range).first->second;
}

} // namespace zyscene::render
