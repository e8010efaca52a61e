#include "io/ForeignTree.h"

#include <algorithm>
#include <cmath>

namespace kelda
{

// -- Matrices -------------------------------------------------------------------------------------

namespace
{

struct Vector {
    double x[3];
};

double dot(const Vector& a, const Vector& b)
{
    return a.x[0] * b.x[0] + a.x[1] * b.x[1] + a.x[2] * b.x[2];
}

Vector cross(const Vector& a, const Vector& b)
{
    return {{a.x[1] * b.x[2] - a.x[2] * b.x[1], a.x[2] * b.x[0] - a.x[0] * b.x[2],
             a.x[0] * b.x[1] - a.x[1] * b.x[0]}};
}

Vector plus(const Vector& a, const Vector& b, double factor)
{
    return {{a.x[0] + factor * b.x[0], a.x[1] + factor * b.x[1], a.x[2] + factor * b.x[2]}};
}

double length(const Vector& a)
{
    return std::sqrt(dot(a, a));
}

/// Some unit vector at right angles to those of `axes` that are there.
Vector freeAxis(const Vector* axes, int count, int preferred)
{
    for (int i = 0; i < 3; ++i) {
        Vector v = {{0, 0, 0}};
        v.x[(preferred + i) % 3] = 1;
        for (int a = 0; a < count; ++a)
            v = plus(v, axes[a], -dot(v, axes[a]));
        const double size = length(v);
        if (size > 0.5)
            return {{v.x[0] / size, v.x[1] / size, v.x[2] / size}};
    }
    return count == 2 ? cross(axes[0], axes[1]) : Vector{{1, 0, 0}};
}

bool isIdentity(const double m[4][4])
{
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (m[i][j] != (i == j ? 1.0 : 0.0))
                return false;
    return true;
}

/// m = left * m
void multiplyLeft(const double left[4][4], double m[4][4])
{
    double out[4][4];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            out[i][j] =
                left[i][0] * m[0][j] + left[i][1] * m[1][j] + left[i][2] * m[2][j] + left[i][3] * m[3][j];
    std::copy(&out[0][0], &out[0][0] + 16, &m[0][0]);
}

/// What single-precision arithmetic leaves of a nought or a one.
double snapped(double value, double to)
{
    constexpr double kNoise = 2e-7;
    return std::fabs(value - to) < kNoise ? to : value;
}

} // namespace

// The upper left part is A = R * U, U = SH * S being upper triangular: Gram-Schmidt on the columns of A.
TransformData decompose(const double matrix[4][4])
{
    TransformData out;
    double largest = 0;
    Vector column[3];
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            column[j].x[i] = matrix[i][j];
            largest = std::max(largest, std::fabs(matrix[i][j]));
        }
        out.translate[j] = matrix[j][3];
    }
    if (largest == 0) {
        for (double& s : out.scale)
            s = 0;
        return out;
    }
    // A column that depends on the ones before it has no length of its own left. A shear needs one to act on,
    // so it is given one that is too small to be noticed.
    const double tiny = largest * 1e-9;
    double u[3][3] = {};
    Vector q[3];
    for (int j = 0; j < 3; ++j) {
        Vector rest = column[j];
        for (int pass = 0; pass < 2; ++pass) { // the second pass takes the rounding of the first away
            for (int i = 0; i < j; ++i) {
                const double along = dot(q[i], rest);
                u[i][j] += along;
                rest = plus(rest, q[i], -along);
            }
        }
        u[j][j] = length(rest);
        if (u[j][j] > tiny) {
            q[j] = {{rest.x[0] / u[j][j], rest.x[1] / u[j][j], rest.x[2] / u[j][j]}};
        } else {
            q[j] = freeAxis(q, j, j);
            bool sheared = false;
            for (int i = 0; i < j; ++i)
                sheared = sheared || std::fabs(u[i][j]) > tiny;
            u[j][j] = sheared ? tiny : 0;
        }
    }
    if (dot(cross(q[0], q[1]), q[2]) < 0) {
        // Mirrored: one axis is turned round, the one that leaves the least rotation.
        int axis = 0;
        for (int j = 1; j < 3; ++j)
            if (q[j].x[j] < q[axis].x[axis])
                axis = j;
        for (int i = 0; i < 3; ++i) {
            q[axis].x[i] = -q[axis].x[i];
            u[axis][i] = -u[axis][i];
        }
    }
    for (int j = 0; j < 3; ++j)
        out.scale[j] = snapped(u[j][j], 1);
    // U = SH * S: column j of SH is column j of U over the scale.
    const auto shear = [&](int i, int j) { return u[j][j] != 0 ? snapped(u[i][j] / u[j][j], 0) : 0; };
    out.shear[0] = shear(0, 1);
    out.shear[1] = shear(0, 2);
    out.shear[2] = shear(1, 2);

    // R = Rz * Ry * Rx; q[j].x[i] is R's entry in row i, column j.
    const double cosY = std::hypot(q[0].x[0], q[0].x[1]);
    out.rotate[1] = std::atan2(-q[0].x[2], cosY);
    if (cosY > 1e-9) {
        out.rotate[0] = std::atan2(q[1].x[2], q[2].x[2]);
        out.rotate[2] = std::atan2(q[0].x[1], q[0].x[0]);
    } else {
        out.rotate[0] = std::atan2(-q[2].x[1], q[1].x[1]);
        out.rotate[2] = 0;
    }
    for (double& angle : out.rotate)
        angle = snapped(angle, 0);
    return out;
}

