#include "Tessellation.h"

#include "SurfaceData.h"
#include "TrimmedGrid.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <unordered_map>
#include <utility>

namespace zyscene
{

namespace
{
using namespace tessellation;

typedef std::array<double, 3> Point;

constexpr std::size_t maxStepsOfSpan = 1024;
// How far a trimming curve may turn from one corner of its polygon to the next: a circle has 48, which is
// within 0.3 % of its area.
constexpr double maxTurn = 3.14159265358979323846 / 24 * 1.001;

double lengthOf(const Homogeneous& a)
{
    return std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]);
}

Homogeneous scaledDifference(const Homogeneous& a, const Homogeneous& b, double factor)
{
    return {(b[0] - a[0]) * factor, (b[1] - a[1]) * factor, (b[2] - a[2]) * factor, (b[3] - a[3]) * factor};
}

// -- Evaluation --------------------------------------------------------------------------------------

/// Basis functions on grid lines are made once.
struct LineBasis {
    std::size_t span;
    Basis basis;
};

LineBasis basisAt(const KnotVector& knots, std::size_t span, double t)
{
    LineBasis result;
    result.span = span;
    evaluate(knots, span, t, result.basis);
    return result;
}

class Evaluator
{
public:
    explicit Evaluator(const SurfaceData& surface) : _surface(surface) {}

    Point position(const LineBasis& u, const LineBasis& v) const;
    /// @param normal of length 1; zero where it is not known
    void at(const LineBasis& u, const LineBasis& v, Point& position, Point& normal) const;

private:
    const SurfaceData& _surface;
};

