#include "SurfaceData.h"

#include <OpenSG/OSGGeoPropPositions.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace zyscene::tessellation
{

// -- Knots -------------------------------------------------------------------------------------------

std::vector<std::size_t> KnotVector::spans() const
{
    std::vector<std::size_t> result;
    for (std::size_t i = degree; i < pointCount(); ++i) {
        if (knots[i] < knots[i + 1])
            result.push_back(i);
    }
    return result;
}

std::size_t KnotVector::multiplicity(std::size_t span) const
{
    std::size_t count = 1;
    while (count <= span && knots[span - count] == knots[span])
        ++count;
    return count;
}

void evaluate(const KnotVector& knots, std::size_t span, double t, Basis& basis)
{
    const double* const knot = knots.knots.data();
    const std::size_t degree = knots.degree;
    std::array<double, maxDegree + 1>& n = basis.values;
    std::array<double, maxDegree + 1> lower = {};
    std::array<double, maxDegree + 1> left;
    std::array<double, maxDegree + 1> right;
    n[0] = 1;
    for (std::size_t d = 1; d <= degree; ++d) {
        lower = n;
        left[d] = t - knot[span + 1 - d];
        right[d] = knot[span + d] - t;
        double carried = 0;
        for (std::size_t i = 0; i < d; ++i) {
            const double part = n[i] / (right[i + 1] + left[d - i]);
            n[i] = carried + right[i + 1] * part;
            carried = left[d - i] * part;
        }
        n[d] = carried;
    }
    // From the functions of one degree less: p (N(i) / (u(i+p) - u(i)) - N(i+1) / (u(i+p+1) - u(i+1))).
    double before = 0;
    for (std::size_t i = 0; i <= degree; ++i) {
        const double after = i < degree ? lower[i] / (knot[span + i + 1] - knot[span + i + 1 - degree]) : 0;
        basis.slopes[i] = static_cast<double>(degree) * (before - after);
        before = after;
    }
}

Parameter TrimCurve::at(std::size_t span, double t) const
{
    Basis basis;
    evaluate(knots, span, t, basis);
    Homogeneous sum = {0, 0, 0, 0};
    for (std::size_t i = 0; i <= knots.degree; ++i) {
        for (std::size_t k = 0; k < 4; ++k)
            sum[k] += basis.values[i] * points[span - knots.degree + i][k];
    }
    return {sum[0] / sum[3], sum[1] / sum[3]};
}

// -- Reading -----------------------------------------------------------------------------------------

namespace
{
std::string number(std::uint64_t value)
{
    return std::to_string(value);
}

/// "trim curve 3: " in front of what is said about it.
std::string ofCurve(std::size_t curve)
{
    return "trim curve " + number(curve) + ": ";
}

bool isFinite(const Homogeneous& point)
{
    return std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]) &&
           std::isfinite(point[3]);
}

// Degree first: the counts that follow go by it.
std::string checkDegree(std::uint64_t degree)
{
    if (degree < 1 || degree > maxDegree)
        return "degree " + number(degree) + " is not from 1 to " + number(maxDegree);
    return {};
}

template <class KnotIterator>
std::string readKnots(std::size_t degree, KnotIterator first, std::size_t count, KnotVector& result)
{
    if (count < 2 * degree + 2)
        return number(count) + " knots are too few for degree " + number(degree);
    result.degree = degree;
    result.knots.assign(first, first + static_cast<std::ptrdiff_t>(count));
    const std::vector<double>& knots = result.knots;
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(knots[i]))
            return "knot " + number(i) + " is not finite";
        if (i > 0 && knots[i] < knots[i - 1])
            return "knot " + number(i) + " is smaller than the one before";
    }
    for (std::size_t i = 0; i < count;) {
        std::size_t next = i;
        while (next < count && knots[next] == knots[i])
            ++next;
        const bool atEnd = i == 0 || next == count;
        if (next - i > degree + (atEnd ? 1 : 0))
            return "knot " + number(i) + " is repeated too often for degree " + number(degree);
        i = next;
    }
    return {};
}

/// Reads the trimming loops of a surface whose own numbers have been read.
class TrimReader
{
public:
    TrimReader(const osg::Surface& surface, SurfaceData& data) : _surface(surface), _data(data) {}

    std::string read();

private:
    std::string checkCounts() const;
    std::string readCurve(std::size_t curve, TrimCurve& result);
    std::string checkLoop(const TrimLoop& curves) const;
    bool isInside(const Parameter& p) const;
    bool isJoint(const Parameter& a, const Parameter& b) const;