// -- Sharing --------------------------------------------------------------------------------------

namespace
{

/// The nodes, each before its children, children in order.
std::vector<uint32_t> walkOrder(const ForeignScene& scene)
{
    std::vector<uint32_t> order;
    std::vector<uint32_t> todo(scene.roots.rbegin(), scene.roots.rend());
    while (!todo.empty()) {
        const uint32_t node = todo.back();
        todo.pop_back();
        order.push_back(node);
        const std::vector<uint32_t>& children = scene.nodes[node].children;
        todo.insert(todo.end(), children.rbegin(), children.rend());
    }
    return order;
}

std::vector<uint32_t> usesOfMeshes(const ForeignScene& scene)
{
    std::vector<uint32_t> uses(scene.meshes.size(), 0);
    for (const ForeignNode& node : scene.nodes)
        if (node.mesh >= 0)
            ++uses[static_cast<size_t>(node.mesh)];
    return uses;
}

/// Takes the node's matrix away and gives it to all that stands below.
void pushDown(ForeignScene& scene, uint32_t index)
{
    if (scene.nodes[index].mesh >= 0 || scene.nodes[index].light >= 0) {
        ForeignNode holder;
        holder.name = scene.nodes[index].name;
        std::swap(holder.mesh, scene.nodes[index].mesh);
        std::swap(holder.light, scene.nodes[index].light);
        std::vector<uint32_t>& children = scene.nodes[index].children;
        children.insert(children.begin(), static_cast<uint32_t>(scene.nodes.size()));
        scene.nodes.push_back(std::move(holder));
    }
    ForeignNode& node = scene.nodes[index];
    for (uint32_t child : node.children)
        multiplyLeft(node.matrix, scene.nodes[child].matrix);
    const ForeignNode none;
    std::copy(&none.matrix[0][0], &none.matrix[0][0] + 16, &node.matrix[0][0]);
}

} // namespace

void arrangeForSharing(ForeignScene& scene)
{
    const std::vector<uint32_t> uses = usesOfMeshes(scene);
    const std::vector<uint32_t> order = walkOrder(scene);
    std::vector<uint32_t> parents(scene.nodes.size(), kNoIndex);
    for (uint32_t node : order)
        for (uint32_t child : scene.nodes[node].children)
            parents[child] = node;

    // Pushing touches all children of the nodes on the way; in odd trees that would add up.
    size_t budget = 8 * scene.nodes.size() + 1000;
    std::vector<bool> settled(scene.meshes.size(), false);
    for (uint32_t node : order) {
        const int mesh = scene.nodes[node].mesh;
        if (mesh < 0 || settled[static_cast<size_t>(mesh)])
            continue;
        settled[static_cast<size_t>(mesh)] = true;
        if (uses[static_cast<size_t>(mesh)] < 2 || !isIdentity(scene.nodes[node].matrix))
            continue;
        std::vector<uint32_t> way; // from above the node upwards, to the one with a matrix
        uint32_t at = parents[node];
        size_t cost = 0;
        while (at != kNoIndex) {
            way.push_back(at);
            cost += 1 + scene.nodes[at].children.size();
            if (cost > budget || !isIdentity(scene.nodes[at].matrix))
                break;
            at = parents[at];
        }
        if (at == kNoIndex || cost > budget)
            continue;
        budget -= cost;
        for (size_t i = way.size(); i-- > 0;)
            pushDown(scene, way[i]);
    }
}

