// make_car FOLDER: builds the example car through the SDK and saves it, its pictures and its material
// library.
//
// Centimetres; x points forward, y up, z to the right. The committed files are this program's output.

#include "Building.h"
#include "Library.h"
#include "Pictures.h"

#include <kelda/KDagPath.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatPointArray.h>
#include <kelda/KFnAnimCurve.h>
#include <kelda/KFnDagNode.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KIntArray.h>
#include <kelda/KVectorArray.h>

#include <cmath>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
// Short numbers make a readable file.
float rounded(double value)
{
    return static_cast<float>(std::round(value * 1000.0) / 1000.0);
}

// -- parts -----------------------------------------------------------------------------------------

/// A mesh in the making: each face knows its shading group.
struct Part {
    std::vector<Point> points;
    std::vector<std::vector<int>> faces;
    std::vector<std::string> groups; ///< of each face
    bool smooth = false;             ///< one normal a point instead of one a face

    int add(double x, double y, double z)
    {
        points.push_back({x, y, z});
        return static_cast<int>(points.size()) - 1;
    }
    void face(const std::vector<int>& corners, const std::string& group)
    {
        faces.push_back(corners);
        groups.push_back(group);
    }
};

/// Planar projection: u and v are the two axes, scaled into 0..1.
struct Projection {
    const char* set;
    int uAxis;
    int vAxis;
    double uFrom, uSize, vFrom, vSize;
};

double axisOf(const Point& p, int axis)
{
    return axis == 0 ? p.x : axis == 1 ? p.y : p.z;
}

Point faceNormal(const Part& part, const std::vector<int>& face)
{
    Point sum{0, 0, 0};
    for (size_t i = 0; i < face.size(); ++i) {
        const Point& a = part.points[static_cast<size_t>(face[i])];
        const Point& b = part.points[static_cast<size_t>(face[(i + 1) % face.size()])];
        sum.x += (a.y - b.y) * (a.z + b.z);
        sum.y += (a.z - b.z) * (a.x + b.x);
        sum.z += (a.x - b.x) * (a.y + b.y);
    }
    return sum;
}

void setSmoothNormals(KFnMesh& mesh, const Part& part)
{
    std::vector<Point> sums(part.points.size(), Point{0, 0, 0});
    for (const std::vector<int>& face : part.faces) {
        const Point n = faceNormal(part, face);
        for (const int corner : face) {
            Point& sum = sums[static_cast<size_t>(corner)];
            sum = {sum.x + n.x, sum.y + n.y, sum.z + n.z};
        }
    }
    KVectorArray normals;
    KIntArray vertices;
    for (size_t i = 0; i < sums.size(); ++i) {
        const double length =
            std::sqrt(sums[i].x * sums[i].x + sums[i].y * sums[i].y + sums[i].z * sums[i].z);
        normals.append(
            KVector(rounded(sums[i].x / length), rounded(sums[i].y / length), rounded(sums[i].z / length)));
        vertices.append(static_cast<int>(i));
    }
    check(mesh.setVertexNormals(normals, vertices, KSpace::kObject), "normals");
}

void project(KFnMesh& mesh, const Part& part, const Projection& projection)
{
    const KString set(projection.set);
    check(mesh.createUVSet(set), "UV set");
    KFloatArray us;
    KFloatArray vs;
    for (const Point& p : part.points) {
        us.append(rounded((axisOf(p, projection.uAxis) - projection.uFrom) / projection.uSize));
        vs.append(rounded((axisOf(p, projection.vAxis) - projection.vFrom) / projection.vSize));
    }
    KIntArray counts;
    KIntArray ids;
    for (const std::vector<int>& face : part.faces) {
        counts.append(static_cast<int>(face.size()));
        for (const int corner : face)
            ids.append(corner);
    }
    check(mesh.setUVs(us, vs, &set), "UVs");
    check(mesh.assignUVs(counts, ids, &set), "UV indices");
}

