#include "Building.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <kelda/KDoubleArray.h>
#include <kelda/KFnNurbsCurve.h>
#include <kelda/KFnNurbsCurveData.h>
#include <kelda/KFnNurbsSurface.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KLibrary.h>
#include <kelda/KPointArray.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <stdexcept>

void check(const KStatus& status, const std::string& what)
{
    if (status.error())
        throw std::runtime_error(what);
}

void run(const std::string& command)
{
    check(KGlobal::executeCommand(command.c_str(), false, false), command);
}

KObject makeTransform(const std::string& name, const KObject& parent)
{
    KFnTransform fn;
    KStatus status;
    const KObject object = fn.create(parent, &status);
    check(status, "transform " + name);
    fn.setName(name.c_str());
    return object;
}

void place(const KObject& transform, double x, double y, double z)
{
    KFnTransform fn(transform);
    check(fn.setTranslation(KVector(x, y, z), KSpace::kTransform), "translation");
}

void set(const std::string& plug, double x, double y, double z)
{
    char text[200];
    std::snprintf(text, sizeof(text), "setAttr \"%s\" %.10g %.10g %.10g", plug.c_str(), x, y, z);
    run(text);
}

void turn(const std::string& plug, double x, double y, double z)
{
    set(plug, x * pi / 180, y * pi / 180, z * pi / 180);
}

void makeShader(const std::string& type, const std::string& name, const Point& color)
{
    run("createNode " + type + " -name \"" + name + "\"");
    set(name + ".color", color.x, color.y, color.z);
    run("sets -renderable true -noSurfaceShader true -empty -name \"" + name + "SG\"");
    run("connectAttr \"" + name + ".outColor\" \"" + name + "SG.surfaceShader\"");
}

void makeShiny(const std::string& name, const Point& color, const Point& specular, double cosinePower)
{
    makeShader("phong", name, color);
    set(name + ".specularColor", specular.x, specular.y, specular.z);
    run("setAttr \"" + name + ".cosinePower\" " + std::to_string(cosinePower));
}

// -- surfaces --------------------------------------------------------------------------------------

namespace
{
const double quarter = std::sqrt(0.5); // weight of the corners of a circle made of four arcs

// The square around a circle, corners and middles of its sides in turn, from angle 0 to 360 degrees.
const double square[9][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {1, 0}};

KDoubleArray toKelda(const std::vector<double>& numbers)
{
    KDoubleArray array;
    for (const double number : numbers)
        array.append(number);
    return array;
}
} // namespace

KObject makeSurface(const std::string& name, const std::vector<Weighted>& points,
                    const std::vector<double>& knotsU, const std::vector<double>& knotsV, unsigned degreeU,
                    unsigned degreeV, bool closedU, const KObject& transform)
{
    KPointArray cvs;
    bool rational = false;
    for (const Weighted& point : points) {
        cvs.append(KPoint(point.x, point.y, point.z, point.weight));
        rational = rational || point.weight != 1;
    }
    KFnNurbsSurface surface;
    KStatus status;
    const KObject object = surface.create(cvs, toKelda(knotsU), toKelda(knotsV), degreeU, degreeV,
                                          closedU ? KFnNurbsSurface::kClosed : KFnNurbsSurface::kOpen,
                                          KFnNurbsSurface::kOpen, rational, transform, &status);
    check(status, "surface " + name);
    surface.setName((name + "Shape").c_str());
    run("sets -edit -forceElement \"initialShadingGroup\" \"" + name + "Shape\"");
    return object;
}

KObject makeRevolved(const std::string& name, const std::vector<Weighted>& profile,
                     const std::vector<double>& knots, unsigned degree, const KObject& transform)
{
    std::vector<Weighted> points;
    for (int i = 0; i < 9; ++i) {
        for (const Weighted& p : profile)
            points.push_back(
                {p.x * square[i][0], p.y, -p.x * square[i][1], p.weight * (i % 2 == 0 ? 1 : quarter)});
    }
    return makeSurface(name, points, {0, 0, 1, 1, 2, 2, 3, 3, 4, 4}, knots, 2, degree, true, transform);
}

void trim(const KObject& surface, const std::vector<Hole>& circles)
{
    // Four cubic arcs, to 0.03 % of the radius: an import takes the weights of rational curves for plain
    // numbers.
    const double k = 0.5522847498;
    const double arcs[13][2] = {{1, 0},   {1, k},   {k, 1},  {0, 1},  {-k, 1}, {-1, k}, {-1, 0},
                                {-1, -k}, {-k, -1}, {0, -1}, {k, -1}, {1, -k}, {1, 0}};
    KTrimBoundaryArray boundaries;
    for (const Hole& circle : circles) {
        KPointArray cvs;
        for (const auto& point : arcs)
            cvs.append(KPoint(circle.u + circle.radius * point[0], circle.v + circle.radius * point[1], 0));
        KStatus status;
        const KObject data = KFnNurbsCurveData().create(&status);
        check(status, "curve data");
        KFnNurbsCurve().create(cvs, toKelda({0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4}), 3,
                               KFnNurbsCurve::kClosed, true, false, data, &status);
        check(status, "trim curve");
        KObjectArray boundary;
        boundary.append(data);
        boundaries.append(boundary);
    }
    check(KFnNurbsSurface(surface).trimWithBoundaries(boundaries), "trimming");
}

int runGenerator(int argc, char** argv, const std::function<void(const std::string& folder)>& build)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const std::string folder = argv[1];
    osg::osgInit(argc, argv);
    int result = 1;
    try {
        check(KLibrary::initialize("examples", true), "the SDK");
        build(folder);
        result = 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    }
    osg::osgExit();
    return result;
}
