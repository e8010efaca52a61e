#include "SceneText.h"

#include "Console.h"
#include "MaterialLook.h"
#include "Scene.h"
#include "Statistics.h"
#include "SurfaceInfo.h"
#include "Text.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTransform.h>
#include <zyOpenSGUtils/zyMaterials.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zyscene
{

namespace
{
// Deeper nodes stand below one another, with their depth as a number.
constexpr std::size_t deepestIndent = 30;

std::string shortest(float number)
{
    char text[32];
    const std::to_chars_result result = std::to_chars(text, text + sizeof(text), number);
    return std::string(text, result.ptr);
}

class TreeText
{
public:
    TreeText(Console& console, const TessellationOptions& tessellation)
        : _out(console.out()), _colors(console.colorsOut()), _tessellation(tessellation)
    {
    }

    void write(const osg::NodePtr& root);

private:
    void writeNode(const osg::NodePtr& node, std::size_t depth);
    std::string describe(const osg::NodeCorePtr& core);

    Output& _out;
    bool _colors;
    const TessellationOptions& _tessellation;
    std::unordered_map<const void*, std::size_t> _cores; ///< numbers in order of first visit
};

void TreeText::write(const osg::NodePtr& root)
{
    struct Open {
        osg::NodePtr node;
        std::size_t depth;
    };
    std::vector<Open> open;
    open.push_back({root, 0});
    while (!open.empty()) {
        const Open next = open.back();
        open.pop_back();
        writeNode(next.node, next.depth);
        for (osg::UInt32 i = next.node->getNChildren(); i > 0; --i)
            open.push_back({next.node->getChild(i - 1), next.depth + 1});
    }
}

void TreeText::writeNode(const osg::NodePtr& node, std::size_t depth)
{
    std::string line(2 * std::min(depth, deepestIndent), ' ');
    if (depth > deepestIndent)
        line += "(" + std::to_string(depth) + ") ";

    const bool inactive = !node->getActive();
    const osg::Char8* const name = osg::getName(node);
    if (_colors)
        line += inactive ? "\033[2m" : "\033[1m";
    line += name != nullptr && name[0] != '\0' ? printable(name) : "(unnamed)";
    if (_colors && !inactive)
        line += "\033[0m";
    line += "  ";
    line += describe(node->getCore());
    if (inactive)
        line += "  [inactive]";

    for (const auto& row : node->getSFAttachments()->getValue()) {
        if (row.second != osg::NullFC && isKindOf(row.second, "ValuePair")) {
            line += "  [marked]";
            break;
        }
    }
    if (_colors && inactive)
        line += "\033[0m";
    line += '\n';
    _out.write(line);
}

std::string TreeText::describe(const osg::NodeCorePtr& core)
{
    if (core == osg::NullFC)
        return "no core";
    const auto found = _cores.emplace(core.getBaseCPtr(), _cores.size() + 1);
    std::string text = core->getTypeName();
    text += " #" + std::to_string(found.first->second);
    if (!found.second)
        return text + "  [shared]";

    const osg::TransformPtr transform = osg::TransformPtr::dcast(core);
    const osg::SwitchPtr choice = osg::SwitchPtr::dcast(core);
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(core);
    if (transform != osg::NullFC) {
        const osg::Matrix& matrix = transform->getMatrix();
        if (matrix == osg::Matrix::identity()) {
            text += "  identity";
        } else {
            text += "  translation (" + shortest(matrix[3][0]) + ", " + shortest(matrix[3][1]) + ", " +
                    shortest(matrix[3][2]) + ")";
        }
    } else if (choice != osg::NullFC) {
        text += "  choice " + std::to_string(choice->getChoice());
    } else if (geometry != osg::NullFC) {
        const osg::SurfacePtr surface = osg::SurfacePtr::dcast(core);
        if (surface != osg::NullFC) {
            text += "  " + describeSurface(*surface, _tessellation).text();
        } else {
            const PrimitiveCount count = countPrimitives(core);
            text += "  " + plural(count.primitives, "primitive") + ", " + plural(count.triangles, "triangle");
        }
        if (geometry->getMaterial() != osg::NullFC) {
            const std::string material = zyMaterials::getName(geometry->getMaterial());
            text += "  material ";
            text += material.empty() ? std::string(geometry->getMaterial()->getTypeName())
                                     : "'" + printable(material) + "'";
        }
    }
    return text;
}

void writeCount(Output& out, const char* name, std::uint64_t count)
{
    std::string line = "  ";
    line += name;
    line.resize(std::max<std::size_t>(line.size() + 1, 20), ' ');
    line += std::to_string(count) + "\n";
    out.write(line);
}

// One line for each image, in the order of materials.
void writeTextures(Output& out, const Scene& scene)
{
    std::unordered_set<const void*> seen;
    for (const osg::MaterialPtr& material : materialsOf(scene.root())) {
        const osg::ChunkMaterialPtr chunks = osg::ChunkMaterialPtr::dcast(material);
        for (osg::UInt32 i = 0; chunks != osg::NullFC && i < chunks->getMFChunks()->getSize(); ++i) {
            const osg::TextureChunkPtr chunk = osg::TextureChunkPtr::dcast(chunks->getChunks(i));
            const osg::ImagePtr image = chunk != osg::NullFC ? chunk->getImage() : osg::ImagePtr();
            if (image == osg::NullFC || !seen.insert(image.getBaseCPtr()).second)
                continue;
            const std::string name = scene.nameOf(image);
            out.write("  texture           " + (name.empty() ? "(unnamed)" : printable(name)) + ", " +
                      std::to_string(image->getWidth()) + " x " + std::to_string(image->getHeight()) + " " +
                      nameOfPixelFormat(image->getPixelFormat()) + "\n");
        }
    }
}
} // namespace

void writeSceneText(Console& console, const Scene& scene, bool tree, const TessellationOptions& tessellation)
{
    if (tree)
        TreeText(console, tessellation).write(scene.root());

    const Statistics statistics = countScene(scene.root(), &tessellation);
    for (const StatisticsRow& row : statisticsRows)
        writeCount(console.out(), row.name, statistics.*row.count);
    writeCount(console.out(), "drawn primitives", statistics.drawnPrimitives);
    writeCount(console.out(), "drawn triangles", statistics.drawnTriangles);
    writeTextures(console.out(), scene);
}

} // namespace zyscene