// Puts the faces into their shading groups, as ranges. A mesh of one group is a member as a whole.
void assignGroups(const std::string& shape, const Part& part)
{
    std::map<std::string, std::string> members;
    bool single = true;
    for (const std::string& group : part.groups)
        single = single && group == part.groups.front();
    if (single) {
        members[part.groups.front()] = " \"" + shape + "\"";
    } else {
        for (size_t first = 0; first < part.groups.size();) {
            size_t last = first;
            while (last + 1 < part.groups.size() && part.groups[last + 1] == part.groups[first])
                ++last;
            members[part.groups[first]] +=
                " \"" + shape + ".f[" + std::to_string(first) + ":" + std::to_string(last) + "]\"";
            first = last + 1;
        }
    }
    for (const auto& member : members)
        run("sets -edit -forceElement \"" + member.first + "\"" + member.second);
}

KObject makeShape(const std::string& name, const Part& part, const KObject& transform,
                  const std::vector<Projection>& projections)
{
    KFloatPointArray points;
    for (const Point& p : part.points)
        points.append(KFloatPoint(rounded(p.x), rounded(p.y), rounded(p.z)));
    KIntArray counts;
    KIntArray connects;
    for (const std::vector<int>& face : part.faces) {
        counts.append(static_cast<int>(face.size()));
        for (const int corner : face)
            connects.append(corner);
    }
    KFnMesh mesh;
    KStatus status;
    const KObject shape = mesh.create(static_cast<int>(points.length()), static_cast<int>(counts.length()),
                                      points, counts, connects, transform, &status);
    check(status, "mesh " + name);
    mesh.setName((name + "Shape").c_str());
    if (part.smooth)
        setSmoothNormals(mesh, part);
    for (const Projection& projection : projections)
        project(mesh, part, projection);
    assignGroups(name + "Shape", part);
    return shape;
}

KObject makeObject(const std::string& name, const Part& part, const KObject& parent,
                   const std::vector<Projection>& projections = {})
{
    const KObject transform = makeTransform(name, parent);
    makeShape(name, part, transform, projections);
    return transform;
}

// -- materials -------------------------------------------------------------------------------------

/// A file texture that shows the picture of its name.
void makeTexture(const std::string& name)
{
    run("createNode file -name \"" + name + "\"");
    run("setAttr \"" + name + ".fileTextureName\" \"" + name + ".png\"");
}

/// Puts a planar projection and its placement between a file texture and a shader.
void project(const std::string& texture, const std::string& shader)
{
    run("createNode projection -name \"" + texture + "_projection\"");
    run("createNode place3dTexture -name \"" + texture + "_placement\"");
    run("connectAttr \"" + texture + ".outColor\" \"" + texture + "_projection.image\"");
    run("connectAttr \"" + texture + "_placement.worldInverseMatrix[0]\" \"" + texture +
        "_projection.placementMatrix\"");
    run("connectAttr \"" + texture + "_projection.outColor\" \"" + shader + ".color\"");
}

void addMaterials()
{
    makeShiny("paint", {0.8, 0.8, 0.8}, {0.18, 0.18, 0.18}, 25);
    makeShader("lambert", "trim", {0.07, 0.07, 0.08});
    makeShader("blinn", "chrome", {0.55, 0.57, 0.6});
    run("setAttr \"chrome.eccentricity\" 0.2");
    set("chrome.specularColor", 0.35, 0.35, 0.35);
    makeShiny("glass", {0.25, 0.35, 0.4}, {1, 1, 1}, 80);
    set("glass.transparency", 0.7, 0.7, 0.7);
    makeShader("lambert", "rubber", {0.05, 0.05, 0.05});
    makeShiny("lamp", {0.75, 0.75, 0.65}, {0.4, 0.4, 0.4}, 60);
    set("lamp.incandescence", 0.2, 0.2, 0.12);
    makeShiny("tail", {0.7, 0.02, 0.02}, {0.2, 0.2, 0.2}, 30);
    set("tail.incandescence", 0.2, 0, 0);

    makeShader("lambert", "plate", {1, 1, 1});
    makeTexture("number");
    run("connectAttr number.outColor plate.color");

    // A small cloth, repeated.
    makeShader("lambert", "fabric", {1, 1, 1});
    makeTexture("cloth");
    run("connectAttr cloth.outColor fabric.color");
    run("createNode place2dTexture -name \"cloth_repeat\"");
    run("setAttr \"cloth_repeat.repeatUV\" 6 6");
    run("connectAttr cloth_repeat.outUV cloth.uvCoord");

    // Panels on the first UV set, times stripes on the second, times the colour of the paint.
    makeTexture("panels");
    makeTexture("stripes");
    run("connectAttr panels.outColor paint.color");
    run("connectAttr stripes.outColor panels.colorGain");
    set("stripes.colorGain", 0.75, 0.09, 0.07);
    run("createNode place2dTexture -name \"stripes_place\"");
    run("createNode uvChooser -name \"stripes_uvs\"");
    run("connectAttr stripes_place.outUV stripes.uvCoord");
    run("connectAttr stripes_uvs.outUV stripes_place.uvCoord");

    makeShader("lambert", "roundel", {1, 1, 1});
    makeTexture("seven");
    project("seven", "roundel");
    makeShader("lambert", "sign", {1, 1, 1});
    set("sign.incandescence", 0.25, 0.25, 0.1);
    makeTexture("taxi");
    project("taxi", "sign");
}

