// Whatever a scene holds, info shows the same of its ASCII and its binary form.

#include "Program.h"
#include "Scenes.h"

#include <kelda/KDagPathArray.h>
#include <kelda/KEulerRotation.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatPointArray.h>
#include <kelda/KFloatVectorArray.h>
#include <kelda/KFnDagNode.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnSet.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KIntArray.h>
#include <kelda/KPlug.h>
#include <kelda/KQuaternion.h>
#include <kelda/KStatus.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <rapidcheck.h>

#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

using nlohmann::json;

namespace
{

void check(const KStatus& status, const char* what)
{
    if (status.error())
        throw std::runtime_error(what);
}

// -- Scenes of any kind ------------------------------------------------------------------------------

struct UVSetPlan {
    std::vector<float> u, v;
    std::vector<int> ids; ///< per face vertex; empty: nothing is assigned
    int facesWithout = 0; ///< so many first faces have no UVs
};

struct MeshPlan {
    std::vector<float> points; ///< x y z ...
    std::vector<int> counts;
    std::vector<int> corners;
    std::vector<float> normals; ///< empty: computed ones
    std::vector<int> normalIds;
    std::vector<UVSetPlan> uvSets;
    bool intermediate = false;
};

struct NodePlan {
    int parent = -1; ///< -1: the world
    bool isMesh = false;
    bool hidden = false;
    std::vector<double> numbers; ///< of a transform: its components; empty: the identity
    int rotateOrder = 0;
    MeshPlan mesh;
};

struct InstancePlan {
    int parent; ///< before the child in the list of nodes: there are no cycles
    int child;
};

struct MemberPlan {
    int group;
    int node; ///< a mesh
    unsigned instance;
    int firstFace; ///< -1: all
    int lastFace;
};

struct ScenePlan {
    int unit = 0;
    int groups = 0;
    std::vector<NodePlan> nodes;
    std::vector<InstancePlan> instances;
    std::vector<MemberPlan> members;
};

std::ostream& operator<<(std::ostream& out, const ScenePlan& plan)
{
    out << "unit " << plan.unit << ", " << plan.groups << " groups\n";
    for (const NodePlan& node : plan.nodes) {
        out << (node.isMesh ? "  mesh" : "  transform") << " below " << node.parent
            << (node.hidden ? ", hidden" : "");
        for (const double number : node.numbers)
            out << ' ' << number;
        for (const int count : node.mesh.counts)
            out << ' ' << count;
        out << ", " << node.mesh.uvSets.size() << " UV sets\n";
    }
    for (const InstancePlan& row : plan.instances)
        out << "  " << row.child << " also below " << row.parent << '\n';
    for (const MemberPlan& row : plan.members)
        out << "  group " << row.group << ": " << row.node << " instance " << row.instance << " faces "
            << row.firstFace << ".." << row.lastFace << '\n';
    return out;
}

const char* const units[] = {"millimeter", "centimeter", "meter", "inch", "mile"};

/// All of the range, however early the case: ranges grow with the size of cases.
int anyInt(int end)
{
    return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0, end));
}

/// Short numbers, and such that need all their digits.
double anyNumber()
{
    const int small = anyInt(801) - 400;
    return anyInt(3) == 0 ? small / 7.0 : small / 8.0;
}

std::vector<float> anyFloats(int count)
{
    std::vector<float> floats;
    for (int i = 0; i < count; ++i)
        floats.push_back(static_cast<float>(anyNumber()));
    return floats;
}

std::vector<int> anyIds(std::size_t count, int end)
{
    std::vector<int> ids;
    for (std::size_t i = 0; i < count; ++i)
        ids.push_back(anyInt(end));
    return ids;
}