Point crossProduct(const Point& a, const Point& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double length(const Point& a)
{
    return std::hypot(a[0], a[1], a[2]);
}

Point Evaluator::position(const LineBasis& u, const LineBasis& v) const
{
    Homogeneous s = {0, 0, 0, 0};
    for (std::size_t i = 0; i <= _surface.u.degree; ++i) {
        const Homogeneous* const row =
            &_surface.point(u.span - _surface.u.degree + i, v.span - _surface.v.degree);
        for (std::size_t k = 0; k <= _surface.v.degree; ++k) {
            const double factor = u.basis.values[i] * v.basis.values[k];
            for (std::size_t c = 0; c < 4; ++c)
                s[c] += factor * row[k][c];
        }
    }
    return {s[0] / s[3], s[1] / s[3], s[2] / s[3]};
}

void Evaluator::at(const LineBasis& u, const LineBasis& v, Point& position, Point& normal) const
{
    Homogeneous s = {0, 0, 0, 0};
    Homogeneous su = {0, 0, 0, 0};
    Homogeneous sv = {0, 0, 0, 0};
    const std::size_t degreeU = _surface.u.degree;
    const std::size_t degreeV = _surface.v.degree;
    for (std::size_t i = 0; i <= degreeU; ++i) {
        const Homogeneous* const row = &_surface.point(u.span - degreeU + i, v.span - degreeV);
        Homogeneous value = {0, 0, 0, 0};
        Homogeneous slope = {0, 0, 0, 0};
        for (std::size_t k = 0; k <= degreeV; ++k) {
            for (std::size_t c = 0; c < 4; ++c) {
                value[c] += v.basis.values[k] * row[k][c];
                slope[c] += v.basis.slopes[k] * row[k][c];
            }
        }
        for (std::size_t c = 0; c < 4; ++c) {
            s[c] += u.basis.values[i] * value[c];
            su[c] += u.basis.slopes[i] * value[c];
            sv[c] += u.basis.values[i] * slope[c];
        }
    }
    Point du;
    Point dv;
    for (std::size_t c = 0; c < 3; ++c) {
        position[c] = s[c] / s[3];
        du[c] = (su[c] - position[c] * su[3]) / s[3];
        dv[c] = (sv[c] - position[c] * sv[3]) / s[3];
    }
    // Directions that are next to nothing beside the size of the surface have none.
    const double lengthU = length(du) * (_surface.u.end() - _surface.u.start());
    const double lengthV = length(dv) * (_surface.v.end() - _surface.v.start());
    normal = {0, 0, 0};
    if (!(std::min(lengthU, lengthV) > 1e-6 * _surface.diagonal))
        return;
    for (std::size_t c = 0; c < 3; ++c) {
        du[c] *= (_surface.u.end() - _surface.u.start()) / lengthU;
        dv[c] *= (_surface.v.end() - _surface.v.start()) / lengthV;
    }
    const Point product = crossProduct(du, dv);
    const double size = length(product);
    if (!(size > 1e-6))
        return;
    for (std::size_t c = 0; c < 3; ++c)
        normal[c] = product[c] / size;
}

// -- Bounds of derivatives ---------------------------------------------------------------------------

/// The largest length of vectors and size of weights.
struct Size {
    double vector = 0;
    double weight = 0;

    void add(const Homogeneous& a)
    {
        vector = std::max(vector, lengthOf(a));
        weight = std::max(weight, std::abs(a[3]));
    }
};

/// A curve or surface is the hull of its control points, and so are its derivatives: of R = A / w they follow
/// from those of A and w. All is taken around the middle of the points, which keeps A short.
struct Around {
    Point middle{};
    double radius = 0;
    double minWeight = 0;

    explicit Around(const std::vector<Homogeneous>& points)
    {
        minWeight = points[0][3];
        for (const Homogeneous& point : points) {
            minWeight = std::min(minWeight, point[3]);
            for (std::size_t k = 0; k < 3; ++k)
                middle[k] += point[k] / point[3] / static_cast<double>(points.size());
        }
        for (const Homogeneous& point : points)
            radius = std::max(radius, lengthOf(relative(point)) / point[3]);
    }

    Homogeneous relative(const Homogeneous& point) const
    {
        return {point[0] - middle[0] * point[3], point[1] - middle[1] * point[3],
                point[2] - middle[2] * point[3], point[3]};
    }
    /// |R'| from A' and w'.
    double first(const Size& d) const { return (d.vector + radius * d.weight) / minWeight; }
    /// |R_st| from A_st, R_s, w_t, R_t, w_s.
    double second(const Size& dst, double s, double weightT, double t, double weightS) const
    {
        return (dst.vector + s * weightT + t * weightS + radius * dst.weight) / minWeight;
    }
};

/// Derivatives of control points along one direction, for those that count in a span. Point `i` of a
/// direction stands at i * stride.
/// @param order 1 or 2: of the derivative; its points are one less than those given
void derive(const KnotVector& knots, std::size_t span, std::size_t order, const Homogeneous* from,
            std::size_t count, std::size_t stride, Homogeneous* into)
{
    const std::size_t degree = knots.degree;
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const std::size_t at = span - degree + i;
        const double width = knots.knots[at + degree + 1] - knots.knots[at + order];
        into[i * stride] = scaledDifference(from[i * stride], from[(i + 1) * stride],
                                            static_cast<double>(degree + 1 - order) / width);
    }
}

struct PatchBounds {
    double u = 0; ///< of |dS/du|
    double v = 0;
    double uu = 0;
    double uv = 0;
    double vv = 0;
};

/// Bounds on one patch between knots.
class PatchMeasure
{
public:
    explicit PatchMeasure(const SurfaceData& surface)
        : _surface(surface), _evaluator(surface), _countU(surface.u.degree + 1),
          _countV(surface.v.degree + 1), _points(_countU * _countV), _u(_points.size()), _v(_points.size()),
          _work(_points.size())
    {
    }

    PatchBounds operator()(std::size_t spanU, std::size_t spanV);

private:
    void tighten(std::size_t spanU, std::size_t spanV, PatchBounds& bounds) const;
    Size sizeOf(const std::vector<Homogeneous>& points, std::size_t countU, std::size_t countV) const
    {
        Size size;
        for (std::size_t i = 0; i < countU; ++i) {
            for (std::size_t k = 0; k < countV; ++k)
                size.add(points[i * _countV + k]);
        }
        return size;
    }
    void deriveU(std::size_t span, std::size_t order, const std::vector<Homogeneous>& from,
                 std::size_t countU, std::size_t countV, std::vector<Homogeneous>& into) const
    {
        for (std::size_t k = 0; k < countV; ++k)
            derive(_surface.u, span, order, from.data() + k, countU, _countV, into.data() + k);
    }
    void deriveV(std::size_t span, std::size_t order, const std::vector<Homogeneous>& from,
                 std::size_t countU, std::size_t countV, std::vector<Homogeneous>& into) const
    {
        for (std::size_t i = 0; i < countU; ++i)
            derive(_surface.v, span, order, from.data() + i * _countV, countV, 1, into.data() + i * _countV);
    }

