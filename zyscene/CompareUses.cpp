#include "CompareUses.h"

#include "Statistics.h"

#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGPrimitiveIterator.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform3D.h>
#include <OpenSG/OSGTriangleIterator.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyOpenSGUtils/zyNodeUtils.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <tuple>

namespace zyscene
{

// -- Names -----------------------------------------------------------------------------------------------

namespace
{
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isOneOf(const std::string& text, std::initializer_list<const char*> words)
{
    return std::any_of(words.begin(), words.end(), [&text](const char* word) { return text == word; });
}
} // namespace

std::string legalName(const std::string& name)
{
    std::string result = name;
    if (!result.empty() && isDigit(result[0]))
        result[0] = '_';
    for (char& c : result) {
        if (!isLetter(c) && !isDigit(c))
            c = '_';
    }
    return result;
}

std::string withoutNumber(const std::string& name)
{
    std::string::size_type size = name.size();
    while (size > 1 && isDigit(name[size - 1]))
        --size;
    return name.substr(0, size);
}

std::string plainName(const std::string& name)
{
    std::string legal = legalName(name);
    const std::string base = withoutNumber(legal);
    if (base.size() < legal.size() && isOneOf(base, {"transform", "polySurfaceShape"}))
        legal.clear();
    return legal;
}

// -- Space -----------------------------------------------------------------------------------------------

void Box::extend(const double (&point)[3])
{
    for (int i = 0; i < 3; ++i) {
        if (!std::isfinite(point[i]))
            continue;
        min[i] = empty ? point[i] : std::min(min[i], point[i]);
        max[i] = empty ? point[i] : std::max(max[i], point[i]);
    }
    empty = false;
}

void Box::extend(const Box& other)
{
    if (other.empty)
        return;
    extend(other.min);
    extend(other.max);
}

void cornerOf(const Box& box, unsigned int corner, double (&result)[3])
{
    for (unsigned int i = 0; i < 3; ++i)
        result[i] = (corner >> i & 1) != 0 ? box.max[i] : box.min[i];
}

void place(const WorldMatrix& matrix, const double (&point)[3], double (&result)[4])
{
    for (unsigned int row = 0; row < 4; ++row) {
        result[row] = matrix[0][row] * point[0] + matrix[1][row] * point[1] + matrix[2][row] * point[2] +
                      matrix[3][row];
    }
}

osg::Matrix matrixOf(const osg::NodeCorePtr& core)
{
    const osg::TransformPtr transform = osg::TransformPtr::dcast(core);
    return transform != osg::NullFC ? transform->getMatrix() : osg::Matrix::identity();
}

// -- What is drawn of a geometry -------------------------------------------------------------------------

namespace
{
/// A corner as it is hashed; what is not asked for or not there is zero.
struct Corner {
    float position[3];
    float normal[3];
    float uv[2];
};

std::uint64_t mix(std::uint64_t a, std::uint64_t b)
{
    const std::uint64_t both[2] = {a, b};
    return XXH3_64bits(both, sizeof(both));
}

/// Adds up what is drawn, and the box around it.
class DigestBuilder
{
public:
    DigestBuilder(const Attributes& attributes, Box& box) : _attributes(attributes), _box(box) {}

    template <class IterT>
    std::uint64_t corner(const IterT& it, int which);
    /// The same triangle whichever corner comes first; turned over it is another one.
    void addTriangle(std::uint64_t a, std::uint64_t b, std::uint64_t c)
    {
        ++digest.triangles;
        add(mix(a, b) + mix(b, c) + mix(c, a));
    }
    void addLine(std::uint64_t a, std::uint64_t b)
    {
        ++digest.others;
        add(mix(a + b, 2));
    }
    void addPoint(std::uint64_t a)
    {
        ++digest.others;
        add(mix(a, 1));
    }

    Digest digest;

private:
    void add(std::uint64_t hash)
    {
        digest.sum += hash;
        digest.mixedSum += mix(hash, 0);
    }