// -- Telling --------------------------------------------------------------------------------------

namespace
{

class ForeignTeller
{
public:
    ForeignTeller(ForeignScene& scene, SceneSink& sink)
        : _scene(scene), _sink(sink), _shapes(scene.meshes.size(), kNoIndex), _parents(scene.meshes.size()),
          _uvSets(scene.meshes.size())
    {
    }

    bool run()
    {
        return _sink.begin(kSceneVersion) && _sink.unit(LinearUnit::Centimeter) && nodes() && orders() &&
               materials() && _sink.end();
    }

private:
    bool node(const char* type, const std::string& name, FileIndex parent)
    {
        const NodeType* const row = findNodeType(type);
        return _sink.node(_next++, row, name.empty() ? row->defaultName() : name, parent, false);
    }

    bool nodes()
    {
        struct Step {
            uint32_t node;
            FileIndex parent;
        };
        std::vector<Step> todo;
        for (size_t i = _scene.roots.size(); i-- > 0;)
            todo.push_back({_scene.roots[i], kNoIndex});
        while (!todo.empty()) {
            const Step step = todo.back();
            todo.pop_back();
            const ForeignNode& from = _scene.nodes[step.node];
            const FileIndex index = _next;
            if (!node("transform", from.name, step.parent) || !transform(from) ||
                (from.mesh >= 0 && !shape(from, index)) || (from.light >= 0 && !light(from, index)))
                return false;
            for (size_t i = from.children.size(); i-- > 0;)
                todo.push_back({from.children[i], index});
        }
        return true;
    }

    bool transform(const ForeignNode& from)
    {
        if (isIdentity(from.matrix))
            return true;
        const TransformData to = decompose(from.matrix);
        const TransformData none;
        const NodeType& type = *findNodeType("transform");
        const auto tell = [&](const char* attr, const double* values, const double* otherwise) {
            return std::equal(values, values + 3, otherwise) || _sink.numbers(type.findAttr(attr), values, 3);
        };
        return tell("translate", to.translate, none.translate) && tell("rotate", to.rotate, none.rotate) &&
               tell("scale", to.scale, none.scale) && tell("shear", to.shear, none.shear);
    }

    bool shape(const ForeignNode& holder, FileIndex parent)
    {
        const size_t index = static_cast<size_t>(holder.mesh);
        ForeignMesh& mesh = _scene.meshes[index];
        const bool carriesMatrix = !isIdentity(holder.matrix);
        _parents[index].push_back({parent, carriesMatrix});
        if (_shapes[index] != kNoIndex)
            return _sink.instance(_shapes[index], parent);
        _shapes[index] = _next;
        for (const UVSet& set : mesh.data.uvSets)
            _uvSets[index].push_back(set.name);
        std::string name = mesh.name.empty() ? holder.name : mesh.name;
        if (!name.empty() && name == holder.name)
            name += "Shape";
        return node("mesh", name, parent) && _sink.mesh(mesh.data);
    }

    bool light(const ForeignNode& holder, FileIndex parent)
    {
        const ForeignLight& from = _scene.lights[static_cast<size_t>(holder.light)];
        const NodeType& type = *findNodeType(from.type);
        std::string name = from.name.empty() ? holder.name : from.name;
        if (!name.empty() && name == holder.name)
            name += "Shape";
        const double intensity = static_cast<double>(from.intensity);
        const bool isSpot = type.isA(KFn::kSpotLight);
        return node(from.type, name, parent) && color(type, "color", from.color) &&
               value(type, "intensity", intensity) && (!from.fades || value(type, "decayRate", 2)) &&
               (!isSpot ||
                (value(type, "coneAngle", from.cone) && value(type, "penumbraAngle", from.penumbra)));
    }