    const SurfaceData& _surface;
    Evaluator _evaluator;
    std::size_t _countU;
    std::size_t _countV;
    std::vector<Homogeneous> _points; ///< of the patch, rows of _countV; so are its derivatives
    std::vector<Homogeneous> _u;
    std::vector<Homogeneous> _v;
    std::vector<Homogeneous> _work;
};

PatchBounds PatchMeasure::operator()(std::size_t spanU, std::size_t spanV)
{
    for (std::size_t i = 0; i < _countU; ++i) {
        const Homogeneous* const row =
            &_surface.point(spanU - _surface.u.degree + i, spanV - _surface.v.degree);
        std::copy(row, row + _countV, _points.begin() + static_cast<std::ptrdiff_t>(i * _countV));
    }
    const Around around(_points);
    for (Homogeneous& point : _points)
        point = around.relative(point);

    deriveU(spanU, 1, _points, _countU, _countV, _u);
    deriveV(spanV, 1, _points, _countU, _countV, _v);
    const Size u = sizeOf(_u, _countU - 1, _countV);
    const Size v = sizeOf(_v, _countU, _countV - 1);
    deriveU(spanU, 2, _u, _countU - 1, _countV, _work);
    const Size uu = sizeOf(_work, _countU - 2, _countV);
    deriveV(spanV, 1, _u, _countU - 1, _countV, _work);
    const Size uv = sizeOf(_work, _countU - 1, _countV - 1);
    deriveV(spanV, 2, _v, _countU, _countV - 1, _work);
    const Size vv = sizeOf(_work, _countU, _countV - 2);

    PatchBounds bounds;
    bounds.u = around.first(u);
    bounds.v = around.first(v);
    bounds.uu = around.second(uu, bounds.u, u.weight, bounds.u, u.weight);
    bounds.uv = around.second(uv, bounds.u, v.weight, bounds.v, u.weight);
    bounds.vv = around.second(vv, bounds.v, v.weight, bounds.v, v.weight);
    if (u.weight > 0 || v.weight > 0)
        tighten(spanU, spanV, bounds);
    return bounds;
}

// Weights make the bounds wide: for a circle the steps would be four times smaller than they need be. There
// the second differences of some points, and a bit more, do.
void PatchMeasure::tighten(std::size_t spanU, std::size_t spanV, PatchBounds& bounds) const
{
    constexpr std::size_t steps = 8;
    constexpr double more = 1.25;
    const double fromU = _surface.u.knots[spanU];
    const double fromV = _surface.v.knots[spanV];
    const double stepU = (_surface.u.knots[spanU + 1] - fromU) / steps;
    const double stepV = (_surface.v.knots[spanV + 1] - fromV) / steps;
    std::array<LineBasis, steps + 1> basesV;
    for (std::size_t k = 0; k <= steps; ++k)
        basesV[k] = basisAt(_surface.v, spanV, fromV + stepV * double(k));
    std::array<std::array<Point, steps + 1>, steps + 1> points;
    for (std::size_t i = 0; i <= steps; ++i) {
        const LineBasis u = basisAt(_surface.u, spanU, fromU + stepU * double(i));
        for (std::size_t k = 0; k <= steps; ++k)
            points[i][k] = _evaluator.position(u, basesV[k]);
    }
    const auto difference = [](const Point& a, const Point& b, const Point& c, const Point& d) {
        return length({a[0] - b[0] - c[0] + d[0], a[1] - b[1] - c[1] + d[1], a[2] - b[2] - c[2] + d[2]});
    };
    PatchBounds sampled;
    for (std::size_t i = 0; i <= steps; ++i) {
        for (std::size_t k = 0; k <= steps; ++k) {
            const Point& at = points[i][k];
            if (i > 0 && i < steps)
                sampled.uu = std::max(sampled.uu, difference(points[i - 1][k], at, at, points[i + 1][k]));
            if (k > 0 && k < steps)
                sampled.vv = std::max(sampled.vv, difference(points[i][k - 1], at, at, points[i][k + 1]));
            if (i > 0 && k > 0) {
                const Point& below = points[i - 1][k - 1];
                sampled.uv = std::max(sampled.uv, difference(at, points[i - 1][k], points[i][k - 1], below));
            }
        }
    }
    bounds.uu = std::min(bounds.uu, more * sampled.uu / (stepU * stepU));
    bounds.uv = std::min(bounds.uv, more * sampled.uv / (stepU * stepV));
    bounds.vv = std::min(bounds.vv, more * sampled.vv / (stepV * stepV));
}