    const Attributes _attributes;
    Box& _box;
};

template <class IterT>
osg::Vec2f uvOf(const IterT& it, int channel, int which)
{
    switch (channel) {
    case 0:
        return it.getTexCoords(which);
    case 1:
        return it.getTexCoords1(which);
    case 2:
        return it.getTexCoords2(which);
    case 3:
        return it.getTexCoords3(which);
    case 4:
        return it.getTexCoords4(which);
    case 5:
        return it.getTexCoords5(which);
    case 6:
        return it.getTexCoords6(which);
    default:
        return it.getTexCoords7(which);
    }
}

template <class IterT>
std::uint64_t DigestBuilder::corner(const IterT& it, int which)
{
    Corner corner = {{0, 0, 0}, {0, 0, 0}, {0, 0}};
    const osg::Pnt3f position = it.getPosition(which);
    if (_attributes.positions)
        std::memcpy(corner.position, position.getValues(), sizeof(corner.position));
    if (_attributes.normals) {
        const osg::Vec3f normal = it.getNormal(which);
        std::memcpy(corner.normal, normal.getValues(), sizeof(corner.normal));
    }
    if (_attributes.uvChannel >= 0) {
        const osg::Vec2f uv = uvOf(it, _attributes.uvChannel, which);
        std::memcpy(corner.uv, uv.getValues(), sizeof(corner.uv));
    }
    _box.extend({position[0], position[1], position[2]});
    return XXH3_64bits(&corner, sizeof(corner));
}

void addPrimitive(DigestBuilder& builder, const osg::PrimitiveIterator& it)
{
    const osg::UInt32 type = it.getType();
    const int length = static_cast<int>(std::min<osg::UInt32>(it.getLength(), 0x7fffffff));
    if (type == GL_POINTS) {
        for (int i = 0; i < length; ++i)
            builder.addPoint(builder.corner(it, i));
    } else if (type == GL_LINES) {
        for (int i = 0; i + 1 < length; i += 2)
            builder.addLine(builder.corner(it, i), builder.corner(it, i + 1));
    } else if ((type == GL_LINE_STRIP || type == GL_LINE_LOOP) && length > 1) {
        const std::uint64_t first = builder.corner(it, 0);
        std::uint64_t last = first;
        for (int i = 1; i < length; ++i) {
            const std::uint64_t next = builder.corner(it, i);
            builder.addLine(last, next);
            last = next;
        }
        if (type == GL_LINE_LOOP)
            builder.addLine(last, first);
    }
}

const osg::GeoTexCoordsPtr texCoordsOf(const osg::GeometryPtr& geometry, int channel)
{
    switch (channel) {
    case 0:
        return geometry->getTexCoords();
    case 1:
        return geometry->getTexCoords1();
    case 2:
        return geometry->getTexCoords2();
    case 3:
        return geometry->getTexCoords3();
    case 4:
        return geometry->getTexCoords4();
    case 5:
        return geometry->getTexCoords5();
    case 6:
        return geometry->getTexCoords6();
    default:
        return geometry->getTexCoords7();
    }
}
} // namespace

bool Digest::operator<(const Digest& other) const
{
    return std::tie(sum, mixedSum, triangles, others, attributes) <
           std::tie(other.sum, other.mixedSum, other.triangles, other.others, other.attributes);
}

DrawnShape::DrawnShape(const osg::GeometryPtr& geometry, bool pointsAndLines)
    : _geometry(geometry), _pointsAndLines(pointsAndLines)
{
}

bool DrawnShape::hasNormals() const
{
    const osg::GeoNormalsPtr normals = _geometry->getNormals();
    return normals != osg::NullFC && normals->getSize() != 0;
}

bool DrawnShape::hasUVs(int channel) const
{
    const osg::GeoTexCoordsPtr texCoords = texCoordsOf(_geometry, channel);
    return texCoords != osg::NullFC && texCoords->getSize() != 0;
}

const Digest& DrawnShape::digest(const Attributes& attributes)
{
    const auto found = _digests.find(attributes);
    if (found != _digests.end())
        return found->second;
    Box box;
    const Digest digest = compute(attributes, box);
    if (!_boxKnown) {
        _box = box;
        _boxKnown = true;
    }
    return _digests.emplace(attributes, digest).first->second;
}

Digest DrawnShape::compute(const Attributes& attributes, Box& box) const
{
    Attributes there = attributes;
    there.normals = there.normals && hasNormals();
    if (there.uvChannel >= 0 && !hasUVs(there.uvChannel))
        there.uvChannel = -1;

    DigestBuilder builder(there, box);
    builder.digest.attributes = (there.normals ? 1u : 0u) + 2u * static_cast<unsigned>(there.uvChannel + 1);
    const osg::GeoPositionsPtr positions = _geometry->getPositions();
    if (positions == osg::NullFC || positions->getSize() == 0)
        return builder.digest;
    for (osg::TriangleIterator it(_geometry); !it.isAtEnd(); ++it)
        builder.addTriangle(builder.corner(it, 0), builder.corner(it, 1), builder.corner(it, 2));
    if (_pointsAndLines) {
        for (osg::PrimitiveIterator it(_geometry); !it.isAtEnd(); ++it)
            addPrimitive(builder, it);
    }
    return builder.digest;
}

// -- Materials -------------------------------------------------------------------------------------------

const MaterialLook* DrawnScene::lookOf(const osg::MaterialPtr& material)
{
    const osg::MaterialPtr drawn = material != osg::NullFC ? material : osg::getDefaultMaterial();
    const auto found = _looks.find(drawn.getBaseCPtr());
    if (found != _looks.end())
        return &found->second;
    const std::string name = legalName(zyMaterials::getName(zyMaterials::getRealMaterial(drawn)));
    _takenNames.insert(name);
    _takenNames.insert(name + "SG");
    return &_looks.emplace(drawn.getBaseCPtr(), _reader.read(drawn)).first->second;
}

// -- The scene -------------------------------------------------------------------------------------------

bool isShownByParent(const osg::NodePtr& parent, osg::UInt32 place)
{
    const osg::SwitchPtr chooser =
        parent != osg::NullFC ? osg::SwitchPtr::dcast(parent->getCore()) : osg::SwitchPtr();
    if (chooser == osg::NullFC)
        return true;
    const osg::Int32 choice = chooser->getChoice();
    if (choice == osg::Switch::NONE)
        return false;
    return choice < 0 || static_cast<osg::UInt32>(choice) == place;
}

Attributes attributesOf(const CompareOptions& options)
{
    Attributes result;
    result.positions = options.exactTriangles;
    result.normals = options.normals && options.exactTriangles;
    result.uvChannel = options.uvs ? 0 : -1;
    return result;
}

struct DrawnScene::Open {
    osg::NodePtr node;
    WorldMatrix world;         ///< of its parent
    osg::MaterialPtr material; ///< of the nearest material group above it
    bool visible;
    bool belowInactive;
};

DrawnScene::DrawnScene(const osg::NodePtr& root, bool ignoreInactive, const CompareOptions& options)
    : _attributes(attributesOf(options)), _pointsAndLines(options.pointsAndLines),
      _takenNames({"initialShadingGroup", "lambert1", "world"})
{
    collect(root, ignoreInactive);
    nameShapes();
    measure();
}

void DrawnScene::collect(const osg::NodePtr& root, bool ignoreInactive)
{
    std::vector<Open> stack;
    if (root != osg::NullFC)
        stack.push_back({root, WorldMatrix(), osg::NullFC, true, false});
    while (!stack.empty()) {
        const Open open = stack.back();
        stack.pop_back();
        enter(open, stack, ignoreInactive);
    }
}

void DrawnScene::enter(const Open& open, std::vector<Open>& stack, bool ignoreInactive)
{
    const osg::NodeCorePtr core = open.node->getCore();
    const bool active = open.node->getActive();
    if (core == osg::NullFC || (ignoreInactive && !active))
        return; // nothing below a node without core is drawn

    Open below = open;
    below.visible = open.visible && active;
    below.belowInactive = open.belowInactive || !active;
    const osg::TransformPtr transform = osg::TransformPtr::dcast(core);
    if (transform != osg::NullFC)
        below.world.mult(WorldMatrix(transform->getMatrix()));
    const osg::MaterialGroupPtr group = osg::MaterialGroupPtr::dcast(core);
    if (group != osg::NullFC && group->getMaterial() != osg::NullFC)
        below.material = group->getMaterial();

    if (DrawnShape* const shape = shapeOf(core)) {
        const osg::GeometryPtr& geometry = shape->geometry();
        WorldMatrix world = below.world;
        if (geometry->getTransform() != osg::NullFC)
            world.mult(WorldMatrix(geometry->getTransform()->getMatrix()));
        _uses.push_back({open.node, shape, nullptr,
                         lookOf(below.material != osg::NullFC ? below.material : geometry->getMaterial()),
                         world, below.visible, below.belowInactive});
    }

    const bool visible = below.visible;
    for (osg::UInt32 i = open.node->getNChildren(); i > 0; --i) {
        below.node = open.node->getChild(i - 1);
        below.visible = visible && isShownByParent(open.node, i - 1);
        stack.push_back(below);
    }
}

DrawnShape* DrawnScene::shapeOf(const osg::NodeCorePtr& core)
{
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(core);
    if (geometry == osg::NullFC)
        return nullptr;
    const auto found = _shapesByCore.emplace(core.getBaseCPtr(), nullptr);
    if (found.second) {
        _shapes.emplace_back(geometry, _pointsAndLines);
        if (_shapes.back().digest(_attributes).drawsNothing())
            _shapes.pop_back();
        else
            found.first->second = &_shapes.back();
    }
    return found.first->second;
}

// The first use that an export carries names the shape for all of them.
void DrawnScene::nameShapes()
{
    for (const bool belowInactive : {false, true}) {
        for (const Use& use : _uses) {
            if (use.belowInactive == belowInactive)
                _names.emplace(use.shape, plainName(zyNodeUtils::getName(use.node)));
        }
    }
    for (Use& use : _uses)
        use.name = &_names.at(use.shape);
}

const std::string& DrawnScene::nameOf(const DrawnShape& shape) const
{
    return _names.at(&shape);
}

void DrawnScene::measure()
{
    Box all;
    all.extend({0, 0, 0});
    for (const Use& use : _uses) {
        for (unsigned int i = 0; i < 8; ++i) {
            double corner[3];
            double placed[4];
            cornerOf(use.shape->box(), i, corner);
            place(use.world, corner, placed);
            all.extend({placed[0], placed[1], placed[2]});
        }
    }
    _size = std::hypot(all.max[0] - all.min[0], all.max[1] - all.min[1], all.max[2] - all.min[2]);
}

} // namespace zyscene