    // Where the first use has no matrix above it and a later one has, the later one is made instance 0.
    bool orders()
    {
        for (size_t i = 0; i < _parents.size(); ++i) {
            const std::vector<Use>& uses = _parents[i];
            const auto first =
                std::find_if(uses.begin(), uses.end(), [](const Use& u) { return u.carriesMatrix; });
            if (first == uses.begin() || first == uses.end())
                continue;
            std::vector<FileIndex> order{first->parent};
            for (auto use = uses.begin(); use != uses.end(); ++use)
                if (use != first)
                    order.push_back(use->parent);
            if (!_sink.parentOrder(_shapes[i], order.data(), order.size()))
                return false;
        }
        return true;
    }

    bool value(const NodeType& type, const char* attr, double value)
    {
        return _sink.numbers(type.findAttr(attr), &value, 1);
    }
    bool pair(const NodeType& type, const char* attr, const double (&values)[2], double otherwise)
    {
        return (values[0] == otherwise && values[1] == otherwise) ||
               _sink.numbers(type.findAttr(attr), values, 2);
    }
    bool color(const NodeType& type, const char* attr, const float (&rgb)[3])
    {
        const double values[3] = {static_cast<double>(rgb[0]), static_cast<double>(rgb[1]),
                                  static_cast<double>(rgb[2])};
        return _sink.numbers(type.findAttr(attr), values, 3);
    }

    bool shader(const ForeignMaterial& from)
    {
        const char* const typeName = from.isGlossy ? "phong" : "lambert";
        const NodeType& type = *findNodeType(typeName);
        if (!node(typeName, from.name, kNoIndex))
            return false;
        const float transparency[3] = {from.transparency, from.transparency, from.transparency};
        // The colour is the diffuse one as it is.
        return value(type, "diffuse", 1) && (!from.hasColor || color(type, "color", from.color)) &&
               (!from.hasAmbient || color(type, "ambientColor", from.ambient)) &&
               (!from.hasEmission || color(type, "incandescence", from.emission)) &&
               (from.transparency == 0 || color(type, "transparency", transparency)) &&
               (!from.isGlossy || (color(type, "specularColor", from.specular) &&
                                   value(type, "cosinePower", static_cast<double>(from.shininess))));
    }

    /// What stands before a shader's colour.
    struct Texture {
        FileIndex file = kNoIndex; ///< kNoIndex: there is none
        FileIndex place = kNoIndex;
        FileIndex chooser = kNoIndex; ///< kNoIndex: the first UV set is used
    };

    bool texture(const ForeignMaterial& material, Texture& made)
    {
        const ForeignTexture& from = material.texture;
        if (from.file.empty())
            return true;
        const NodeType& file = *findNodeType("file");
        const NodeType& place = *findNodeType("place2dTexture");
        made.file = _next;
        if (!node("file", "", kNoIndex) || !_sink.text(file.findAttr("fileTextureName"), -1, from.file) ||
            (material.hasColor && !color(file, "colorGain", material.color)))
            return false;
        made.place = _next;
        if (!node("place2dTexture", "", kNoIndex) || !pair(place, "repeatUV", from.repeat, 1) ||
            !pair(place, "offset", from.offset, 0) ||
            (from.rotation != 0 && !value(place, "rotateUV", from.rotation)) ||
            (from.mirror[0] && !value(place, "mirrorU", 1)) ||
            (from.mirror[1] && !value(place, "mirrorV", 1)) || (!from.wrap[0] && !value(place, "wrapU", 0)) ||
            (!from.wrap[1] && !value(place, "wrapV", 0)))
            return false;
        if (from.channel == 0)
            return true;
        made.chooser = _next;
        return node("uvChooser", "", kNoIndex);
    }