// -- Steps -------------------------------------------------------------------------------------------

// Steps of one unit of length each, at least one; not more than the limit whatever the number is.
std::size_t stepsFor(double steps)
{
    return steps > 1 ? static_cast<std::size_t>(std::ceil(std::min(steps, double(maxStepsOfSpan)))) : 1;
}

/// Steps of the spans of one direction.
struct Steps {
    explicit Steps(const KnotVector& knots) : knots(knots), spans(knots.spans()), counts(spans.size(), 1) {}

    double width(std::size_t i) const { return knots.knots[spans[i] + 1] - knots.knots[spans[i]]; }
    std::size_t total() const
    {
        std::size_t sum = 0;
        for (const std::size_t count : counts)
            sum += count;
        return sum;
    }
    std::vector<double> lines() const;

    const KnotVector& knots;
    std::vector<std::size_t> spans;
    std::vector<std::size_t> counts;
};

std::vector<double> Steps::lines() const
{
    std::vector<double> result;
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const double from = knots.knots[spans[i]];
        for (std::size_t k = 0; k < counts[i]; ++k)
            result.push_back(from + width(i) * static_cast<double>(k) / static_cast<double>(counts[i]));
    }
    result.push_back(knots.end());
    return result;
}

/// How a surface is divided.
///
/// A triangle in a cell of hu by hv is off by at most (hu² |Suu| + 2 hu hv |Suv| + hv² |Svv|) / 8 (Filip,
/// Magedson and Markot, Surface algorithms using bounds on derivatives, 1986). Half of the tolerance each
/// goes to the first and the last part; where the one between makes it too much, both steps become smaller.
class Plan
{
public:
    Plan(const SurfaceData& surface, const TessellationOptions& options)
        : u(surface.u), v(surface.v), tolerance(options.tolerance * surface.diagonal)
    {
        measure(surface);
        limit(options.maxCells);
    }

    Steps u;
    Steps v;
    double tolerance;
    double boundU = 0; ///< of |dS/du|, all over the surface
    double boundV = 0;
    bool coarse = false;

private:
    void measure(const SurfaceData& surface);
    void limit(std::size_t maxCells);
};

void Plan::measure(const SurfaceData& surface)
{
    PatchMeasure boundsOf(surface);
    std::vector<PatchBounds> patches;
    patches.reserve(u.spans.size() * v.spans.size());
    const auto refine = [this](std::size_t& count, double steps) {
        count = std::max(count, stepsFor(steps));
        coarse = coarse || !(steps <= double(maxStepsOfSpan));
    };
    for (std::size_t i = 0; i < u.spans.size(); ++i) {
        for (std::size_t k = 0; k < v.spans.size(); ++k) {
            const PatchBounds bounds = boundsOf(u.spans[i], v.spans[k]);
            boundU = std::max(boundU, bounds.u);
            boundV = std::max(boundV, bounds.v);
            refine(u.counts[i], u.width(i) * std::sqrt(bounds.uu / (4 * tolerance)));
            refine(v.counts[k], v.width(k) * std::sqrt(bounds.vv / (4 * tolerance)));
            patches.push_back(bounds);
        }
    }
    for (std::size_t i = 0; i < u.spans.size(); ++i) {
        for (std::size_t k = 0; k < v.spans.size(); ++k) {
            const PatchBounds& bounds = patches[i * v.spans.size() + k];
            const double stepU = u.width(i) / double(u.counts[i]);
            const double stepV = v.width(k) / double(v.counts[k]);
            const double off =
                (stepU * stepU * bounds.uu + 2 * stepU * stepV * bounds.uv + stepV * stepV * bounds.vv) / 8;
            if (off > tolerance) {
                const double factor = std::sqrt(off / tolerance);
                refine(u.counts[i], factor * double(u.counts[i]));
                refine(v.counts[k], factor * double(v.counts[k]));
            }
        }
    }
}