// -- shapes ----------------------------------------------------------------------------------------

Part box(double x, double y, double z, const std::string& group)
{
    Part part;
    for (const double side : {-0.5, 0.5}) {
        part.add(-x / 2, -y / 2, side * z);
        part.add(x / 2, -y / 2, side * z);
        part.add(x / 2, y / 2, side * z);
        part.add(-x / 2, y / 2, side * z);
    }
    for (const std::vector<int>& face :
         {std::vector<int>{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4}, {2, 3, 7, 6}, {1, 2, 6, 5}, {3, 0, 4, 7}})
        part.face(face, group);
    return part;
}

/// A ring of revolution about z: profile points (radius, z), closed or open.
Part revolved(const std::vector<std::pair<double, double>>& profile, int segments, bool closed,
              const std::string& group)
{
    Part part;
    const int n = static_cast<int>(profile.size());
    for (int s = 0; s < segments; ++s) {
        const double angle = 2 * pi * s / segments;
        for (const auto& p : profile)
            part.add(p.first * std::cos(angle), p.first * std::sin(angle), p.second);
    }
    for (int s = 0; s < segments; ++s) {
        const int a = s * n;
        const int b = (s + 1) % segments * n;
        for (int i = 0; i + (closed ? 0 : 1) < n; ++i) {
            const int j = (i + 1) % n;
            part.face({a + i, b + i, b + j, a + j}, group);
        }
    }
    part.smooth = true;
    return part;
}

Part tyre()
{
    return revolved({{22, -9}, {29, -10}, {32, -7}, {32, 7}, {29, 10}, {22, 9}}, 24, true, "rubberSG");
}

/// Five spokes: a hub disc, spoke quads and the rim's ring.
Part rim()
{
    Part part = revolved({{22, 8}, {20, 6}, {20, -6}, {22, -8}}, 24, false, "chromeSG");
    part.smooth = false;
    std::vector<int> hub;
    for (int i = 0; i < 10; ++i) {
        const double angle = 2 * pi * i / 10;
        hub.push_back(part.add(6 * std::cos(angle), 6 * std::sin(angle), 7));
    }
    part.face(hub, "chromeSG");
    for (int spoke = 0; spoke < 5; ++spoke) {
        const double angle = 2 * pi * spoke / 5;
        std::vector<int> corners;
        for (const auto& p : {std::make_pair(5.0, -2.0), std::make_pair(20.5, -3.0),
                              std::make_pair(20.5, 3.0), std::make_pair(5.0, 2.0)})
            corners.push_back(part.add(p.first * std::cos(angle) - p.second * std::sin(angle),
                                       p.first * std::sin(angle) + p.second * std::cos(angle), 6));
        part.face(corners, "chromeSG");
    }
    return part;
}

/// Half width, lower and upper edge of the body at a place along the car.
struct Station {
    double x, halfWidth, bottom, top;
};

const Station stations[] = {
    {-212, 66, 40, 70}, {-206, 76, 30, 82}, {-190, 82, 26, 88}, {-165, 85, 25, 91}, {-130, 87, 24, 92},
    {-90, 87, 22, 92},  {-40, 87, 20, 91},  {10, 87, 20, 90},   {60, 87, 20, 89},   {90, 86, 22, 87},
    {130, 86, 24, 83},  {165, 84, 25, 78},  {190, 80, 26, 72},  {204, 74, 30, 66},  {212, 64, 38, 58},
};

