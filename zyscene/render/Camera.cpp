#include "Camera.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace zyscene::render
{

namespace
{
/// Half of the angle from one side of the picture to the opposite one, for the sides that are nearer to each
/// other.
constexpr double halfAngle = 15 * 3.14159265358979323846 / 180;
constexpr double margin = 0.05; ///< of half the picture

/// Products of distances must stay within single precision.
constexpr double largest = 1e18;

struct Axes {
    double right[3];
    double up[3];
    double back[3]; ///< to the eye
};

Axes axesOf(View view)
{
    switch (view) {
    case View::Front:
        return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    case View::Side:
        return {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}};
    case View::Top:
        return {{1, 0, 0}, {0, 0, -1}, {0, 1, 0}};
    case View::Iso:
        break;
    }
    const double a = std::sqrt(1. / 2);
    const double b = std::sqrt(1. / 6);
    const double c = std::sqrt(1. / 3);
    return {{a, 0, -a}, {-b, 2 * b, -b}, {c, c, c}};
}

double dot(const double (&axis)[3], const double (&point)[3])
{
    return axis[0] * point[0] + axis[1] * point[1] + axis[2] * point[2];
}

/// Where a point is as the camera is turned: x to the right, y up, z towards the eye.
struct Turned {
    double x;
    double y;
    double z;
};

/// The sums that decide how near the eye may come.
///
/// A point is inside the picture if |x - eyeX| <= (eyeZ - z) tanX, and so for y. Each of these four says that
/// a sum of the eye's coordinates is at least a value of the point.
class Fit
{
public:
    Fit(const Axes& axes, double tanX, double tanY) : _axes(axes), _tanX(tanX), _tanY(tanY) {}

    void add(const double (&point)[3])
    {
        const Turned turned = {dot(_axes.right, point), dot(_axes.up, point), dot(_axes.back, point)};
        const double size = std::max({std::fabs(turned.x), std::fabs(turned.y), std::fabs(turned.z)});
        _size = std::max(_size, std::isfinite(turned.x + turned.y + turned.z)
                                    ? size
                                    : std::numeric_limits<double>::infinity());
        _points.push_back(turned);
    }

    bool isUsable() const { return _size <= largest; }
    Camera camera() const;

private:
    static constexpr double nothing = -std::numeric_limits<double>::infinity();

    double middleOf(double Turned::*along, double eyeZ) const;
    Camera cameraAt(const double (&eye)[3], double near, double far) const;

    Axes _axes;
    double _tanX;
    double _tanY;
    double _size = 0;
    std::vector<Turned> _points;
};

// The place of the eye along x or y from which as much is seen to both sides.
double Fit::middleOf(double Turned::*along, double eyeZ) const
{
    double low = -_size;
    double high = _size;
    // As precise as a pixel of the largest picture.
    for (int step = 0; step < 24; ++step) {
        const double eye = (low + high) / 2;
        double above = nothing;
        double below = nothing;
        for (const Turned& point : _points) {
            const double angle = (point.*along - eye) / (eyeZ - point.z);
            above = std::max(above, angle);
            below = std::max(below, -angle);
        }
        (above > below ? low : high) = eye;
    }
    return (low + high) / 2;
}

Camera Fit::camera() const
{
    double right = nothing;
    double left = nothing;
    double top = nothing;
    double bottom = nothing;
    double near = nothing;
    double far = -nothing;
    for (const Turned& point : _points) {
        right = std::max(right, point.x + point.z * _tanX);
        left = std::max(left, -point.x + point.z * _tanX);
        top = std::max(top, point.y + point.z * _tanY);
        bottom = std::max(bottom, -point.y + point.z * _tanY);
        near = std::max(near, point.z);
        far = std::min(far, point.z);
    }
    // A point, or a line seen from its end, has no size to fit: some distance is kept all the same.
    const double least =
        std::max({(near - far) * 0.05, _size * 1e-4, std::numeric_limits<float>::min() * 1e6});
    const double z = std::max({(right + left) / (2 * _tanX), (top + bottom) / (2 * _tanY), near + least});
    return cameraAt({middleOf(&Turned::x, z), middleOf(&Turned::y, z), z}, z - near, z - far);
}

Camera Fit::cameraAt(const double (&eye)[3], double near, double far) const
{
    Camera camera;
    for (unsigned int i = 0; i < 3; ++i) {
        const double axis[3] = {_axes.right[i], _axes.up[i], _axes.back[i]};
        for (unsigned int k = 0; k < 3; ++k) {
            camera.view[i][k] = axis[k];
            camera.world[k][i] = axis[k];
        }
        camera.view[3][i] = -eye[i];
        camera.world[3][i] = dot(axis, eye);
    }

    // A little off the outermost points, for which rounding would decide.
    const double front = near * 0.9;
    const double back = far * 1.1;
    camera.projection[0][0] = 1 / _tanX * (1 - margin);
    camera.projection[1][1] = 1 / _tanY * (1 - margin);
    camera.projection[2][2] = -(back + front) / (back - front);
    camera.projection[2][3] = -1;
    camera.projection[3][2] = -2 * back * front / (back - front);
    camera.projection[3][3] = 0;
    return camera;
}

void addBox(Fit& fit, const Box& box, const WorldMatrix& world)
{
    for (unsigned int i = 0; i < 8; ++i) {
        const std::array<double, 3> corner = box.corner(i);
        double point[4];
        for (unsigned int row = 0; row < 4; ++row) {
            point[row] = world[0][row] * corner[0] + world[1][row] * corner[1] + world[2][row] * corner[2] +
                         world[3][row];
        }
        const double w = point[3];
        const double placed[3] = {point[0] / w, point[1] / w, point[2] / w};
        fit.add(placed);
    }
}
} // namespace

Camera fitCamera(const DrawList& list, View view, double aspect, std::string& problem)
{
    if (list.items().empty()) {
        problem = "nothing in it is drawn";
        return {};
    }
    const double tangent = std::tan(halfAngle);
    const double tanX = tangent * std::max(1., aspect);
    const double tanY = tangent * std::max(1., 1 / aspect);

    Fit fit(axesOf(view), tanX, tanY);
    for (const Item& item : list.items()) {
        const Box& box = list.shapes()[item.shape].box;
        bool added = false;
        for (std::size_t i = 0; i < item.passCount; ++i) {
            const Pass& pass = list.passes()[item.firstPass + i];
            if (pass.moved) {
                WorldMatrix world = item.world;
                world.mult(pass.object);
                addBox(fit, box, world);
            } else if (!added) {
                addBox(fit, box, item.world);
                added = true;
            }
        }
    }
    if (!fit.isUsable()) {
        problem = "what is drawn lies too far apart";
        return {};
    }
    problem.clear();
    return fit.camera();
}

} // namespace zyscene::render