// Each round comes nearer, since spans that have one step already keep it.
void Plan::limit(std::size_t maxCells)
{
    for (;;) {
        const std::size_t totalU = u.total();
        const std::size_t totalV = v.total();
        if (totalU <= maxCells / totalV)
            return;
        if (totalU == u.spans.size() && totalV == v.spans.size())
            return;
        coarse = true;
        const double factor = std::sqrt(double(maxCells) / (double(totalU) * double(totalV)));
        for (Steps* const steps : {&u, &v}) {
            for (std::size_t& count : steps->counts)
                count = std::max<std::size_t>(1, static_cast<std::size_t>(double(count) * factor));
        }
    }
}

// -- Trimming ----------------------------------------------------------------------------------------

/// Loops as polygons.
class LoopSampler
{
public:
    explicit LoopSampler(const Plan& plan) : _plan(plan), _left(std::size_t(1) << 20) {}

    Polygon sample(const TrimLoop& loop);
    /// Distance of the ends of curves of all loops so far, at most.
    double gap() const { return _gap; }

private:
    std::size_t stepsOf(const TrimCurve& curve, std::size_t span);
    Homogeneous inSpace(const Homogeneous& point) const
    {
        return {point[0] * _plan.boundU, point[1] * _plan.boundV, 0, point[3]};
    }

    const Plan& _plan;
    std::size_t _left; ///< steps; behind them each span gets one
    double _gap = 0;
};

// As on a surface, in a plane in which no curve is shorter than it is in space; and by how far it turns.
std::size_t LoopSampler::stepsOf(const TrimCurve& curve, std::size_t span)
{
    const std::size_t degree = curve.knots.degree;
    std::vector<Homogeneous> points;
    for (std::size_t i = 0; i <= degree; ++i)
        points.push_back(inSpace(curve.points[span - degree + i]));
    const Around around(points);
    for (Homogeneous& point : points)
        point = around.relative(point);

    std::vector<Homogeneous> first(degree);
    derive(curve.knots, span, 1, points.data(), degree + 1, 1, first.data());
    std::vector<Homogeneous> second(degree - 1);
    derive(curve.knots, span, 2, first.data(), degree, 1, second.data());
    Size d1;
    Size d2;
    for (const Homogeneous& a : first)
        d1.add(a);
    for (const Homogeneous& a : second)
        d2.add(a);
    const double slope = around.first(d1);
    const double width = curve.knots.knots[span + 1] - curve.knots.knots[span];
    const double bend = around.second(d2, slope, d1.weight, slope, d1.weight);
    const double chord = width * std::sqrt(bend / (8 * _plan.tolerance));

    double turn = 0;
    double before = 0;
    bool known = false;
    for (std::size_t i = 0; i < degree; ++i) {
        const double u = points[i + 1][0] / points[i + 1][3] - points[i][0] / points[i][3];
        const double v = points[i + 1][1] / points[i + 1][3] - points[i][1] / points[i][3];
        if (u == 0 && v == 0)
            continue;
        const double direction = std::atan2(v, u);
        if (known)
            turn += std::abs(std::remainder(direction - before, 2 * 3.14159265358979323846));
        before = direction;
        known = true;
    }
    return degree == 1 ? 1 : stepsFor(std::max(chord, turn / maxTurn));
}

Polygon LoopSampler::sample(const TrimLoop& loop)
{
    Polygon polygon;
    for (const TrimCurve& curve : loop) {
        for (const std::size_t span : curve.knots.spans()) {
            const std::size_t steps = std::min(stepsOf(curve, span), _left + 1);
            _left -= steps - 1;
            const double from = curve.knots.knots[span];
            const double width = curve.knots.knots[span + 1] - from;
            for (std::size_t i = 0; i < steps; ++i)
                polygon.push_back(curve.at(span, from + width * double(i) / double(steps)));
        }
    }
    for (std::size_t i = 0; i < loop.size(); ++i) {
        // The end of a curve is left out: the start of the next one stands for it.
        const TrimCurve& curve = loop[i];
        const TrimCurve& next = loop[(i + 1) % loop.size()];
        const Parameter end = curve.at(curve.knots.spans().back(), curve.knots.end());
        const Parameter start = next.at(next.knots.spans().front(), next.knots.start());
        _gap = std::max(_gap, std::hypot(end[0] - start[0], end[1] - start[1]));
    }
    return polygon;
}