Part body()
{
    Part part;
    const int ring = 12;
    for (const Station& s : stations) {
        const double w = s.halfWidth;
        const double height = s.top - s.bottom;
        const double profile[7][2] = {{0, 0},        {0.84, 0},   {0.97, 0.16}, {1.0, 0.45},
                                      {0.985, 0.82}, {0.9, 0.98}, {0, 1.03}};
        for (int i = 0; i < 7; ++i)
            part.add(s.x, s.bottom + profile[i][1] * height, profile[i][0] * w);
        for (int i = 5; i > 0; --i)
            part.add(s.x, s.bottom + profile[i][1] * height, -profile[i][0] * w);
    }
    const int count = static_cast<int>(sizeof(stations) / sizeof(stations[0]));
    // Side by side: the underside and the sills are trim, the rest is paint.
    for (const bool trim : {true, false}) {
        for (int s = 0; s + 1 < count; ++s) {
            for (int i = 0; i < ring; ++i) {
                const bool isTrim = i < 2 || i >= 10;
                if (isTrim != trim)
                    continue;
                const int a = s * ring;
                const int b = a + ring;
                const int j = (i + 1) % ring;
                part.face({a + i, b + i, b + j, a + j}, trim ? "trimSG" : "paintSG");
            }
        }
    }
    std::vector<int> back;
    std::vector<int> front;
    for (int i = 0; i < ring; ++i) {
        back.push_back(i);
        front.push_back((count - 1) * ring + ring - 1 - i);
    }
    part.face(back, "chromeSG");
    part.face(front, "chromeSG");
    return part;
}

/// Windows, pillars and roof: side walls between the belt line and the roof's edge, split into panes and
/// posts.
Part cabin()
{
    Part part;
    const Point low[4] = {{-172, 90, 72}, {92, 88, 72}, {92, 88, -72}, {-172, 90, -72}};
    const Point high[4] = {{-118, 139, 55}, {18, 141, 55}, {18, 141, -55}, {-118, 139, -55}};
    const std::vector<double> sidePosts = {0, 0.07, 0.32, 0.36, 0.63, 0.67, 0.93, 1};
    const std::vector<double> endPosts = {0, 0.05, 0.95, 1};
    std::vector<std::vector<int>> panes;
    std::vector<std::vector<int>> posts;
    std::vector<int> roof;
    for (int side = 0; side < 4; ++side) {
        const Point& a = low[side];
        const Point& b = low[(side + 1) % 4];
        const Point& c = high[side];
        const Point& d = high[(side + 1) % 4];
        const std::vector<double>& cuts = side % 2 == 0 ? sidePosts : endPosts;
        int lowBefore = -1;
        int highBefore = -1;
        for (size_t k = 0; k < cuts.size(); ++k) {
            const double t = cuts[k];
            const int l = part.add(a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z));
            const int h = part.add(c.x + t * (d.x - c.x), c.y + t * (d.y - c.y), c.z + t * (d.z - c.z));
            if (k > 0)
                (k % 2 == 0 ? panes : posts).push_back({lowBefore, l, h, highBefore});
            if (k + 1 < cuts.size())
                roof.push_back(h);
            lowBefore = l;
            highBefore = h;
        }
    }
    for (const std::vector<int>& pane : panes)
        part.face(pane, "glassSG");
    for (const std::vector<int>& post : posts)
        part.face(post, "paintSG");
    part.face(roof, "paintSG");
    return part;
}

/// The dark opening above a wheel: an upright half disc, as one polygon.
Part wheelArch()
{
    Part part;
    std::vector<int> corners;
    for (int i = 0; i <= 14; ++i) {
        const double angle = pi * i / 14;
        corners.push_back(part.add(39 * std::cos(angle), 39 * std::sin(angle), 0));
    }
    part.face(corners, "rubberSG");
    return part;
}

// -- the car ---------------------------------------------------------------------------------------

const double axleX = 130;
const double axleY = 32;
const double trackZ = 80;

struct WheelPlace {
    const char* name;
    double x, z, steering;
};