MeshPlan anyMesh()
{
    MeshPlan mesh;
    const int points = 3 + anyInt(6);
    mesh.points = anyFloats(3 * points);
    const int faces = 1 + anyInt(5);
    for (int f = 0; f < faces; ++f) {
        const int corners = 3 + anyInt(5);
        mesh.counts.push_back(corners);
        // Corners in a row; sometimes any, so that a polygon may have too few different ones.
        const bool wild = anyInt(6) == 0;
        for (int k = 0; k < corners; ++k)
            mesh.corners.push_back(wild ? anyInt(points) : (f + k) % points);
    }
    if (anyInt(2) == 1) {
        const int normals = 1 + anyInt(4);
        mesh.normals = anyFloats(3 * normals);
        mesh.normalIds = anyIds(mesh.corners.size(), normals);
    }
    for (int s = anyInt(4); s > 0; --s) {
        UVSetPlan set;
        const int uvs = 1 + anyInt(5);
        set.u = anyFloats(uvs);
        set.v = anyFloats(uvs);
        if (anyInt(4) != 0)
            set.ids = anyIds(mesh.corners.size(), uvs);
        set.facesWithout = anyInt(3) == 0 ? anyInt(faces + 1) : 0;
        mesh.uvSets.push_back(set);
    }
    mesh.intermediate = anyInt(8) == 0;
    return mesh;
}

ScenePlan anyScene()
{
    ScenePlan plan;
    plan.unit = anyInt(5);
    plan.groups = anyInt(4);
    std::vector<int> groups;
    const int count = 1 + anyInt(10);
    for (int i = 0; i < count; ++i) {
        NodePlan node;
        node.isMesh = !groups.empty() && anyInt(2) == 1;
        node.hidden = anyInt(5) == 0;
        const bool inWorld = groups.empty() || (!node.isMesh && anyInt(3) == 0);
        node.parent = inWorld ? -1 : groups[static_cast<std::size_t>(anyInt(int(groups.size())))];
        node.rotateOrder = anyInt(6);
        if (node.isMesh) {
            node.mesh = anyMesh();
        } else {
            groups.push_back(i);
            if (anyInt(3) != 0) {
                for (int k = 0; k < 27; ++k)
                    node.numbers.push_back(anyInt(2) == 0 ? (k >= 6 && k < 9 ? 1.0 : 0.0) : anyNumber());
            }
        }
        plan.nodes.push_back(node);
    }
    for (int i = anyInt(4); i > 0; --i) {
        const int parent = groups[static_cast<std::size_t>(anyInt(int(groups.size())))];
        if (parent + 1 < count)
            plan.instances.push_back({parent, parent + 1 + anyInt(count - parent - 1)});
    }
    for (int i = 0; i < count && plan.groups > 0; ++i) {
        if (!plan.nodes[static_cast<std::size_t>(i)].isMesh)
            continue;
        const int faces = static_cast<int>(plan.nodes[static_cast<std::size_t>(i)].mesh.counts.size());
        if (anyInt(3) == 0) {
            plan.members.push_back({anyInt(plan.groups), i, static_cast<unsigned>(anyInt(2)), -1, -1});
            continue;
        }
        for (int face = 0; face < faces;) {
            const int last = face + anyInt(faces - face);
            plan.members.push_back({anyInt(plan.groups), i, static_cast<unsigned>(anyInt(2)), face, last});
            face = last + 1 + anyInt(2);
        }
    }
    return plan;
}

// -- Making them -------------------------------------------------------------------------------------

KIntArray ints(const std::vector<int>& values)
{
    return KIntArray(values.data(), static_cast<unsigned>(values.size()));
}

KFloatArray floats(const std::vector<float>& values)
{
    return KFloatArray(values.data(), static_cast<unsigned>(values.size()));
}