std::string trim(const SurfaceData& surface, const Plan& plan, TrimmedGrid& grid)
{
    if (surface.loops.empty())
        return {};
    LoopSampler sampler(plan);
    std::vector<Polygon> polygons;
    for (const TrimLoop& loop : surface.loops)
        polygons.push_back(sampler.sample(loop));
    const double size = std::max(surface.u.end() - surface.u.start(), surface.v.end() - surface.v.start());
    return grid.cut(std::move(polygons), sampler.gap() + 1e-7 * size);
}

// -- Blocks ------------------------------------------------------------------------------------------

/// Lines of a direction from one possible edge of the surface to the next.
struct Section {
    std::size_t first; ///< line
    std::size_t last;
    std::vector<std::size_t> spans; ///< of each line but the last
};

std::vector<Section> sectionsOf(const Steps& steps)
{
    std::vector<Section> sections;
    std::size_t line = 0;
    for (std::size_t i = 0; i < steps.spans.size(); ++i) {
        const std::size_t span = steps.spans[i];
        if (i == 0 || steps.knots.multiplicity(span) >= steps.knots.degree)
            sections.push_back({line, line, {}});
        line += steps.counts[i];
        sections.back().last = line;
        sections.back().spans.insert(sections.back().spans.end(), steps.counts[i], span);
    }
    return sections;
}

struct ParameterHash {
    std::size_t operator()(const Parameter& p) const
    {
        std::uint64_t bits[2];
        std::memcpy(bits, p.data(), sizeof(bits));
        std::uint64_t mixed = bits[0] * 0x9e3779b97f4a7c15u ^ (bits[1] + 0x7f4a7c15u) * 0xc2b2ae3d27d4eb4fu;
        mixed ^= mixed >> 29;
        return static_cast<std::size_t>(mixed * 0xbf58476d1ce4e5b9u);
    }
};

/// Makes the mesh, block by block: a block has vertices of its own.
class MeshBuilder
{
public:
    MeshBuilder(const SurfaceData& surface, const TrimmedGrid& grid, SurfaceMesh& mesh)
        : _surface(surface), _grid(grid), _evaluator(surface), _mesh(mesh)
    {
    }

    std::string addBlock(const Section& u, const Section& v);
    void completeNormals();

private:
    static constexpr std::uint32_t none = ~std::uint32_t(0);

    void beginBlock(const Section& u, const Section& v);
    void addCell(std::size_t i, std::size_t k);
    bool addPieces(std::size_t i, std::size_t k);
    void addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c)
    {
        _mesh.corners.insert(_mesh.corners.end(), {a, b, c});
    }
    std::uint32_t onGrid(std::size_t i, std::size_t k);
    std::uint32_t besideGrid(const Parameter& p, std::size_t i, std::size_t k);
    std::uint32_t addVertex(const Parameter& p, const LineBasis& u, const LineBasis& v);
    Point normalNear(const Parameter& p, const LineBasis& u, const LineBasis& v) const;

    const SurfaceData& _surface;
    const TrimmedGrid& _grid;
    Evaluator _evaluator;
    SurfaceMesh& _mesh;
    PolygonTriangulator _triangulator;
    std::vector<Parameter> _pieceCorners;

    const Section* _u = nullptr;
    const Section* _v = nullptr;
    std::vector<LineBasis> _basesU; ///< of the lines of the block
    std::vector<LineBasis> _basesV;
    std::vector<std::uint32_t> _onGrid; ///< vertices of the block
    std::unordered_map<Parameter, std::uint32_t, ParameterHash> _besideGrid;
};

// On the last line the functions of the span below it hold.
std::vector<LineBasis> basesOf(const KnotVector& knots, const Section& section,
                               const std::vector<double>& lines)
{
    std::vector<LineBasis> bases;
    for (std::size_t i = section.first; i <= section.last; ++i) {
        const std::size_t at = std::min(i - section.first, section.spans.size() - 1);
        bases.push_back(basisAt(knots, section.spans[at], lines[i]));
    }
    return bases;
}

