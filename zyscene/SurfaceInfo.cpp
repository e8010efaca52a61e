#include "SurfaceInfo.h"

#include "Text.h"

#include <OpenSG/OSGGeoPropPositions.h>

#include <algorithm>
#include <cmath>

namespace zyscene
{

const char* nameOf(SurfaceForm form)
{
    switch (form) {
    case SurfaceForm::Open:
        return "open";
    case SurfaceForm::Closed:
        return "closed";
    case SurfaceForm::Periodic:
        return "periodic";
    }
    return "";
}

namespace
{
// Parts of the whole within which knots and points are the same.
constexpr double same = 1e-5;

/// The control points of a surface that can be drawn.
class ControlNet
{
public:
    ControlNet(const osg::Surface& surface, std::uint64_t countV)
        : _weighted(osg::GeoPositions4fPtr::dcast(surface.getControlPoints())),
          _plain(osg::GeoPositions3fPtr::dcast(surface.getControlPoints())), _countV(countV)
    {
    }

    osg::Pnt4f at(std::uint64_t u, std::uint64_t v) const
    {
        const auto i = static_cast<osg::UInt32>(u * _countV + v);
        if (_weighted != osg::NullFC)
            return _weighted->getField()[i];
        const osg::Pnt3f& point = _plain->getField()[i];
        return osg::Pnt4f(point[0], point[1], point[2], 1);
    }

private:
    osg::GeoPositions4fPtr _weighted;
    osg::GeoPositions3fPtr _plain;
    std::uint64_t _countV;
};

bool repeats(const osg::MFReal32& knots, std::uint32_t degree)
{
    const osg::UInt32 count = knots.size() - degree - 1;
    const double period = double(knots[count]) - double(knots[degree]);
    // The outermost knots carry no shape: what stands there differs from maker to maker.
    for (osg::UInt32 i = 1; i < 2 * degree && i + count - degree < knots.size() - 1; ++i) {
        if (std::abs(double(knots[i + count - degree]) - double(knots[i]) - period) > same * period)
            return false;
    }
    return true;
}

bool isClamped(const osg::MFReal32& knots, std::uint32_t degree)
{
    const osg::UInt32 count = knots.size() - degree - 1;
    return knots[1] == knots[degree] && knots[count] == knots[knots.size() - 2];
}

template <class MeetT>
SurfaceForm formOf(const osg::MFReal32& knots, const SurfaceDirection& direction, MeetT meet)
{
    if (isClamped(knots, direction.degree))
        return direction.points > 2 && meet(1) ? SurfaceForm::Closed : SurfaceForm::Open;
    return direction.points > direction.degree && repeats(knots, direction.degree) && meet(direction.degree)
               ? SurfaceForm::Periodic
               : SurfaceForm::Open;
}

void findForms(const osg::Surface& surface, SurfaceInfo& info)
{
    const ControlNet net(surface, info.v.points);
    osg::Pnt4f low = net.at(0, 0);
    osg::Pnt4f high = low;
    for (std::uint64_t u = 0; u < info.u.points; ++u) {
        for (std::uint64_t v = 0; v < info.v.points; ++v) {
            const osg::Pnt4f point = net.at(u, v);
            for (unsigned int i = 0; i < 4; ++i) {
                low[i] = std::min(low[i], point[i]);
                high[i] = std::max(high[i], point[i]);
            }
        }
    }
    info.rational = low[3] != high[3];
    double size = 0;
    for (unsigned int i = 0; i < 3; ++i)
        size = std::max(size, double(high[i]) - double(low[i]));
    const auto isSame = [&](const osg::Pnt4f& a, const osg::Pnt4f& b) {
        for (unsigned int i = 0; i < 4; ++i) {
            if (std::abs(double(a[i]) - double(b[i])) > same * (i < 3 ? size : double(high[3])))
                return false;
        }
        return true;
    };
    info.u.form = formOf(surface.getKnotsU(), info.u, [&](std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            for (std::uint64_t v = 0; v < info.v.points; ++v) {
                if (!isSame(net.at(i, v), net.at(info.u.points - count + i, v)))
                    return false;
            }
        }
        return true;
    });
    info.v.form = formOf(surface.getKnotsV(), info.v, [&](std::uint64_t count) {
        for (std::uint64_t u = 0; u < info.u.points; ++u) {
            for (std::uint64_t i = 0; i < count; ++i) {
                if (!isSame(net.at(u, i), net.at(u, info.v.points - count + i)))
                    return false;
            }
        }
        return true;
    });
}

SurfaceDirection directionOf(std::uint32_t degree, const osg::MFReal32& knots)
{
    SurfaceDirection direction;
    direction.degree = degree;
    if (knots.size() > std::uint64_t(degree) + 1)
        direction.points = knots.size() - std::uint64_t(degree) - 1;
    return direction;
}
} // namespace

std::string SurfaceInfo::text() const
{
    std::string text = "degree " + std::to_string(u.degree) + " x " + std::to_string(v.degree) + ", " +
                       std::to_string(u.points) + " x " + std::to_string(v.points) + " points";
    if (u.form != SurfaceForm::Open)
        text += std::string(", ") + nameOf(u.form) + " in u";
    if (v.form != SurfaceForm::Open)
        text += std::string(", ") + nameOf(v.form) + " in v";
    if (rational)
        text += ", rational";
    if (trimLoops > 0)
        text += ", " + plural(trimLoops, "trim loop");
    text += problem.empty() ? ", " + plural(triangles, "triangle") : ", not drawn: " + problem;
    return text;
}

SurfaceInfo describeSurface(const osg::Surface& surface, const TessellationOptions& options)
{
    SurfaceInfo info;
    info.u = directionOf(surface.getDimU(), surface.getKnotsU());
    info.v = directionOf(surface.getDimV(), surface.getKnotsV());
    info.trimLoops = surface.getCurvesPerLoop().size();
    info.trimCurves = surface.getNumCurves();
    info.problem = countTriangles(surface, options, info.triangles);
    if (info.problem.empty())
        findForms(surface, info);
    return info;
}

} // namespace zyscene