KObject makeTransform(const NodePlan& plan, const KObject& parent)
{
    KFnTransform fn;
    KStatus status;
    const KObject object = fn.create(parent, &status);
    check(status, "transform");
    if (plan.numbers.empty())
        return object;
    const double* const n = plan.numbers.data();
    const KSpace::Space space = KSpace::kTransform;
    check(fn.setTranslation(KVector(n[0], n[1], n[2]), space), "translation");
    check(fn.setRotation(
              KEulerRotation(n[3], n[4], n[5], static_cast<KEulerRotation::RotationOrder>(plan.rotateOrder))),
          "rotation");
    check(fn.setScale(n + 6), "scale");
    check(fn.setShear(n + 9), "shear");
    check(fn.setScalePivot(KPoint(n[12], n[13], n[14]), space), "scale pivot");
    check(fn.setScalePivotTranslation(KVector(n[15], n[16], n[17]), space), "scale pivot translation");
    check(fn.setRotatePivot(KPoint(n[18], n[19], n[20]), space), "rotate pivot");
    check(fn.setRotatePivotTranslation(KVector(n[21], n[22], n[23]), space), "rotate pivot translation");
    check(fn.setRotateOrientation(KEulerRotation(n[24], n[25], n[26]).asQuaternion(), space), "orientation");
    return object;
}

KObject makeMesh(const MeshPlan& plan, const KObject& parent)
{
    KFloatPointArray points;
    for (std::size_t i = 0; i < plan.points.size(); i += 3)
        points.append(KFloatPoint(plan.points[i], plan.points[i + 1], plan.points[i + 2]));
    KFnMesh mesh;
    KStatus status;
    const KObject object =
        mesh.create(static_cast<int>(points.length()), static_cast<int>(plan.counts.size()), points,
                    ints(plan.counts), ints(plan.corners), parent, &status);
    check(status, "mesh");
    if (!plan.normals.empty()) {
        KFloatVectorArray normals;
        for (std::size_t i = 0; i < plan.normals.size(); i += 3)
            normals.append(KFloatVector(plan.normals[i], plan.normals[i + 1], plan.normals[i + 2]));
        check(mesh.setNormals(normals, ints(plan.normalIds)), "normals");
    }
    for (std::size_t s = 0; s < plan.uvSets.size(); ++s) {
        const UVSetPlan& set = plan.uvSets[s];
        const KString name(("uv" + std::to_string(s)).c_str());
        check(mesh.createUVSet(name), "UV set");
        check(mesh.setUVs(floats(set.u), floats(set.v), &name), "UVs");
        if (set.ids.empty())
            continue;
        std::vector<int> counts = plan.counts;
        std::size_t first = 0;
        for (int f = 0; f < set.facesWithout; ++f) {
            first += static_cast<std::size_t>(counts[static_cast<std::size_t>(f)]);
            counts[static_cast<std::size_t>(f)] = 0;
        }
        const std::vector<int> ids(set.ids.begin() + static_cast<std::ptrdiff_t>(first), set.ids.end());
        check(mesh.assignUVs(ints(counts), ints(ids), &name), "UV ids");
    }
    if (plan.intermediate)
        check(mesh.setIntermediateObject(true), "intermediate object");
    return object;
}

void make(const ScenePlan& plan)
{
    check(KFileIO::newFile(true), "new scene");
    check(KGlobal::executeCommand((std::string("currentUnit -linear \"") + units[plan.unit] + "\"").c_str()),
          "unit");
    std::vector<KObject> nodes;
    for (const NodePlan& row : plan.nodes) {
        const KObject parent =
            row.parent < 0 ? KObject::kNullObj : nodes[static_cast<std::size_t>(row.parent)];
        nodes.push_back(row.isMesh ? makeMesh(row.mesh, parent) : makeTransform(row, parent));
        if (row.hidden)
            check(KFnDagNode(nodes.back()).findPlug("visibility").setValue(false), "visibility");
    }
    for (const InstancePlan& row : plan.instances) {
        KFnDagNode parent(nodes[static_cast<std::size_t>(row.parent)]);
        const KObject& child = nodes[static_cast<std::size_t>(row.child)];
        if (!parent.hasChild(child))
            check(parent.addChild(child, KFnDagNode::kNextPos, true), "instance");
    }
    std::vector<std::string> groups;
    for (int i = 0; i < plan.groups; ++i) {
        KFnSet set;
        KStatus status;
        set.create(("group" + std::to_string(i)).c_str(), true, &status);
        check(status, "group");
        groups.push_back(set.name().asChar());
    }
    for (const MemberPlan& row : plan.members) {
        KDagPathArray paths;
        check(KFnDagNode(nodes[static_cast<std::size_t>(row.node)]).getAllPaths(paths), "paths");
        std::string member = paths[row.instance % paths.length()].fullPathName().asChar();
        if (row.firstFace >= 0)
            member += ".f[" + std::to_string(row.firstFace) + ":" + std::to_string(row.lastFace) + "]";
        const std::string command = "sets -edit -forceElement \"" +
                                    groups[static_cast<std::size_t>(row.group)] + "\" \"" + member + "\"";
        check(KGlobal::executeCommand(command.c_str()), "member");
    }
}

