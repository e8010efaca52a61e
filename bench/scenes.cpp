#include "scenes.h"

#include <OpenSG/OSGImage.h>
#include <kelda/KEulerRotation.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatPointArray.h>
#include <kelda/KFnDagNode.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnPhongShader.h>
#include <kelda/KFnSet.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KIntArray.h>
#include <kelda/KVectorArray.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench
{

namespace
{
const double pi = 3.14159265358979323846;

// A small generator of our own: the standard's distributions differ between libraries.
class Random
{
public:
    explicit Random(uint64_t seed) : _state(seed * 0x9e3779b97f4a7c15u + 1) {}
    uint64_t next()
    {
        _state ^= _state << 13;
        _state ^= _state >> 7;
        _state ^= _state << 17;
        return _state;
    }
    double unit() { return static_cast<double>(next() >> 11) / 9007199254740992.0; }
    int below(int n) { return static_cast<int>(next() % static_cast<uint64_t>(n)); }

private:
    uint64_t _state;
};

// columns x rows quads on a torus whose tube is displaced; an open seam where u and v are 1.
Mesh displacedTorus(const std::string& name, int columns, int rows, double size, Random& random)
{
    Mesh mesh;
    mesh.name = name;
    const double phase = random.unit() * 2 * pi;
    for (int row = 0; row <= rows; ++row) {
        for (int column = 0; column <= columns; ++column) {
            const double u = static_cast<double>(column) / columns;
            const double v = static_cast<double>(row) / rows;
            const double a = 2 * pi * u;
            const double b = 2 * pi * v;
            const double tube = size * (0.4 + 0.05 * std::sin(9 * a + phase) * std::cos(7 * b));
            const double ring = size + tube * std::cos(b);
            for (const double p : {ring * std::cos(a), ring * std::sin(a), tube * std::sin(b)})
                mesh.positions.push_back(static_cast<float>(p));
            for (const double n : {std::cos(b) * std::cos(a), std::cos(b) * std::sin(a), std::sin(b)})
                mesh.normals.push_back(static_cast<float>(n));
            mesh.uvs.push_back(static_cast<float>(u));
            mesh.uvs.push_back(static_cast<float>(v));
        }
    }
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const int32_t a = row * (columns + 1) + column;
            const int32_t b = a + columns + 1;
            for (const int32_t corner : {a, a + 1, b + 1, a, b + 1, b})
                mesh.indices.push_back(corner);
        }
    }
    return mesh;
}

std::string numbered(const char* name, size_t number)
{
    return name + std::to_string(number);
}

Node placedNode(const std::string& name, int parent, double spread, Random& random)
{
    Node node;
    node.name = name;
    node.parent = parent;
    for (int axis = 0; axis < 3; ++axis) {
        node.translate[static_cast<size_t>(axis)] = (random.unit() - 0.5) * spread;
        node.rotate[static_cast<size_t>(axis)] = random.unit() * 360.0;
    }
    node.scale = 0.8 + 0.4 * random.unit();
    return node;
}

Mesh smallMesh(const std::string& name, Random& random)
{
    static const int shapes[][2] = {{3, 2}, {4, 3}, {5, 3}, {4, 4}, {6, 4},
                                    {5, 5}, {8, 4}, {9, 4}, {7, 7}, {10, 5}};
    const int* shape = shapes[random.below(10)];
    return displacedTorus(name, shape[0], shape[1], 0.5, random);
}
} // namespace

size_t Scene::drawnTriangles() const
{
    size_t count = 0;
    for (const Node& node : nodes) {
        if (node.mesh >= 0)
            count += meshes[static_cast<size_t>(node.mesh)].triangleCount();
    }
    return count;
}

Scene denseMesh(size_t triangles)
{
    Random random(11);
    Scene scene;
    const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2)));
    scene.meshes.push_back(displacedTorus("dense", side, side, 10, random));
    scene.nodes.push_back(placedNode("placed", -1, 10, random));
    scene.nodes.back().mesh = 0;
    return scene;
}