    const osg::Surface& _surface;
    SurfaceData& _data;
    std::size_t _knot = 0;  ///< of the next curve
    std::size_t _point = 0; ///< the same
};

std::string TrimReader::read()
{
    const std::string wrong = checkCounts();
    if (!wrong.empty())
        return wrong;
    std::size_t curve = 0;
    for (std::size_t loop = 0; loop < _surface.getCurvesPerLoop().size(); ++loop) {
        TrimLoop curves(_surface.getCurvesPerLoop()[static_cast<osg::UInt32>(loop)]);
        for (TrimCurve& into : curves) {
            const std::string problem = readCurve(curve, into);
            if (!problem.empty())
                return ofCurve(curve) + problem;
            ++curve;
        }
        const std::string problem = checkLoop(curves);
        if (!problem.empty())
            return "trim loop " + number(loop) + " " + problem;
        _data.loops.push_back(std::move(curves));
    }
    return {};
}

// Everything after this may go by the counts.
std::string TrimReader::checkCounts() const
{
    const std::uint64_t curves = _surface.getNumCurves();
    const auto& lengths = _surface.getKnotLengths();
    const auto& degrees = _surface.getDimensions();
    if (lengths.size() != curves || degrees.size() != curves) {
        return number(curves) + " trim curves have " + number(degrees.size()) + " degrees and " +
               number(lengths.size()) + " numbers of knots";
    }
    std::uint64_t inLoops = 0;
    for (osg::UInt32 i = 0; i < _surface.getCurvesPerLoop().size(); ++i) {
        const osg::UInt32 count = _surface.getCurvesPerLoop()[i];
        if (count == 0)
            return "trim loop " + number(i) + " has no curve";
        inLoops += count;
    }
    if (inLoops != curves)
        return number(curves) + " trim curves are not the " + number(inLoops) + " of the loops";
    std::uint64_t knots = 0;
    std::uint64_t points = 0;
    for (osg::UInt32 i = 0; i < curves; ++i) {
        const std::string wrong = checkDegree(degrees[i]);
        if (!wrong.empty())
            return ofCurve(i) + wrong;
        if (lengths[i] < 2 * degrees[i] + 2)
            return ofCurve(i) + number(lengths[i]) + " knots are too few for degree " + number(degrees[i]);
        knots += lengths[i];
        points += lengths[i] - degrees[i] - 1;
    }
    if (_surface.getKnots().size() != knots)
        return number(_surface.getKnots().size()) + " trim knots are not the " + number(knots) +
               " of the curves";
    if (_surface.getCurveControlPoints().size() != points) {
        return number(_surface.getCurveControlPoints().size()) + " trim control points are not the " +
               number(points) + " of the curves";
    }
    return {};
}

// Trimming points stand beside their weights and are not multiplied by them, other than those of the surface:
// that is how the import leaves them and how the export takes them.
std::string TrimReader::readCurve(std::size_t curve, TrimCurve& result)
{
    const auto i = static_cast<osg::UInt32>(curve);
    const std::size_t length = _surface.getKnotLengths()[i];
    const auto knots = _surface.getKnots().begin() + static_cast<std::ptrdiff_t>(_knot);
    const std::string wrong = readKnots(_surface.getDimensions()[i], knots, length, result.knots);
    if (!wrong.empty())
        return wrong;
    result.points.resize(result.knots.pointCount());
    for (std::size_t k = 0; k < result.points.size(); ++k) {
        const osg::Pnt3f& stored = _surface.getCurveControlPoints()[static_cast<osg::UInt32>(_point + k)];
        const double weight = stored[2];
        result.points[k] = {stored[0] * weight, stored[1] * weight, 0, weight};
        if (!isFinite(result.points[k]))
            return "control point " + number(k) + " is not finite";
        if (weight <= 0)
            return "the weight of control point " + number(k) + " is not above 0";
    }
    _knot += length;
    _point += result.points.size();
    return {};
}

bool TrimReader::isInside(const Parameter& p) const
{
    const double slackU = joint * (_data.u.end() - _data.u.start());
    const double slackV = joint * (_data.v.end() - _data.v.start());
    return p[0] >= _data.u.start() - slackU && p[0] <= _data.u.end() + slackU &&
           p[1] >= _data.v.start() - slackV && p[1] <= _data.v.end() + slackV;
}