const WheelPlace wheels[] = {{"front_left", axleX, -trackZ, 12},
                             {"front_right", axleX, trackZ, 12},
                             {"rear_left", -axleX, -trackZ, 0},
                             {"rear_right", -axleX, trackZ, 0}};

void addWheels(const KObject& car)
{
    KObject tyreShape;
    KObject rimShape;
    for (const WheelPlace& wheel : wheels) {
        const std::string name(wheel.name);
        // Steers about the wheel's own upright axis.
        const KObject group = makeTransform("wheel_" + name, car);
        set("wheel_" + name + ".rotatePivot", wheel.x, axleY, wheel.z);
        turn("wheel_" + name + ".rotate", 0, wheel.steering, 0);
        const KObject tyreAt = makeTransform("tyre_" + name, group);
        const KObject rimAt = makeTransform("rim_" + name, group);
        place(tyreAt, wheel.x, axleY, wheel.z);
        place(rimAt, wheel.x, axleY, wheel.z);
        if (wheel.z < 0)
            turn("rim_" + name + ".rotate", 0, 180, 0); // the spokes stand on the outer side
        if (tyreShape.isNull()) {
            tyreShape = makeShape("tyre", tyre(), tyreAt, {{"map1", 0, 1, -32, 64, -32, 64}});
            rimShape = makeShape("rim", rim(), rimAt, {});
        } else {
            check(KFnDagNode(tyreAt).addChild(tyreShape, KFnDagNode::kNextPos, true), "instance of the tyre");
            check(KFnDagNode(rimAt).addChild(rimShape, KFnDagNode::kNextPos, true), "instance of the rim");
        }
        const KObject arch = makeObject("arch_" + name, wheelArch(), car);
        place(arch, wheel.x, axleY, wheel.z < 0 ? -87.2 : 87.2);
        if (wheel.z < 0)
            turn("arch_" + name + ".rotate", 0, 180, 0);
    }
}

/// One wheel comes off: a metre to the rear, in a second and a half.
void addAnimation()
{
    KObject wheel;
    check(KGlobal::findNode("wheel_rear_left", wheel), "the wheel");
    KStatus status;
    KFnAnimCurve curve;
    curve.create(KFnDependencyNode(wheel).findPlug("translateX"), &status);
    check(status, "animation curve");
    curve.setName("wheel_comes_off");
    for (const int frame : {0, 12, 24, 36}) {
        curve.addKey(KTime(frame, KTime::kFilm), 0.0 - 100.0 * frame * frame / (36 * 36), &status);
        check(status, "key");
    }
}

/// A flared edge over each wheel: half a ring, bulging outwards.
void addFenders(const KObject& car)
{
    const double edges[3][2] = {{41, -1}, {45, 3}, {39, 5}}; // radius, and how far it stands out
    std::vector<Weighted> points;
    for (int i = 0; i < 5; ++i) {
        static const double halfSquare[5][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}};
        for (const auto& edge : edges)
            points.push_back({edge[0] * halfSquare[i][0], edge[0] * halfSquare[i][1], edge[1],
                              i % 2 == 0 ? 1 : std::sqrt(0.5)});
    }
    for (const WheelPlace& wheel : wheels) {
        const std::string name = std::string("fender_") + wheel.name;
        const KObject fender = makeTransform(name, car);
        place(fender, wheel.x, axleY, wheel.z < 0 ? -86 : 86);
        if (wheel.z < 0)
            turn(name + ".rotate", 0, 180, 0);
        makeSurface(name, points, {0, 0, 1, 1, 2, 2}, {0, 0, 1, 1}, 2, 2, false, fender);
    }
}

void addDoors(const KObject& car)
{
    const KObject doors = makeTransform("doors", car);
    for (const int side : {-1, 1}) {
        const std::string name = side < 0 ? "door_left" : "door_right";
        Part panel = box(96, 52, 3, "paintSG");
        for (Point& p : panel.points)
            p = {p.x + 10, p.y + 60, p.z + side * 88.2};
        const KObject door = makeObject(name, panel, doors, {{"map1", 0, 1, -210, 420, 0, 140}});
        // Hinged at its front edge.
        set(name + ".rotatePivot", 58, 60, side * 88.2);
        if (side < 0)
            turn(name + ".rotate", 0, -38, 0);
        else
            place(door, 0, 0, 0.2);
        const KObject handle = makeObject(name + "_handle", box(12, 2.5, 2, "chromeSG"), door);
        place(handle, -26, 74, side * 91);
    }
}

