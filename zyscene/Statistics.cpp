#include "Statistics.h"

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMaterial.h>
#include <zyOpenSGUtils/zyMaterials.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zyscene
{

const std::array<StatisticsRow, 13> statisticsRows = {{
    {"nodes", &Statistics::nodes},
    {"transforms", &Statistics::transforms},
    {"groups", &Statistics::groups},
    {"switches", &Statistics::switches},
    {"geometries", &Statistics::geometries},
    {"surfaces", &Statistics::surfaces},
    {"instances", &Statistics::instances},
    {"primitives", &Statistics::primitives},
    {"triangles", &Statistics::triangles},
    {"vertices", &Statistics::vertices},
    {"materials", &Statistics::materials},
    {"textures", &Statistics::textures},
    {"lights", &Statistics::lights},
}};

bool isKindOf(const osg::FieldContainerPtr& container, const char* typeName)
{
    const osg::FieldContainerType* type = container != osg::NullFC ? &container->getType() : nullptr;
    for (; type != nullptr; type = type->getParent()) {
        if (std::strcmp(type->getCName(), typeName) == 0)
            return true;
    }
    return false;
}

const osg::Field* valuesOf(const osg::FieldContainerPtr& property)
{
    if (property == osg::NullFC)
        return nullptr;
    return property->getField(property->getType().getNumFieldDescs());
}

// -- Primitives --------------------------------------------------------------------------------------

namespace
{
std::uint64_t trianglesOf(std::uint8_t type, std::uint64_t corners)
{
    switch (type) {
    case 4: // triangles
        return corners / 3;
    case 5: // strip, fan, quad strip, polygon
    case 6:
    case 8:
    case 9:
        return corners < 3 ? 0 : corners - 2;
    case 7: // quads; three corners that are left over make a triangle
        return corners / 4 * 2 + (corners % 4 == 3 ? 1 : 0);
    default: // points and lines
        return 0;
    }
}

template <class LengthT>
std::uint64_t sumTriangles(const std::uint8_t* types, const void* lengths, std::uint32_t count)
{
    const LengthT* const length = static_cast<const LengthT*>(lengths);
    std::uint64_t sum = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        sum += trianglesOf(types[i], length[i]);
    return sum;
}
} // namespace

PrimitiveCount countPrimitives(const osg::NodeCorePtr& core)
{
    PrimitiveCount result;
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(core);
    if (geometry == osg::NullFC)
        return result;
    const osg::Field* const types = valuesOf(geometry->getTypes());
    if (types == nullptr || types->getType().getElementSize() != 1)
        return result;
    const auto* const type = static_cast<const std::uint8_t*>(types->getBlock());
    result.primitives = types->getSize();

    const osg::Field* const lengths = valuesOf(geometry->getLengths());
    if (lengths == nullptr) {
        // Without lengths every primitive takes all corners.
        const osg::Field* const indices = valuesOf(geometry->getIndices());
        const osg::Field* const positions = valuesOf(geometry->getPositions());
        std::uint64_t corners = 0;
        if (indices != nullptr)
            corners = indices->getSize() / std::max<osg::UInt32>(1, geometry->getMFIndexMapping()->getSize());
        else if (positions != nullptr)
            corners = positions->getSize();
        for (std::uint32_t i = 0; i < types->getSize(); ++i)
            result.triangles += trianglesOf(type[i], corners);
        return result;
    }

    const std::uint32_t count = std::min(types->getSize(), lengths->getSize());
    switch (lengths->getType().getElementSize()) {
    case 1:
        result.triangles = sumTriangles<std::uint8_t>(type, lengths->getBlock(), count);
        break;
    case 2:
        result.triangles = sumTriangles<std::uint16_t>(type, lengths->getBlock(), count);
        break;
    case 4:
        result.triangles = sumTriangles<std::uint32_t>(type, lengths->getBlock(), count);
        break;
    }
    return result;
}

// -- The scene ---------------------------------------------------------------------------------------

namespace
{
void countCore(const osg::NodeCorePtr& core, Statistics& result)
{
    // The special kinds come first: transforms, switches and lights are groups, surfaces are geometries.
    static const struct {
        const char* kind;
        std::uint64_t Statistics::*count;
    } kinds[] = {
        {"Surface", &Statistics::surfaces},     {"Geometry", &Statistics::geometries},
        {"Transform", &Statistics::transforms}, {"Switch", &Statistics::switches},
        {"Light", &Statistics::lights},         {"Group", &Statistics::groups},
    };
    for (const auto& row : kinds) {
        if (isKindOf(core, row.kind)) {
            ++(result.*row.count);
            return;
        }
    }
}

// Texture chunks of a material; each chunk counts once in a scene.
void countTextures(const osg::MaterialPtr& material, std::unordered_set<const void*>& seen,
                   Statistics& result)
{
    const osg::Field* const chunks = material->getField("chunks");
    const osg::UInt32 count = chunks != nullptr ? chunks->getContainerCount() : 0;
    for (osg::UInt32 i = 0; i < count; ++i) {
        const osg::FieldContainerPtr chunk = chunks->getContainer(i);
        if (isKindOf(chunk, "TextureChunk") && seen.insert(chunk.getBaseCPtr()).second)
            ++result.textures;
    }
}
} // namespace

std::vector<osg::MaterialPtr> materialsOf(const osg::NodePtr& root)
{
    std::vector<osg::MaterialPtr> materials;
    zyMaterials::getMaterials(root, materials);
    std::unordered_set<const void*> seen;
    for (const osg::MaterialPtr& material : materials)
        seen.insert(material.getBaseCPtr());
    // Those that a material is made of join the list while it is gone through.
    for (std::size_t i = 0; i < materials.size(); ++i) {
        const osg::Field* const inner = materials[i]->getField("materials");
        for (osg::UInt32 k = 0; inner != nullptr && k < inner->getContainerCount(); ++k) {
            const osg::MaterialPtr part = osg::MaterialPtr::dcast(inner->getContainer(k));
            if (part != osg::NullFC && seen.insert(part.getBaseCPtr()).second)
                materials.push_back(part);
        }
    }
    return materials;
}

Statistics countScene(const osg::NodePtr& root, const TessellationOptions* tessellation)
{
    Statistics result;
    std::unordered_map<const void*, PrimitiveCount> cores; ///< what each draws
    std::unordered_set<const void*> positions;

    std::vector<osg::NodePtr> open;
    if (root != osg::NullFC)
        open.push_back(root);
    while (!open.empty()) {
        const osg::NodePtr node = open.back();
        open.pop_back();
        ++result.nodes;
        for (osg::UInt32 i = node->getNChildren(); i > 0; --i)
            open.push_back(node->getChild(i - 1));

        const osg::NodeCorePtr core = node->getCore();
        if (core == osg::NullFC)
            continue;
        const auto found = cores.emplace(core.getBaseCPtr(), PrimitiveCount());
        PrimitiveCount& drawn = found.first->second;
        if (found.second) {
            countCore(core, result);
            drawn = countPrimitives(core);
            result.primitives += drawn.primitives;
            result.triangles += drawn.triangles;
            const osg::SurfacePtr surface = osg::SurfacePtr::dcast(core);
            if (surface != osg::NullFC) {
                drawn = PrimitiveCount();
                if (tessellation != nullptr &&
                    countTriangles(*surface, *tessellation, drawn.triangles).empty())
                    drawn.primitives = 1;
            }
            const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(core);
            if (geometry != osg::NullFC && positions.insert(geometry->getPositions().getBaseCPtr()).second) {
                const osg::Field* const values = valuesOf(geometry->getPositions());
                result.vertices += values != nullptr ? values->getSize() : 0;
            }
        } else {
            ++result.instances;
        }
        result.drawnPrimitives += drawn.primitives;
        result.drawnTriangles += drawn.triangles;
    }

    const std::vector<osg::MaterialPtr> materials = materialsOf(root);
    result.materials = materials.size();
    std::unordered_set<const void*> textures;
    for (const osg::MaterialPtr& material : materials)
        countTextures(material, textures, result);
    return result;
}

} // namespace zyscene