// -- What info shows ---------------------------------------------------------------------------------

std::string withoutSuffixes(std::string text)
{
    for (const char* suffix : {".ka", ".kb"}) {
        for (std::string::size_type at = 0; (at = text.find(suffix, at)) != std::string::npos;)
            text.erase(at, 3);
    }
    return text;
}

constexpr std::size_t scenesPerRun = 8; // starting a process takes longer than reading a small scene

/// All that a document says of its i-th file, but for its suffix.
json shownOf(const json& document, std::size_t i)
{
    json shown = document["results"][i];
    const json file = shown["file"];
    shown.erase("file");
    shown.erase("suffix");
    for (json& message : shown["messages"])
        message["text"] = withoutSuffixes(message["text"]);
    shown["issues"] = json::array();
    for (const json& issue : document["issues"]) {
        if (issue["file"] != file)
            continue;
        json kept = issue;
        kept.erase("file");
        kept["message"] = withoutSuffixes(kept["message"]);
        shown["issues"].push_back(kept);
    }
    return shown;
}

TEST(SceneForms, ofAnySceneShowTheSame)
{
    startModeller();
    ::setenv("RC_PARAMS", "seed=20170620 max_success=40", 0);
    const bool held = rc::check("both forms give the same document", [] {
        const std::vector<ScenePlan> plans = *rc::gen::container<std::vector<ScenePlan>>(
            scenesPerRun, rc::gen::exec([] { return anyScene(); }));
        const TemporaryFolder folder;
        // The first file of a run starts the SDK, which says so.
        std::vector<std::string> files = {"first.ka"};
        check(KFileIO::newFile(true), "new scene");
        check(KFileIO::saveAs((folder / files[0]).c_str(), "keldaAscii"), "save");
        for (std::size_t i = 0; i < plans.size(); ++i) {
            const std::string base = "scene" + std::to_string(i);
            make(plans[i]);
            check(KFileIO::saveAs((folder / (base + ".ka")).c_str(), "keldaAscii"), "save");
            check(KFileIO::saveAs((folder / (base + ".kb")).c_str(), "keldaBinary"), "save");
            files.push_back(base + ".ka");
            files.push_back(base + ".kb");
        }

        std::vector<std::string> arguments = {"info", "--json", "--arrays"};
        arguments.insert(arguments.end(), files.begin(), files.end());
        const Outcome run = runZyscene(arguments, folder.path());
        RC_ASSERT(run.exit == 0);
        const json document = json::parse(run.out);
        RC_ASSERT(document["results"].size() == files.size());
        for (std::size_t i = 1; i < files.size(); i += 2) {
            const json ascii = shownOf(document, i);
            const json binary = shownOf(document, i + 1);
            RC_LOG() << json::diff(ascii, binary).dump() << "\n";
            RC_ASSERT(ascii == binary);
        }
        std::size_t meshes = 0;
        for (const ScenePlan& plan : plans) {
            for (const NodePlan& node : plan.nodes)
                meshes += node.isMesh ? 1 : 0;
        }
        RC_CLASSIFY(meshes > 3, "several meshes");
        RC_CLASSIFY(!document["issues"].empty(), "with issues");
    });
    EXPECT_TRUE(held);
}

} // namespace
