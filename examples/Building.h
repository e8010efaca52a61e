#pragma once

// What the generators of the example scenes build with: short ways to the SDK. All of them throw what it
// refuses.

#include <kelda/KObject.h>
#include <kelda/KStatus.h>

#include <functional>
#include <string>
#include <vector>

constexpr double pi = 3.14159265358979323846;

struct Point {
    double x, y, z;
};

/// @param what for the message
void check(const KStatus& status, const std::string& what);
/// Executes a command.
void run(const std::string& command);

KObject makeTransform(const std::string& name, const KObject& parent);
void place(const KObject& transform, double x, double y, double z);
/// Sets a plug of three numbers.
void set(const std::string& plug, double x, double y, double z);
/// Sets a plug of three angles, in degrees about x, y and z.
void turn(const std::string& plug, double x, double y, double z);

/// A shader and its shading group, which is named after it.
void makeShader(const std::string& type, const std::string& name, const Point& color);
void makeShiny(const std::string& name, const Point& color, const Point& specular, double cosinePower);

/// A control point: place and weight.
struct Weighted {
    double x, y;
    double z = 0;
    double weight = 1;
};

/// A NURBS surface below a transform; knots as the SDK has them, one less at either end than usual.
/// @param points point (u, v) stands at u * number in v + v
/// @param closedU the last points in u lie on the first ones
KObject makeSurface(const std::string& name, const std::vector<Weighted>& points,
                    const std::vector<double>& knotsU, const std::vector<double>& knotsV, unsigned degreeU,
                    unsigned degreeV, bool closedU, const KObject& transform);
/// A surface of revolution about y, of a profile in the xy plane: exact, and so rational.
KObject makeRevolved(const std::string& name, const std::vector<Weighted>& profile,
                     const std::vector<double>& knots, unsigned degree, const KObject& transform);
/// A circle in the parameter plane.
struct Hole {
    double u, v, radius;
};
/// Cuts a surface to the first circle, and the others out of it.
void trim(const KObject& surface, const std::vector<Hole>& circles);

/// Starts the libraries, builds, stops them; tells what went wrong. The program's exit status.
int runGenerator(int argc, char** argv, const std::function<void(const std::string& folder)>& build);
