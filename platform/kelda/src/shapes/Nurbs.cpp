#include "shapes/Nurbs.h"

#include <algorithm>
#include <cmath>

namespace kelda
{

namespace
{

constexpr size_t kMaxCount = 0x7fffffff; ///< programs count with int
constexpr double kSame = 1e-6;           ///< of the largest number there is: what counts as equal

} // namespace

// -- Checks ---------------------------------------------------------------------------------------

namespace
{

bool allFinite(const double* values, size_t count)
{
    double sum = 0;
    for (size_t i = 0; i < count; ++i)
        sum += values[i] - values[i]; // NaN as soon as one is not finite
    return sum == 0;
}

bool isForm(NurbsForm form)
{
    return form == NurbsForm::Open || form == NurbsForm::Closed || form == NurbsForm::Periodic;
}

/// Of one direction: degree, form, number of CVs and knots must agree.
const char* checkDirection(int32_t degree, NurbsForm form, const double* knots, size_t knotCount,
                           size_t cvCount)
{
    if (degree < 1 || degree > kMaxDegree)
        return "a degree is not in the range from 1 to 15";
    if (!isForm(form))
        return "a form is not open, closed or periodic";
    const size_t d = static_cast<size_t>(degree);
    if (cvCount < d + 1 || cvCount > kMaxCount)
        return "there are fewer CVs than the degree needs";
    if (knotCount != cvCount + d - 1)
        return "the number of knots is not that of the CVs + degree - 1";
    if (!allFinite(knots, knotCount))
        return "a knot is not finite";
    for (size_t i = 1; i < knotCount; ++i)
        if (knots[i] < knots[i - 1])
            return "the knots decrease";
    for (size_t i = d; i < knotCount; ++i)
        if (knots[i] == knots[i - d])
            return "a knot is repeated more often than the degree allows";
    const double start = knots[d - 1];
    const double end = knots[cvCount - 1];
    if (!(start < end) || !std::isfinite(end - start))
        return "the domain has no extent";
    if (form == NurbsForm::Periodic) {
        const size_t spans = cvCount - d;
        const double period = end - start;
        for (size_t i = 0; i + spans < knotCount; ++i)
            if (std::fabs(knots[i + spans] - knots[i] - period) > kSame * period)
                return "the knots of a periodic direction do not repeat";
    }
    return nullptr;
}

/// Largest distance from 0 of all coordinates.
double extent(const double* cvs, size_t count)
{
    double largest = 0;
    for (size_t i = 0; i < count; ++i)
        largest = std::max(largest, std::fabs(cvs[i]));
    return largest;
}

const char* checkWeights(const double* cvs, size_t cvCount, size_t stride, bool rational)
{
    if (!allFinite(cvs, cvCount * stride))
        return "a CV is not finite";
    for (size_t i = 0; rational && i < cvCount; ++i)
        if (!(cvs[i * stride + stride - 1] > 0))
            return "a weight is not above 0";
    return nullptr;
}

/// In a closed direction the last CVs lie on the first ones; in a periodic one as many as the degree says.
size_t repeated(NurbsForm form, int32_t degree)
{
    return form == NurbsForm::Open ? 0 : form == NurbsForm::Closed ? 1 : static_cast<size_t>(degree);
}

} // namespace

const char* checkCurve(const CurveView& curve)
{
    if (const char* wrong =
            checkDirection(curve.degree, curve.form, curve.knots, curve.knotCount, curve.cvCount))
        return wrong;
    if (const char* wrong = checkWeights(curve.cvs, curve.cvCount, curve.stride(), curve.rational))
        return wrong;
    const size_t wrap = repeated(curve.form, curve.degree);
    const size_t numbers = wrap * curve.stride();
    const double* const last = curve.cvs + (curve.cvCount - wrap) * curve.stride();
    const double tolerance = wrap > 0 ? kSame * extent(curve.cvs, curve.cvCount * curve.stride()) : 0;
    for (size_t i = 0; i < numbers; ++i)
        if (std::fabs(last[i] - curve.cvs[i]) > tolerance)
            return "the last CVs of a closed or periodic direction are not the first ones";
    return nullptr;
}

const char* checkSurface(const SurfaceData& surface)
{
    const PodVector<double>& knotsU = surface.knotsU;
    const PodVector<double>& knotsV = surface.knotsV;
    const auto countOf = [](int32_t degree, size_t knots) {
        return degree >= 1 && knots + 1 > static_cast<size_t>(degree)
                   ? knots + 1 - static_cast<size_t>(degree)
                   : 0;
    };
    const size_t countU = countOf(surface.degreeU, knotsU.size());
    const size_t countV = countOf(surface.degreeV, knotsV.size());
    if (const char* wrong =
            checkDirection(surface.degreeU, surface.formU, knotsU.data(), knotsU.size(), countU))
        return wrong;
    if (const char* wrong =
            checkDirection(surface.degreeV, surface.formV, knotsV.data(), knotsV.size(), countV))
        return wrong;
    const size_t stride = surface.stride();
    if (surface.cvs.size() % stride != 0 || surface.cvs.size() / stride / countV != countU ||
        surface.cvs.size() / stride % countV != 0)
        return "the number of CVs is not that of both directions multiplied";
    if (surface.cvs.size() / stride > kMaxCount)
        return "there are too many CVs";
    if (const char* wrong =
            checkWeights(surface.cvs.data(), surface.cvs.size() / stride, stride, surface.rational))
        return wrong;
    const size_t wrapU = repeated(surface.formU, surface.degreeU);
    const size_t wrapV = repeated(surface.formV, surface.degreeV);
    if (wrapU == 0 && wrapV == 0)
        return nullptr;
    const double tolerance = kSame * extent(surface.cvs.data(), surface.cvs.size());
    const auto same = [&](size_t a, size_t b, size_t numbers) {
        for (size_t i = 0; i < numbers; ++i)
            if (std::fabs(surface.cvs[a * stride + i] - surface.cvs[b * stride + i]) > tolerance)
                return false;
        return true;
    };
    bool closes = same(0, (countU - wrapU) * countV, wrapU * countV * stride);
    for (size_t u = 0; closes && wrapV > 0 && u < countU; ++u)
        closes = same(u * countV, (u + 1) * countV - wrapV, wrapV * stride);
    return closes ? nullptr : "the last CVs of a closed or periodic direction are not the first ones";
}

namespace
{

bool isUniformDirection(int32_t degree, NurbsForm form, const PodVector<double>& knots)
{
    // Of degree 1 the end knots are simple also where the direction is clamped; scene graphs mostly mean
    // that.
    if (degree == 1 && form != NurbsForm::Periodic)
        return false;
    const double range = knots.back() - knots.front();
    const double step = range / static_cast<double>(knots.size() - 1);
    for (size_t i = 1; i < knots.size(); ++i)
        if (std::fabs(knots[i] - knots[i - 1] - step) > kSame * range)
            return false;
    return true;
}

} // namespace

bool isUniform(const SurfaceData& surface)
{
    return surface.degreeU > 0 && isUniformDirection(surface.degreeU, surface.formU, surface.knotsU) &&
           isUniformDirection(surface.degreeV, surface.formV, surface.knotsV);
}

// -- Points ---------------------------------------------------------------------------------------

namespace
{

constexpr size_t kMaxOrder = static_cast<size_t>(kMaxDegree) + 1;

/// Homogeneous: x, y, z are multiplied by w.
struct Homogeneous {
    double c[4];
};

/// The span [knots[s - 1], knots[s]) that holds the parameter; the last one holds the end, too.
size_t findSpan(const double* knots, size_t cvCount, size_t degree, double at)
{
    size_t span = static_cast<size_t>(std::upper_bound(knots + degree, knots + cvCount - 1, at) - knots);
    while (span > degree && knots[span - 1] == knots[span])
        --span;
    return span;
}

/// De Boor's algorithm: the point and, from its last step but one, the derivative. `points` are the degree +
/// 1 CVs of the span and are used up.
void deBoor(Homogeneous* points, const double* knots, size_t span, size_t degree, double at,
            Homogeneous& value, Homogeneous& derivative)
{
    for (size_t r = 1; r <= degree; ++r) {
        if (r == degree) {
            const double width = knots[span] - knots[span - 1];
            for (int k = 0; k < 4; ++k)
                derivative.c[k] =
                    static_cast<double>(degree) * (points[degree].c[k] - points[degree - 1].c[k]) / width;
        }
        for (size_t j = degree; j >= r; --j) {
            const double low = knots[span - degree + j - 1];
            const double high = knots[span + j - r];
            const double a = (at - low) / (high - low);
            for (int k = 0; k < 4; ++k)
                points[j].c[k] = (1 - a) * points[j - 1].c[k] + a * points[j].c[k];
        }
    }
    value = points[degree];
}

/// The CV as homogeneous coordinates. `dimension`: 2 or 3.
Homogeneous lift(const double* cv, size_t dimension, bool rational)
{
    const double w = rational ? cv[dimension] : 1.0;
    return {{cv[0] * w, cv[1] * w, dimension == 3 ? cv[2] * w : 0.0, w}};
}

/// Derivative of the quotient x / w.
void project(const Homogeneous& value, const Homogeneous& derivative, double out[3])
{
    for (int k = 0; k < 3; ++k)
        out[k] = (derivative.c[k] - value.c[k] / value.c[3] * derivative.c[3]) / value.c[3];
}

double lengthOf(const double (&v)[3])
{
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

} // namespace

void curvePoint(const CurveView& curve, double at, double point[3])
{
    const size_t degree = static_cast<size_t>(curve.degree);
    const size_t span = findSpan(curve.knots, curve.cvCount, degree, at);
    Homogeneous points[kMaxOrder];
    for (size_t i = 0; i <= degree; ++i)
        points[i] =
            lift(curve.cvs + (span - degree + i) * curve.stride(), curve.planar ? 2 : 3, curve.rational);
    Homogeneous value, derivative;
    deBoor(points, curve.knots, span, degree, at, value, derivative);
    for (int k = 0; k < 3; ++k)
        point[k] = value.c[k] / value.c[3];
}

void surfacePoint(const SurfaceData& surface, double u, double v, double point[3], double du[3], double dv[3])
{
    const size_t degreeU = static_cast<size_t>(surface.degreeU);
    const size_t degreeV = static_cast<size_t>(surface.degreeV);
    const size_t countV = surface.countV();
    const size_t spanU = findSpan(surface.knotsU.data(), surface.countU(), degreeU, u);
    const size_t spanV = findSpan(surface.knotsV.data(), countV, degreeV, v);
    Homogeneous row[kMaxOrder], values[kMaxOrder], acrossV[kMaxOrder];
    for (size_t i = 0; i <= degreeU; ++i) {
        const size_t first = (spanU - degreeU + i) * countV + spanV - degreeV;
        for (size_t j = 0; j <= degreeV; ++j)
            row[j] = lift(surface.cvs.data() + (first + j) * surface.stride(), 3, surface.rational);
        deBoor(row, surface.knotsV.data(), spanV, degreeV, v, values[i], acrossV[i]);
    }
    Homogeneous value, derivativeU, derivativeV, unused;
    deBoor(values, surface.knotsU.data(), spanU, degreeU, u, value, derivativeU);
    for (int k = 0; k < 3; ++k)
        point[k] = value.c[k] / value.c[3];
    if (!du)
        return;
    deBoor(acrossV, surface.knotsU.data(), spanU, degreeU, u, derivativeV, unused);
    project(value, derivativeU, du);
    project(value, derivativeV, dv);
}

void surfaceNormal(const SurfaceData& surface, double u, double v, double normal[3])
{
    // Where a derivative vanishes (a pole) a place a little towards the middle has the same normal, nearly.
    const double middleU = (surface.startU() + surface.endU()) / 2;
    const double middleV = (surface.startV() + surface.endV()) / 2;
    for (const double step : {0.0, 1e-4, 1e-2}) {
        double point[3], du[3], dv[3];
        surfacePoint(surface, u + step * (middleU - u), v + step * (middleV - v), point, du, dv);
        const double n[3] = {du[1] * dv[2] - du[2] * dv[1], du[2] * dv[0] - du[0] * dv[2],
                             du[0] * dv[1] - du[1] * dv[0]};
        const double length = lengthOf(n);
        // Both sides against each other, so that one of rounding errors is not taken for a side.
        const double alongU = lengthOf(du) * (surface.endU() - surface.startU());
        const double alongV = lengthOf(dv) * (surface.endV() - surface.startV());
        if (!std::isfinite(length) || !(length > 1e-9 * lengthOf(du) * lengthOf(dv)) ||
            !(std::min(alongU, alongV) > 1e-10 * std::max(alongU, alongV)))
            continue;
        for (int k = 0; k < 3; ++k)
            normal[k] = (surface.flipped ? -n[k] : n[k]) / length;
        return;
    }
    normal[0] = normal[1] = normal[2] = 0;
}

} // namespace kelda