void addSteeringWheel(const KObject& car)
{
    std::vector<std::pair<double, double>> section;
    for (int i = 0; i < 6; ++i)
        section.push_back({17 + 1.5 * std::cos(2 * pi * i / 6), 1.5 * std::sin(2 * pi * i / 6)});
    const KObject wheel = makeObject("steering_wheel", revolved(section, 16, true, "rubberSG"), car);
    place(wheel, 48, 92, -34);
    // Turns about its own column, which leans back.
    turn("steering_wheel.rotateAxis", 0, 65, 0);
    turn("steering_wheel.rotate", 0, 0, 20);
    set("steering_wheel.scalePivot", 0, 0, 0.5);
    set("steering_wheel.scale", 1, 1, 1.2);
}

void addDetails(const KObject& car)
{
    const KObject lamps = makeTransform("lamps", car);
    for (const int side : {-1, 1}) {
        const std::string name = side < 0 ? "_left" : "_right";
        place(makeObject("headlamp" + name, box(10, 11, 26, "lampSG"), lamps), 205, 58, side * 54);
        place(makeObject("taillamp" + name, box(8, 12, 22, "tailSG"), lamps), -209, 72, side * 58);
        const KObject mirror = makeObject("mirror" + name, box(7, 11, 18, "paintSG"), car);
        place(mirror, 70, 96, side * 88);
        set("mirror" + name + ".shear", 0, side * 0.35, 0);
    }
    const KObject plate =
        makeObject("plate", box(1.5, 11, 48, "plateSG"), car, {{"map1", 2, 1, -24, 48, -5.5, 11}});
    place(plate, -214, 52, 0);
    place(makeObject("bumper_front", box(8, 12, 150, "chromeSG"), car), 208, 36, 0);
    place(makeObject("bumper_rear", box(8, 12, 150, "chromeSG"), car), -208, 36, 0);
    for (const int side : {-1, 1}) {
        const std::string name = side < 0 ? "seat_left" : "seat_right";
        const KObject seat = makeTransform(name, car);
        place(seat, -10, 70, side * 34);
        makeObject(name + "_cushion", box(48, 14, 46, "fabricSG"), seat, {{"map1", 0, 2, -24, 48, -23, 46}});
        place(
            makeObject(name + "_back", box(12, 56, 46, "fabricSG"), seat, {{"map1", 2, 1, -23, 46, -28, 56}}),
            -26, 28, 0);
        turn(name + "_back.rotate", 0, 0, 12);
    }
}

void addHidden(const KObject& car)
{
    const KObject toolBox = makeObject("tool_box", box(40, 20, 25, "trimSG"), car);
    place(toolBox, -180, 60, 30);
    run("setAttr \"tool_boxShape.visibility\" 0");
    const KObject marks = makeTransform("construction_marks", car);
    run("setAttr \"construction_marks.visibility\" 0");
    place(makeObject("ground_plate", box(430, 0.5, 180, "trimSG"), marks), 0, -0.5, 0);
}

/// The top of the body, halfway between its profile points.
double bonnetHeight(double x, double z)
{
    for (size_t i = 0; i + 1 < sizeof(stations) / sizeof(stations[0]); ++i) {
        const Station& a = stations[i];
        const Station& b = stations[i + 1];
        if (x < a.x || x > b.x)
            continue;
        const double t = (x - a.x) / (b.x - a.x);
        const double bottom = a.bottom + t * (b.bottom - a.bottom);
        const double height = a.top + t * (b.top - a.top) - bottom;
        const double edge = 0.9 * (a.halfWidth + t * (b.halfWidth - a.halfWidth));
        return bottom + height * (1.03 - 0.05 * std::fabs(z) / edge);
    }
    throw std::runtime_error("beside the car");
}