Scene manyNodes(size_t nodes)
{
    const int sharedMeshes = 50;
    Random random(22);
    Scene scene;
    scene.groups = 200;
    for (int i = 0; i < sharedMeshes; ++i)
        scene.meshes.push_back(smallMesh(numbered("shared", static_cast<size_t>(i)), random));
    scene.nodes.push_back(placedNode("top", -1, 10, random));
    std::vector<int> level{0};
    for (const int fan : {8, 8, 8, 4}) {
        std::vector<int> below;
        for (const int parent : level) {
            for (int k = 0; k < fan && scene.nodes.size() < nodes / 7; ++k) {
                below.push_back(static_cast<int>(scene.nodes.size()));
                scene.nodes.push_back(placedNode(numbered("group", scene.nodes.size()), parent, 100, random));
            }
        }
        if (!below.empty())
            level = below;
    }
    for (size_t i = 0; scene.nodes.size() < nodes; ++i) {
        Node node = placedNode(numbered("part", scene.nodes.size()), level[i % level.size()], 10, random);
        if (i % 2 == 1) {
            node.mesh = random.below(sharedMeshes);
        } else {
            node.mesh = static_cast<int>(scene.meshes.size());
            scene.meshes.push_back(smallMesh(numbered("own", i), random));
        }
        scene.nodes.push_back(node);
    }
    for (size_t i = 0; i < scene.meshes.size(); ++i)
        scene.meshes[i].group = static_cast<int>(i) % scene.groups;
    return scene;
}

Scene texturedMeshes(size_t meshes)
{
    Random random(55);
    Scene scene;
    scene.groups = static_cast<int>(meshes);
    scene.textured = true;
    for (size_t i = 0; i < meshes; ++i) {
        scene.nodes.push_back(placedNode(numbered("part", i), -1, 100, random));
        scene.nodes.back().mesh = static_cast<int>(i);
        scene.meshes.push_back(displacedTorus(numbered("own", i), 16, 16, 0.5, random));
        scene.meshes.back().group = static_cast<int>(i);
    }
    return scene;
}

Scene deepChain(size_t levels)
{
    Random random(33);
    Scene scene;
    scene.meshes.push_back(smallMesh("deep", random));
    for (size_t i = 0; i < levels; ++i)
        scene.nodes.push_back(placedNode(numbered("level", i), static_cast<int>(i) - 1, 1, random));
    scene.nodes.back().mesh = 0;
    return scene;
}

Scene instances(size_t uses)
{
    Random random(44);
    Scene scene;
    scene.meshes.push_back(smallMesh("shared", random));
    for (size_t i = 0; i < uses; ++i) {
        scene.nodes.push_back(placedNode(numbered("use", i), -1, 100, random));
        scene.nodes.back().mesh = 0;
    }
    return scene;
}

// -- through the SDK -------------------------------------------------------------------------------

namespace
{
void check(const KStatus& status, const char* what)
{
    if (status.error())
        throw std::runtime_error(what);
}

KObject createMesh(const Mesh& mesh, const KObject& transform)
{
    KFloatPointArray points;
    points.setLength(static_cast<unsigned>(mesh.vertexCount()));
    for (unsigned i = 0; i < points.length(); ++i)
        points[i] = KFloatPoint(mesh.positions[i * 3], mesh.positions[i * 3 + 1], mesh.positions[i * 3 + 2]);
    KIntArray counts;
    counts.setLength(static_cast<unsigned>(mesh.triangleCount()));
    for (unsigned i = 0; i < counts.length(); ++i)
        counts[i] = 3;
    KIntArray connects;
    connects.setLength(static_cast<unsigned>(mesh.indices.size()));
    for (unsigned i = 0; i < connects.length(); ++i)
        connects[i] = mesh.indices[i];

    KStatus status;
    KFnMesh fn;
    const KObject shape = fn.create(static_cast<int>(points.length()), static_cast<int>(counts.length()),
                                    points, counts, connects, transform, &status);
    check(status, "create mesh");
    fn.setName(mesh.name.c_str());

    KVectorArray normals;
    KIntArray vertices;
    normals.setLength(points.length());
    vertices.setLength(points.length());
    for (unsigned i = 0; i < normals.length(); ++i) {
        normals[i] = KVector(mesh.normals[i * 3], mesh.normals[i * 3 + 1], mesh.normals[i * 3 + 2]);
        vertices[i] = static_cast<int>(i);
    }
    check(fn.setVertexNormals(normals, vertices, KSpace::kObject), "set normals");

    KFloatArray us;
    KFloatArray vs;
    us.setLength(points.length());
    vs.setLength(points.length());
    for (unsigned i = 0; i < us.length(); ++i) {
        us[i] = mesh.uvs[i * 2];
        vs[i] = mesh.uvs[i * 2 + 1];
    }
    check(fn.setUVs(us, vs), "set UVs");
    check(fn.assignUVs(counts, connects), "assign UVs");
    return shape;
}

std::string pictureOf(size_t group)
{
    return "textures/" + numbered("picture", group) + ".png";
}

void connect(const std::string& source, const std::string& destination)
{
    const std::string command = "connectAttr \"" + source + "\" \"" + destination + "\"";
    check(KGlobal::executeCommand(command.c_str(), false, false), "connect");
}

// A shading group with a shader, which has a texture if that is asked for.
KObject createGroup(size_t number, bool textured)
{
    KStatus status;
    KFnSet group;
    const KObject object = group.create(numbered("group", number).c_str(), true, &status);
    check(status, "create set");
    KFnPhongShader shader;
    shader.create(true, &status);
    check(status, "create shader");
    shader.setName(numbered("shader", number).c_str());
    connect(numbered("shader", number) + ".outColor", numbered("group", number) + ".surfaceShader");
    if (textured) {
        KFnDependencyNode file;
        file.create("file", &status);
        check(status, "create file texture");
        file.setName(numbered("file", number).c_str());
        check(file.findPlug("fileTextureName").setValue(KString(pictureOf(number))), "name of a picture");
        connect(numbered("file", number) + ".outColor", numbered("shader", number) + ".color");
    }
    return object;
}

// Patches of noise, so that a picture does not compress to nothing.
void writePictures(const Scene& scene, const std::filesystem::path& folder)
{
    const int size = 64;
    Random random(66);
    std::filesystem::create_directories(folder / "textures");
    osg::ImagePtr image = osg::Image::create();
    osg::addRefCP(image);
    for (int i = 0; i < scene.groups; ++i) {
        std::vector<osg::UInt8> texels;
        for (int texel = 0; texel < size * size; ++texel) {
            for (int channel = 0; channel < 3; ++channel)
                texels.push_back(static_cast<osg::UInt8>(0x55 * (texel / 8 % 3) + random.below(16)));
        }
        const std::string file = (folder / pictureOf(static_cast<size_t>(i))).string();
        if (!image->set(osg::Image::OSG_RGB_PF, size, size, 1, 1, 1, 0, texels.data()) ||
            !image->write(file.c_str()))
            throw std::runtime_error("write " + file);
    }
    osg::subRefCP(image);
}
} // namespace