bool TrimReader::isJoint(const Parameter& a, const Parameter& b) const
{
    return std::abs(a[0] - b[0]) <= joint * (_data.u.end() - _data.u.start()) &&
           std::abs(a[1] - b[1]) <= joint * (_data.v.end() - _data.v.start());
}

std::string TrimReader::checkLoop(const TrimLoop& curves) const
{
    // Enough of each span to tell a curve that leaves the domain from one whose control points do.
    constexpr int samples = 8;
    std::vector<Parameter> starts;
    std::vector<Parameter> ends;
    for (const TrimCurve& curve : curves) {
        const std::vector<std::size_t> spans = curve.knots.spans();
        for (const std::size_t span : spans) {
            const double from = curve.knots.knots[span];
            const double step = (curve.knots.knots[span + 1] - from) / samples;
            for (int i = 0; i <= samples; ++i) {
                if (!isInside(curve.at(span, from + i * step)))
                    return "leaves the domain of the surface";
            }
        }
        starts.push_back(curve.at(spans.front(), curve.knots.start()));
        ends.push_back(curve.at(spans.back(), curve.knots.end()));
    }
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!isJoint(ends[i], starts[(i + 1) % curves.size()]))
            return "is not closed";
    }
    return {};
}

// Box of the control points; each has to be where a float can tell.
std::string measure(SurfaceData& data)
{
    std::array<double, 3> low;
    std::array<double, 3> high;
    low.fill(std::numeric_limits<double>::infinity());
    high.fill(-std::numeric_limits<double>::infinity());
    for (std::size_t i = 0; i < data.points.size(); ++i) {
        const Homogeneous& point = data.points[i];
        for (std::size_t k = 0; k < 3; ++k) {
            const double x = point[k] / point[3];
            if (std::abs(x) > std::numeric_limits<float>::max())
                return "control point " + number(i) + " is not finite where its weight puts it";
            low[k] = std::min(low[k], x);
            high[k] = std::max(high[k], x);
        }
    }
    data.diagonal = std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
    return data.diagonal > 0 ? std::string() : "all control points lie in one place";
}

std::string readPoints(const osg::Surface& surface, SurfaceData& data)
{
    const osg::GeoPositionsPtr points = surface.getControlPoints();
    if (points == osg::NullFC)
        return "there are no control points";
    const std::size_t count = points->getSize();
    const std::size_t countV = data.v.pointCount();
    if (count % countV != 0 || count / countV != data.u.pointCount()) {
        return number(count) + " control points are not the " + number(data.u.pointCount()) + " x " +
               number(countV) + " of the knots";
    }
    const osg::GeoPositions4fPtr weighted = osg::GeoPositions4fPtr::dcast(points);
    const osg::GeoPositions3fPtr plain = osg::GeoPositions3fPtr::dcast(points);
    if (weighted == osg::NullFC && plain == osg::NullFC)
        return "control points of this kind are not drawn";
    data.points.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        Homogeneous& point = data.points[i];
        const auto at = static_cast<osg::UInt32>(i);
        if (weighted != osg::NullFC) {
            const osg::Pnt4f& stored = weighted->getField()[at];
            point = {stored[0], stored[1], stored[2], stored[3]};
        } else {
            const osg::Pnt3f& stored = plain->getField()[at];
            point = {stored[0], stored[1], stored[2], 1};
        }
        if (!isFinite(point))
            return "control point " + number(i) + " is not finite";
        if (point[3] <= 0)
            return "the weight of control point " + number(i) + " is not above 0";
    }
    return measure(data);
}

std::string readDirection(const char* name, std::uint64_t degree, const osg::MFReal32& knots,
                          KnotVector& result)
{
    std::string wrong = checkDegree(degree);
    if (wrong.empty())
        wrong = readKnots(static_cast<std::size_t>(degree), knots.begin(), knots.size(), result);
    return wrong.empty() ? wrong : std::string("in ") + name + ": " + wrong;
}
} // namespace

std::string readSurface(const osg::Surface& surface, SurfaceData& data)
{
    data = SurfaceData();
    std::string wrong = readDirection("u", surface.getDimU(), surface.getKnotsU(), data.u);
    if (wrong.empty())
        wrong = readDirection("v", surface.getDimV(), surface.getKnotsV(), data.v);
    if (wrong.empty())
        wrong = readPoints(surface, data);
    if (wrong.empty())
        wrong = TrimReader(surface, data).read();
    return wrong;
}

} // namespace zyscene::tessellation