void MeshBuilder::beginBlock(const Section& u, const Section& v)
{
    if (_u != &u)
        _basesU = basesOf(_surface.u, u, _grid.us());
    _basesV = basesOf(_surface.v, v, _grid.vs());
    _u = &u;
    _v = &v;
    _onGrid.assign(_basesU.size() * _basesV.size(), none);
    _besideGrid.clear();
}

// Where a side of the surface is drawn together to a point, the normal is that of a place a little inside.
Point MeshBuilder::normalNear(const Parameter& p, const LineBasis& u, const LineBasis& v) const
{
    const std::vector<double>& knotsU = _surface.u.knots;
    const std::vector<double>& knotsV = _surface.v.knots;
    const double middleU = (knotsU[u.span] + knotsU[u.span + 1]) / 2;
    const double middleV = (knotsV[v.span] + knotsV[v.span + 1]) / 2;
    Point normal = {0, 0, 0};
    for (const double part : {1e-4, 1e-2}) {
        const LineBasis nearU = basisAt(_surface.u, u.span, p[0] + part * (middleU - p[0]));
        const LineBasis nearV = basisAt(_surface.v, v.span, p[1] + part * (middleV - p[1]));
        Point position;
        _evaluator.at(nearU, nearV, position, normal);
        if (length(normal) > 0)
            break;
    }
    return normal;
}

std::uint32_t MeshBuilder::addVertex(const Parameter& p, const LineBasis& u, const LineBasis& v)
{
    Point position;
    Point normal;
    _evaluator.at(u, v, position, normal);
    if (normal == Point{0, 0, 0})
        normal = normalNear(p, u, v);
    const auto narrow = [](const Point& a) -> std::array<float, 3> {
        return {static_cast<float>(a[0]), static_cast<float>(a[1]), static_cast<float>(a[2])};
    };
    _mesh.positions.push_back(narrow(position));
    _mesh.normals.push_back(narrow(normal));
    _mesh.parameters.push_back({static_cast<float>(p[0]), static_cast<float>(p[1])});
    return static_cast<std::uint32_t>(_mesh.positions.size() - 1);
}

std::uint32_t MeshBuilder::onGrid(std::size_t i, std::size_t k)
{
    const std::size_t u = i - _u->first;
    const std::size_t v = k - _v->first;
    std::uint32_t& vertex = _onGrid[u * _basesV.size() + v];
    if (vertex == none)
        vertex = addVertex({_grid.us()[i], _grid.vs()[k]}, _basesU[u], _basesV[v]);
    return vertex;
}

/// @param i cell in which the place is
std::uint32_t MeshBuilder::besideGrid(const Parameter& p, std::size_t i, std::size_t k)
{
    for (const std::size_t u : {i, i + 1}) {
        for (const std::size_t v : {k, k + 1}) {
            if (p[0] == _grid.us()[u] && p[1] == _grid.vs()[v])
                return onGrid(u, v);
        }
    }
    const auto found = _besideGrid.emplace(p, none);
    if (found.second) {
        const LineBasis u = basisAt(_surface.u, _u->spans[i - _u->first], p[0]);
        const LineBasis v = basisAt(_surface.v, _v->spans[k - _v->first], p[1]);
        found.first->second = addVertex(p, u, v);
    }
    return found.first->second;
}

void MeshBuilder::addCell(std::size_t i, std::size_t k)
{
    const std::uint32_t a = onGrid(i, k);
    const std::uint32_t b = onGrid(i + 1, k);
    const std::uint32_t c = onGrid(i + 1, k + 1);
    const std::uint32_t d = onGrid(i, k + 1);
    addTriangle(a, b, c);
    addTriangle(a, c, d);
}

bool MeshBuilder::addPieces(std::size_t i, std::size_t k)
{
    if (!_triangulator.triangulate(_grid.pieces(i, k), _pieceCorners))
        return false;
    for (std::size_t n = 0; n < _pieceCorners.size(); n += 3) {
        const std::uint32_t a = besideGrid(_pieceCorners[n], i, k);
        const std::uint32_t b = besideGrid(_pieceCorners[n + 1], i, k);
        addTriangle(a, b, besideGrid(_pieceCorners[n + 2], i, k));
    }
    return true;
}