void buildInSdk(const Scene& scene)
{
    check(KFileIO::newFile(true), "new scene");
    std::vector<KObject> groups;
    for (int i = 0; i < scene.groups; ++i)
        groups.push_back(createGroup(static_cast<size_t>(i), scene.textured));
    std::vector<KObject> transforms;
    std::vector<KObject> shapes(scene.meshes.size());
    for (const Node& node : scene.nodes) {
        KFnTransform fn;
        KStatus status;
        transforms.push_back(fn.create(
            node.parent < 0 ? KObject::kNullObj : transforms[static_cast<size_t>(node.parent)], &status));
        check(status, "create transform");
        fn.setName(node.name.c_str());
        check(fn.setTranslation(KVector(node.translate[0], node.translate[1], node.translate[2]),
                                KSpace::kTransform),
              "set translation");
        check(fn.setRotation(KEulerRotation(node.rotate[0] * pi / 180, node.rotate[1] * pi / 180,
                                            node.rotate[2] * pi / 180)),
              "set rotation");
        const double scale[3] = {node.scale, node.scale, node.scale};
        check(fn.setScale(scale), "set scale");
        if (node.mesh < 0)
            continue;
        const size_t mesh = static_cast<size_t>(node.mesh);
        if (shapes[mesh].isNull()) {
            shapes[mesh] = createMesh(scene.meshes[mesh], transforms.back());
            check(KFnSet(groups[static_cast<size_t>(scene.meshes[mesh].group)]).addMember(shapes[mesh]),
                  "add member");
        } else {
            check(fn.addChild(shapes[mesh], KFnDagNode::kNextPos, true), "add instance");
        }
    }
}

void writeKelda(const Scene& scene, const std::string& path)
{
    buildInSdk(scene);
    if (scene.textured)
        writePictures(scene, std::filesystem::path(path).parent_path());
    check(KFileIO::saveAs(path.c_str(), nullptr, true), "save");
    check(KFileIO::newFile(true), "new scene");
}

// -- binary glTF -----------------------------------------------------------------------------------

namespace
{
// Column-major local matrix: translation, rotation about x, then y, then z, uniform scale.
std::array<double, 16> matrixOf(const Node& node)
{
    const double x = node.rotate[0] * pi / 180;
    const double y = node.rotate[1] * pi / 180;
    const double z = node.rotate[2] * pi / 180;
    const double cx = std::cos(x), sx = std::sin(x);
    const double cy = std::cos(y), sy = std::sin(y);
    const double cz = std::cos(z), sz = std::sin(z);
    const double s = node.scale;
    return {s * cz * cy,
            s * sz * cy,
            -s * sy,
            0,
            s * (cz * sy * sx - sz * cx),
            s * (sz * sy * sx + cz * cx),
            s * cy * sx,
            0,
            s * (cz * sy * cx + sz * sx),
            s * (sz * sy * cx - cz * sx),
            s * cy * cx,
            0,
            node.translate[0],
            node.translate[1],
            node.translate[2],
            1};
}

class GlbText
{
public:
    template <class... Parts>
    void add(const char* format, Parts... parts)
    {
        char line[512];
        const int length = std::snprintf(line, sizeof(line), format, parts...);
        text.append(line, static_cast<size_t>(length));
    }
    /// Separates the elements of a list.
    void next(bool first)
    {
        if (!first)
            text += ',';
    }
    std::string text;
};

void put32(std::string& out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<char>(value >> shift));
}
} // namespace