    bool connectTexture(const Texture& texture, FileIndex shader, unsigned channel,
                        const std::vector<size_t>& meshes)
    {
        if (texture.file == kNoIndex)
            return true;
        if (!_sink.connection(texture.file, "outColor", shader, "color") ||
            !_sink.connection(texture.place, "outUV", texture.file, "uvCoord"))
            return false;
        if (texture.chooser == kNoIndex)
            return true;
        if (!_sink.connection(texture.chooser, "outUV", texture.place, "uvCoord"))
            return false;
        size_t element = 0;
        for (size_t mesh : meshes) {
            // A mesh is handed over with its arrays, so the numbers of its sets were noted before.
            const int set = setOfChannel(mesh, channel);
            if (set >= 0 && !_sink.connection(_shapes[mesh], "uvSets[" + std::to_string(set) + "].uvSetName",
                                              texture.chooser, "uvSets[" + std::to_string(element++) + "]"))
                return false;
        }
        return true;
    }

    /// -1: the mesh has no such channel.
    int setOfChannel(size_t mesh, unsigned channel) const
    {
        const std::vector<std::string>& names = _uvSets[mesh];
        const auto found = std::find(names.begin(), names.end(), uvSetName(channel));
        return found == names.end() ? -1 : static_cast<int>(found - names.begin());
    }

    bool materials()
    {
        std::vector<std::vector<size_t>> meshesOf(_scene.materials.size());
        for (size_t i = 0; i < _scene.meshes.size(); ++i)
            if (_scene.meshes[i].material >= 0 && _shapes[i] != kNoIndex)
                meshesOf[static_cast<size_t>(_scene.meshes[i].material)].push_back(i);
        struct Group {
            FileIndex shader;
            FileIndex set;
            Texture texture;
        };
        std::vector<Group> groups;
        for (const ForeignMaterial& material : _scene.materials) {
            Group group;
            group.shader = _next;
            if (!shader(material))
                return false;
            group.set = _next;
            if (!node("shadingEngine", material.name.empty() ? material.name : material.name + "SG",
                      kNoIndex))
                return false;
            if (!texture(material, group.texture))
                return false;
            groups.push_back(group);
        }
        for (size_t m = 0; m < groups.size(); ++m)
            for (size_t mesh : meshesOf[m])
                for (size_t use = 0; use < _parents[mesh].size(); ++use)
                    if (!_sink.member(groups[m].set, _shapes[mesh], static_cast<uint32_t>(use), nullptr))
                        return false;
        if (!withoutMaterial())
            return false;
        for (size_t m = 0; m < groups.size(); ++m)
            if (!_sink.connection(groups[m].shader, "outColor", groups[m].set, "surfaceShader") ||
                !connectTexture(groups[m].texture, groups[m].shader, _scene.materials[m].texture.channel,
                                meshesOf[m]))
                return false;
        return true;
    }

    // A shape in no shading group would not be drawn; the default one takes it.
    bool withoutMaterial()
    {
        FileIndex group = kNoIndex;
        for (size_t i = 0; i < _scene.meshes.size(); ++i) {
            if (_scene.meshes[i].material >= 0 || _shapes[i] == kNoIndex)
                continue;
            if (group == kNoIndex) {
                group = _next++;
                if (!_sink.defaultNode(group, "initialShadingGroup"))
                    return false;
            }
            for (size_t use = 0; use < _parents[i].size(); ++use)
                if (!_sink.member(group, _shapes[i], static_cast<uint32_t>(use), nullptr))
                    return false;
        }
        return true;
    }

    struct Use {
        FileIndex parent;
        bool carriesMatrix; ///< the transform above has a matrix
    };
    ForeignScene& _scene;
    SceneSink& _sink;
    FileIndex _next = 0;
    std::vector<FileIndex> _shapes;                ///< by mesh; kNoIndex: not made
    std::vector<std::vector<Use>> _parents;        ///< by mesh, in the order of the walk
    std::vector<std::vector<std::string>> _uvSets; ///< by mesh: names
};

} // namespace

std::string uvSetName(unsigned channel)
{
    return channel == 0 ? "map1" : "uvSet" + std::to_string(channel);
}

bool tellForeignScene(ForeignScene& scene, SceneSink& sink)
{
    return ForeignTeller(scene, sink).run();
}

} // namespace kelda