std::string MeshBuilder::addBlock(const Section& u, const Section& v)
{
    beginBlock(u, v);
    for (std::size_t i = u.first; i < u.last; ++i) {
        for (std::size_t k = v.first; k < v.last; ++k) {
            const TrimmedGrid::State state = _grid.state(i, k);
            if (state == TrimmedGrid::Whole)
                addCell(i, k);
            else if (state == TrimmedGrid::Cut && !addPieces(i, k))
                return "trimming cannot be cut into triangles";
        }
    }
    return {};
}

// What still has no normal gets that of its triangles.
void MeshBuilder::completeNormals()
{
    std::unordered_map<std::uint32_t, Point> sums;
    for (std::size_t i = 0; i < _mesh.normals.size(); ++i) {
        if (_mesh.normals[i] == std::array<float, 3>{0, 0, 0})
            sums.emplace(static_cast<std::uint32_t>(i), Point{0, 0, 0});
    }
    if (sums.empty())
        return;
    for (std::size_t n = 0; n < _mesh.corners.size(); n += 3) {
        Point edges[2];
        for (std::size_t e = 0; e < 2; ++e) {
            for (std::size_t c = 0; c < 3; ++c) {
                edges[e][c] = double(_mesh.positions[_mesh.corners[n + 1 + e]][c]) -
                              double(_mesh.positions[_mesh.corners[n]][c]);
            }
        }
        const Point area = crossProduct(edges[0], edges[1]);
        for (std::size_t e = 0; e < 3; ++e) {
            const auto found = sums.find(_mesh.corners[n + e]);
            for (std::size_t c = 0; found != sums.end() && c < 3; ++c)
                found->second[c] += area[c];
        }
    }
    for (const auto& row : sums) {
        const double size = length(row.second);
        for (std::size_t c = 0; c < 3; ++c) {
            _mesh.normals[row.first][c] =
                static_cast<float>(size > 0 ? row.second[c] / size : (c == 2 ? 1 : 0));
        }
    }
}
} // namespace

// -- Surfaces ----------------------------------------------------------------------------------------

std::string tessellate(const osg::Surface& surface, const TessellationOptions& options, SurfaceMesh& mesh)
{
    mesh = SurfaceMesh();
    SurfaceData data;
    std::string wrong = readSurface(surface, data);
    if (!wrong.empty())
        return wrong;
    const Plan plan(data, options);
    TrimmedGrid grid(plan.u.lines(), plan.v.lines());
    wrong = trim(data, plan, grid);
    if (!wrong.empty())
        return wrong;

    mesh.coarse = plan.coarse;
    mesh.domain = {data.u.start(), data.v.start(), data.u.end(), data.v.end()};
    MeshBuilder builder(data, grid, mesh);
    const std::vector<Section> sectionsU = sectionsOf(plan.u);
    const std::vector<Section> sectionsV = sectionsOf(plan.v);
    for (const Section& u : sectionsU) {
        for (const Section& v : sectionsV) {
            wrong = builder.addBlock(u, v);
            if (!wrong.empty()) {
                mesh = SurfaceMesh();
                return wrong;
            }
        }
    }
    builder.completeNormals();
    return {};
}

std::string countTriangles(const osg::Surface& surface, const TessellationOptions& options,
                           std::uint64_t& triangles)
{
    triangles = 0;
    SurfaceData data;
    std::string wrong = readSurface(surface, data);
    if (!wrong.empty())
        return wrong;
    const Plan plan(data, options);
    if (data.loops.empty()) {
        triangles = std::uint64_t(2) * plan.u.total() * plan.v.total();
        return {};
    }
    TrimmedGrid grid(plan.u.lines(), plan.v.lines());
    wrong = trim(data, plan, grid);
    PolygonTriangulator triangulator;
    std::vector<Parameter> corners;
    for (std::size_t i = 0; wrong.empty() && i + 1 < grid.us().size(); ++i) {
        for (std::size_t k = 0; wrong.empty() && k + 1 < grid.vs().size(); ++k) {
            const TrimmedGrid::State state = grid.state(i, k);
            if (state == TrimmedGrid::Whole)
                triangles += 2;
            else if (state == TrimmedGrid::Cut && !triangulator.triangulate(grid.pieces(i, k), corners))
                wrong = "trimming cannot be cut into triangles";
            else if (state == TrimmedGrid::Cut)
                triangles += corners.size() / 3;
        }
    }
    if (!wrong.empty())
        triangles = 0;
    return wrong;
}

} // namespace zyscene