/// The roundel on the bonnet and the sign on the roof are textured by projections. An import moves the
/// transforms above what is projected on into the geometry, so both stand outside the car's own hierarchy.
void addProjected()
{
    const KObject decals = makeTransform("decals", KObject::kNullObj);
    Part roundel;
    const std::vector<double> along = {110, 120, 130, 140, 150, 158};
    for (const double x : along) {
        for (const double z : {-24.0, 0.0, 24.0})
            roundel.add(x, bonnetHeight(x, z) + 0.4, z);
    }
    for (int i = 0; i + 1 < static_cast<int>(along.size()); ++i) {
        for (int j = 3 * i; j < 3 * i + 2; ++j)
            roundel.face({j, j + 1, j + 4, j + 3}, "roundelSG");
    }
    roundel.smooth = true;
    makeObject("bonnet_roundel", roundel, decals);
    // Looks down on the bonnet, upright for who stands before the car.
    run("setAttr \"seven_placement.translate\" 134 84 0");
    turn("seven_placement.rotate", -90, 90, 0);
    run("setAttr \"seven_placement.scale\" 24 24 24");

    const KObject sign = makeTransform("roof_sign", KObject::kNullObj);
    place(sign, -50, 148, 0);
    turn("roof_sign.rotate", 0, 78, 0);
    makeObject("sign", box(44, 13, 10, "signSG"), sign);
    run("parent \"taxi_placement\" \"roof_sign\"");
    run("setAttr \"taxi_placement.scale\" 22 6.5 5");
}

/// A sun, and a beam from each headlamp.
void addLights()
{
    const KObject lights = makeTransform("lights", KObject::kNullObj);
    run("createNode transform -name \"sun\" -parent \"lights\"");
    run("createNode directionalLight -name \"sunShape\" -parent \"sun\"");
    turn("sun.rotate", -50, 35, 0);
    set("sunShape.color", 1, 0.97, 0.9);
    for (const int side : {-1, 1}) {
        const std::string name = side < 0 ? "beam_left" : "beam_right";
        const KObject beam = makeTransform(name, lights);
        place(beam, 212, 58, side * 54);
        turn(name + ".rotate", -6, -90, 0);
        run("createNode spotLight -name \"" + name + "Shape\" -parent \"" + name + "\"");
        run("setAttr \"" + name + "Shape.intensity\" 0.8");
    }
}

/// What the car's shadow companion holds: the ground, with the shadow baked into its texture.
void buildShadow()
{
    check(KFileIO::newFile(true), "new scene");
    run("currentUnit -linear \"cm\"");
    makeShader("lambert", "ground", {1, 1, 1});
    makeTexture("shade");
    run("connectAttr shade.outColor ground.color");
    Part ground;
    for (const auto& corner : {std::make_pair(-290, 150), std::make_pair(290, 150), std::make_pair(290, -150),
                               std::make_pair(-290, -150)})
        ground.add(corner.first, 0, corner.second);
    ground.face({0, 1, 2, 3}, "groundSG");
    makeObject("shadow", ground, KObject::kNullObj, {{"map1", 0, 2, -290, 580, -150, 300}});
}

void buildCar()
{
    check(KFileIO::newFile(true), "new scene");
    run("currentUnit -linear \"cm\"");
    const KObject car = makeTransform("car", KObject::kNullObj);
    addMaterials();
    makeObject("body", body(), car,
               {{"map1", 0, 1, -210, 420, 0, 140}, {"decal", 0, 2, -210, 420, -90, 180}});
    makeObject("cabin", cabin(), car, {{"map1", 0, 1, -210, 420, 0, 140}});
    addWheels(car);
    addFenders(car);
    addDoors(car);
    addSteeringWheel(car);
    addDetails(car);
    addHidden(car);
    addProjected();
    addLights();
    addAnimation();
    // The body exists by now: the stripes follow its second UV set.
    run("connectAttr \"bodyShape.uvSets[1].uvSetName\" \"stripes_uvs.uvSets[0]\"");
}
} // namespace

int main(int argc, char** argv)
{
    return runGenerator(argc, argv, [](const std::string& folder) {
        buildCar();
        check(KFileIO::saveAs((folder + "/car.ka").c_str(), nullptr, true), "save");
        buildShadow();
        check(KFileIO::saveAs((folder + "/car_shadow.ka").c_str(), nullptr, true), "save");
        savePictures(folder);
        saveMaterialLibrary(folder + "/car_material_library.osb");
    });
}