void writeGlb(const Scene& scene, const std::string& path)
{
    std::string binary;
    GlbText json;
    GlbText views;
    GlbText meshes;
    int accessor = 0;
    GlbText accessors;
    const auto addArray = [&](const void* data, size_t bytes, size_t count, int component, const char* type,
                              const char* bounds) {
        views.next(accessor == 0);
        views.add("{\"buffer\":0,\"byteOffset\":%zu,\"byteLength\":%zu}", binary.size(), bytes);
        accessors.next(accessor == 0);
        accessors.add("{\"bufferView\":%d,\"componentType\":%d,\"count\":%zu,\"type\":\"%s\"%s}", accessor,
                      component, count, type, bounds);
        binary.append(static_cast<const char*>(data), bytes);
        return accessor++;
    };
    for (size_t i = 0; i < scene.meshes.size(); ++i) {
        const Mesh& mesh = scene.meshes[i];
        const size_t n = mesh.vertexCount();
        const int positions = addArray(mesh.positions.data(), n * 12, n, 5126, "VEC3",
                                       ",\"min\":[-100,-100,-100],\"max\":[100,100,100]");
        const int normals = addArray(mesh.normals.data(), n * 12, n, 5126, "VEC3", "");
        const int uvs = addArray(mesh.uvs.data(), n * 8, n, 5126, "VEC2", "");
        const int indices =
            addArray(mesh.indices.data(), mesh.indices.size() * 4, mesh.indices.size(), 5125, "SCALAR", "");
        meshes.next(i == 0);
        meshes.add("{\"name\":\"%s\",\"primitives\":[{\"attributes\":{\"POSITION\":%d,\"NORMAL\":%d,"
                   "\"TEXCOORD_0\":%d},\"indices\":%d,\"material\":%d}]}",
                   mesh.name.c_str(), positions, normals, uvs, indices, mesh.group);
    }

    std::vector<std::vector<size_t>> children(scene.nodes.size());
    std::vector<size_t> tops;
    for (size_t i = 0; i < scene.nodes.size(); ++i) {
        if (scene.nodes[i].parent < 0)
            tops.push_back(i);
        else
            children[static_cast<size_t>(scene.nodes[i].parent)].push_back(i);
    }
    const auto addList = [&](const std::vector<size_t>& list) {
        for (size_t i = 0; i < list.size(); ++i) {
            json.next(i == 0);
            json.add("%zu", list[i]);
        }
    };

    json.add("{\"asset\":{\"version\":\"2.0\"},\"scene\":0,\"scenes\":[{\"nodes\":[");
    addList(tops);
    json.add("]}],\"nodes\":[");
    for (size_t i = 0; i < scene.nodes.size(); ++i) {
        json.next(i == 0);
        json.add("{\"name\":\"%s\",\"matrix\":[", scene.nodes[i].name.c_str());
        const std::array<double, 16> matrix = matrixOf(scene.nodes[i]);
        for (size_t k = 0; k < 16; ++k)
            json.add(k == 0 ? "%.9g" : ",%.9g", matrix[k]);
        json.add("]");
        if (scene.nodes[i].mesh >= 0)
            json.add(",\"mesh\":%d", scene.nodes[i].mesh);
        if (!children[i].empty()) {
            json.add(",\"children\":[");
            addList(children[i]);
            json.add("]");
        }
        json.add("}");
    }
    json.add("],\"materials\":[");
    for (int i = 0; i < scene.groups; ++i) {
        json.next(i == 0);
        json.add("{\"name\":\"group%d\"}", i);
    }
    json.add("],\"buffers\":[{\"byteLength\":%zu}],\"bufferViews\":[", binary.size());
    json.text += views.text + "],\"accessors\":[" + accessors.text + "],\"meshes\":[" + meshes.text + "]}";

    json.text.resize((json.text.size() + 3) / 4 * 4, ' ');
    std::string head("glTF");
    put32(head, 2);
    put32(head, static_cast<uint32_t>(12 + 8 + json.text.size() + 8 + binary.size()));
    put32(head, static_cast<uint32_t>(json.text.size()));
    head += "JSON";
    std::string binaryHead;
    put32(binaryHead, static_cast<uint32_t>(binary.size()));
    binaryHead.append("BIN\0", 4);
    std::ofstream file(path, std::ios::binary);
    file << head << json.text << binaryHead << binary;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace bench
