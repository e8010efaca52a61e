#include "shapes/Nurbs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace kelda
{

// -- Places in the arrays -------------------------------------------------------------------------

const TrimIndex& SurfaceData::trimIndex() const
{
    if (index.knots.size() == trims.curveCount())
        return index;
    size_t curve = 0;
    for (size_t b = 0; b < trims.boundaryCount(); ++b) {
        const int32_t* const row = &trims.boundaries[b * TrimData::kBoundaryRow];
        if (static_cast<size_t>(row[0]) == index.regions.size())
            index.regions.push_back(b);
        index.boundaries.push_back(curve);
        curve += static_cast<size_t>(row[2]);
    }
    index.regions.push_back(trims.boundaryCount());
    index.boundaries.push_back(curve);
    size_t knots = 0;
    size_t cvs = 0;
    for (size_t c = 0; c < trims.curveCount(); ++c) {
        const int32_t* const row = &trims.curves[c * TrimData::kCurveRow];
        index.knots.push_back(knots);
        index.cvs.push_back(cvs);
        knots += static_cast<size_t>(row[3]);
        cvs += static_cast<size_t>(row[3] + 1 - row[0]) * (row[2] != 0 ? 3u : 2u);
    }
    return index;
}

CurveView SurfaceData::trimCurve(size_t curve) const
{
    const TrimIndex& at = trimIndex();
    const int32_t* const row = &trims.curves[curve * TrimData::kCurveRow];
    return {row[0],
            static_cast<NurbsForm>(row[1]),
            row[2] != 0,
            true,
            trims.knots.data() + at.knots[curve],
            static_cast<size_t>(row[3]),
            trims.cvs.data() + at.cvs[curve],
            static_cast<size_t>(row[3] + 1 - row[0])};
}

namespace
{

// -- Polygons -------------------------------------------------------------------------------------

struct Point {
    double u;
    double v;
};

Point operator-(const Point& a, const Point& b)
{
    return {a.u - b.u, a.v - b.v};
}

double cross(const Point& a, const Point& b)
{
    return a.u * b.v - a.v * b.u;
}

double length(const Point& a)
{
    return std::hypot(a.u, a.v);
}

/// A closed boundary as a polygon whose corners lie on its curves; the last one is followed by the first.
struct Loop {
    size_t boundary;  ///< its number among all
    size_t first;     ///< of its corners, among those of all loops
    size_t count;     ///< of corners
    double area;      ///< above 0: counter-clockwise
    size_t below;     ///< nearest loop below its leftmost corner; kNone: none
    bool insideBelow; ///< and that corner lies inside of that loop
    size_t parent;    ///< smallest loop that it stands in; kNone: none
    size_t depth;     ///< number of loops that it stands in; kNone: not known yet
};

constexpr size_t kNone = ~size_t(0);
constexpr size_t kMaxCorners = 4 * 1000 * 1000; ///< of one surface; some 150 bytes each while it is checked

struct Box {
    Point low;
    Point high;

    void add(const Box& o)
    {
        low = {std::min(low.u, o.low.u), std::min(low.v, o.low.v)};
        high = {std::max(high.u, o.high.u), std::max(high.v, o.high.v)};
    }
    bool meets(const Box& o, double slack) const
    {
        return low.u <= o.high.u + slack && o.low.u <= high.u + slack && low.v <= o.high.v + slack &&
               o.low.v <= high.v + slack;
    }
};

/// Checks and sorts the boundaries of one surface. Everything is done on polygons; how far these lie from
/// their curves is added to the tolerance.
class Arrangement
{
public:
    explicit Arrangement(const SurfaceData& surface) : _surface(surface), _trims(surface.trims) {}

    /// `typed`: the boundaries have types, and segments are left alone.
    const char* run(bool typed);
    const std::vector<Loop>& loops() const { return _loops; } ///< in the order of the boundaries

private:
    const char* checkRows() const;
    const char* sample(size_t boundary, bool closed, bool keep);
    bool isJoint(const Point& a, const Point& b) const;
    bool isInside(Point& p) const;

    void buildTree();
    const char* checkCrossings() const;
    bool crosses(size_t a, size_t b) const;
    bool passesThrough(size_t corner, size_t segment) const;
    void findBelow(Loop& loop) const;
    void findParents();

    // Segment i goes from corner i to the next corner of its loop.
    const Loop& loopOf(size_t segment) const { return _loops[_loopOf[segment]]; }
    size_t next(size_t corner) const
    {
        const Loop& loop = loopOf(corner);
        return corner + 1 == loop.first + loop.count ? loop.first : corner + 1;
    }
    size_t previous(size_t corner) const
    {
        const Loop& loop = loopOf(corner);
        return corner == loop.first ? loop.first + loop.count - 1 : corner - 1;
    }
    Box boxOf(size_t segment) const
    {
        const Point& a = _corners[segment];
        const Point& b = _corners[next(segment)];
        return {{std::min(a.u, b.u), std::min(a.v, b.v)}, {std::max(a.u, b.u), std::max(a.v, b.v)}};
    }

    const SurfaceData& _surface;
    const TrimData& _trims;
    double _slack = 0; ///< distances in the parameter plane up to this are none
    std::vector<Point> _corners;
    std::vector<double> _sag; ///< of each segment: how far its curve may leave it
    std::vector<uint32_t> _loopOf;
    std::vector<Loop> _loops;
    std::vector<Box>
        _tree; ///< boxes of segments in pairs, in pairs of pairs, ...: node n has the children 2n, 2n + 1
    size_t _leaves = 0; ///< a power of two
    double _largestSag = 0;
};

const char* Arrangement::run(bool typed)
{
    if (const char* wrong = checkRows())
        return wrong;
    const double bounds[] = {_surface.startU(), _surface.endU(), _surface.startV(), _surface.endV()};
    double largest = 1;
    for (const double bound : bounds)
        largest = std::max(largest, std::fabs(bound));
    _slack = _trims.paramTolerance * largest;
    for (size_t b = 0; b < _trims.boundaryCount(); ++b) {
        const TrimType type = typed ? _trims.type(b) : TrimType::Outer;
        const bool cuts = type == TrimType::Outer || type == TrimType::Inner;
        if (const char* wrong = sample(b, type != TrimType::Segment, cuts))
            return wrong;
    }
    buildTree();
    if (const char* wrong = checkCrossings())
        return wrong;
    findParents();
    return nullptr;
}

// The counts first: everything after this may go by them.
const char* Arrangement::checkRows() const
{
    if (!(_trims.edgeTolerance > 0) || !(_trims.paramTolerance > 0) || !std::isfinite(_trims.edgeTolerance) ||
        !std::isfinite(_trims.paramTolerance))
        return "a trim tolerance is not above 0";
    if (_trims.boundaries.size() % TrimData::kBoundaryRow != 0 ||
        _trims.curves.size() % TrimData::kCurveRow != 0)
        return "the rows of trim boundaries or curves are not complete";
    size_t curves = 0;
    for (size_t b = 0; b < _trims.boundaryCount(); ++b) {
        const int32_t count = _trims.boundaries[b * TrimData::kBoundaryRow + 2];
        if (count < 1)
            return "a trim boundary has no curve";
        curves += static_cast<size_t>(count);
    }
    if (curves != _trims.curveCount())
        return "the trim boundaries do not have as many curves as there are";
    size_t knots = 0;
    size_t cvs = 0;
    for (size_t c = 0; c < _trims.curveCount(); ++c) {
        const int32_t* const row = &_trims.curves[c * TrimData::kCurveRow];
        // Knots and CVs of each are held against what is left of the arrays.
        if (row[0] < 1 || row[0] > kMaxDegree || row[3] < 2 * row[0] || row[2] < 0 || row[2] > 1)
            return "a trim curve has a wrong degree, too few knots, or is neither rational nor not";
        const size_t numbers = static_cast<size_t>(row[3] + 1 - row[0]) * (row[2] != 0 ? 3u : 2u);
        if (static_cast<size_t>(row[3]) > _trims.knots.size() - knots || numbers > _trims.cvs.size() - cvs)
            return "the trim curves have more knots or CVs than there are";
        CurveView curve{row[0],
                        static_cast<NurbsForm>(row[1]),
                        row[2] != 0,
                        true,
                        _trims.knots.data() + knots,
                        static_cast<size_t>(row[3]),
                        _trims.cvs.data() + cvs,
                        static_cast<size_t>(row[3] + 1 - row[0])};
        if (const char* wrong = checkCurve(curve))
            return wrong;
        knots += static_cast<size_t>(row[3]);
        cvs += numbers;
    }
    if (knots != _trims.knots.size() || cvs != _trims.cvs.size())
        return "the trim curves have fewer knots or CVs than there are";
    return nullptr;
}

bool Arrangement::isInside(Point& p) const
{
    if (!(p.u >= _surface.startU() - _slack && p.u <= _surface.endU() + _slack &&
          p.v >= _surface.startV() - _slack && p.v <= _surface.endV() + _slack))
        return false;
    p.u = std::min(std::max(p.u, _surface.startU()), _surface.endU());
    p.v = std::min(std::max(p.v, _surface.startV()), _surface.endV());
    return true;
}

/// Do two ends of curves belong together? In the parameter plane, or where that is stretched in space.
bool Arrangement::isJoint(const Point& a, const Point& b) const
{
    if (length(a - b) <= _slack)
        return true;
    double p[3], q[3];
    surfacePoint(_surface, a.u, a.v, p);
    surfacePoint(_surface, b.u, b.v, q);
    return std::hypot(std::hypot(p[0] - q[0], p[1] - q[1]), p[2] - q[2]) <= _trims.edgeTolerance;
}

/// Follows the curves of a boundary. `keep`: its corners become a loop.
const char* Arrangement::sample(size_t boundary, bool closed, bool keep)
{
    const TrimIndex& at = _surface.trimIndex();
    const size_t first = _corners.size();
    Point begin{}, last{};
    bool any = false;
    for (size_t c = at.boundaries[boundary]; c < at.boundaries[boundary + 1]; ++c) {
        const CurveView curve = _surface.trimCurve(c);
        const auto pointAt = [&](double t, Point& p) {
            double xyz[3];
            curvePoint(curve, t, xyz);
            p = {xyz[0], xyz[1]};
            return isInside(p);
        };
        Point p;
        if (!pointAt(curve.start(), p))
            return "a trim curve leaves the domain";
        if (any && !isJoint(last, p))
            return "the curves of a trim boundary do not join";
        if (!any)
            begin = p;
        // A curve goes on where the one before has ended: one corner does for both, unless they only meet in
        // space.
        if (keep && (!any || length(p - last) > _slack)) {
            _corners.push_back(p);
            _sag.push_back(0);
        }
        any = true;
        last = p;
        const size_t steps =
            curve.degree == 1 ? 1 : std::min<size_t>(static_cast<size_t>(curve.degree) * 4, 16);
        const size_t d = static_cast<size_t>(curve.degree);
        for (size_t k = d; k < curve.cvCount; ++k) {
            const double from = curve.knots[k - 1];
            const double to = curve.knots[k];
            if (!(from < to))
                continue;
            if (_corners.size() > kMaxCorners)
                return "the trim boundaries are too long to be checked";
            for (size_t s = 1; s <= steps; ++s) {
                const double step = (to - from) / static_cast<double>(steps);
                const double t = s == steps ? to : from + step * static_cast<double>(s);
                Point middle;
                if (!pointAt(t - step / 2, middle) || !pointAt(t, p))
                    return "a trim curve leaves the domain";
                if (keep) {
                    const Point chord = p - last;
                    const double chordLength = length(chord);
                    const double sag = steps == 1 ? 0
                                       : chordLength > 0
                                           ? std::fabs(cross(middle - last, chord)) / chordLength
                                           : length(middle - last);
                    _sag.back() = std::max(_sag.back(), sag);
                    if (chordLength > 0) {
                        _corners.push_back(p);
                        _sag.push_back(0);
                    }
                }
                last = p;
            }
        }
    }
    if (closed && !isJoint(last, begin))
        return "a trim boundary is not closed";
    if (!keep)
        return nullptr;
    if (length(last - begin) <= _slack) { // the last corner is the first one again
        _corners.pop_back();
        _sag.pop_back();
    }
    Loop loop{boundary, first, _corners.size() - first, 0, kNone, false, kNone, kNone};
    double around = 0;
    for (size_t i = 0; i < loop.count; ++i) {
        const Point a = _corners[first + i] - begin;
        const Point b = _corners[first + (i + 1) % loop.count] - begin;
        loop.area += cross(a, b) / 2;
        around += length(b - a);
    }
    if (loop.count < 3 || !(std::fabs(loop.area) > _slack * around / 2))
        return "a trim boundary encloses nothing, or crosses itself";
    _loopOf.resize(_corners.size(), static_cast<uint32_t>(_loops.size()));
    _loops.push_back(loop);
    return nullptr;
}

// -- Crossings ------------------------------------------------------------------------------------

void Arrangement::buildTree()
{
    _leaves = 1;
    while (_leaves < _corners.size())
        _leaves *= 2;
    const Box nothing{{HUGE_VAL, HUGE_VAL}, {-HUGE_VAL, -HUGE_VAL}};
    _tree.assign(_leaves * 2, nothing);
    for (size_t i = 0; i < _corners.size(); ++i) {
        _tree[_leaves + i] = boxOf(i);
        _largestSag = std::max(_largestSag, _sag[i]);
    }
    for (size_t n = _leaves - 1; n > 0; --n) {
        _tree[n] = _tree[n * 2];
        _tree[n].add(_tree[n * 2 + 1]);
    }
}

/// Two segments that share no corner have a point in common that is an inner one of both.
bool Arrangement::crosses(size_t a, size_t b) const
{
    const Point& a0 = _corners[a];
    const Point& a1 = _corners[next(a)];
    const Point& b0 = _corners[b];
    const Point& b1 = _corners[next(b)];
    const Point along = a1 - a0;
    const Point other = b1 - b0;
    const double tolerance = _slack + _sag[a] + _sag[b];
    const double nearA = tolerance * length(along);
    const double nearB = tolerance * length(other);
    const double sideB0 = cross(along, b0 - a0);
    const double sideB1 = cross(along, b1 - a0);
    const double sideA0 = cross(other, a0 - b0);
    const double sideA1 = cross(other, a1 - b0);
    const auto apart = [](double p, double q, double near) {
        return (p > near && q < -near) || (p < -near && q > near);
    };
    return apart(sideB0, sideB1, nearA) && apart(sideA0, sideA1, nearB);
}

/// The loop crosses a segment (of itself or of another loop) right at this corner.
bool Arrangement::passesThrough(size_t corner, size_t segment) const
{
    const Point& p = _corners[corner];
    const Point& a = _corners[segment];
    const Point& b = _corners[next(segment)];
    const Point along = b - a;
    const double tolerance = _slack + _sag[segment] + _sag[corner];
    const double size = length(along);
    const double place = ((p.u - a.u) * along.u + (p.v - a.v) * along.v) / size;
    // What is close to the end is close to the start of the next segment.
    if (!(place >= -tolerance && place < size - tolerance) ||
        std::fabs(cross(along, p - a)) > tolerance * size)
        return false;
    // The directions in which both go on and come from: they cross if they part each other.
    const bool atStart = place <= tolerance;
    const Point directions[4] = {(atStart ? _corners[previous(segment)] : a) - p, b - p,
                                 _corners[previous(corner)] - p, _corners[next(corner)] - p};
    double angles[4];
    for (int i = 0; i < 4; ++i) {
        if (length(directions[i]) <= 2 * tolerance)
            return false; // too close to tell
        angles[i] = std::atan2(directions[i].v, directions[i].u);
    }
    constexpr double kTurn = 6.283185307179586;
    const auto from = [&](int i) { // the angle of the first direction is 0
        const double turned = angles[i] - angles[0];
        return turned < 0 ? turned + kTurn : turned;
    };
    // Directions that nearly agree belong to boundaries that touch.
    constexpr double kTouch = 1e-3;
    const double onward = from(1);
    const auto sideOf = [&](double angle) {
        return angle > kTouch && angle < onward - kTouch           ? 1
               : angle > onward + kTouch && angle < kTurn - kTouch ? -1
                                                                   : 0;
    };
    return sideOf(from(2)) * sideOf(from(3)) < 0;
}

const char* Arrangement::checkCrossings() const
{
    // Boundaries that people make need a few dozen comparisons for each segment.
    size_t left = 1000 * 1000 + 256 * _corners.size();
    const double slack = _slack + 2 * _largestSag;
    std::vector<std::pair<size_t, size_t>> todo;
    if (!_corners.empty())
        todo.push_back({1, 1});
    while (!todo.empty()) {
        const auto [a, b] = todo.back();
        todo.pop_back();
        if (left-- == 0)
            return "the trim boundaries are too entangled to be checked";
        if (!_tree[a].meets(_tree[b], slack))
            continue;
        if (a < _leaves) { // both stand on the same level
            todo.push_back({a * 2, b * 2});
            todo.push_back({a * 2, b * 2 + 1});
            todo.push_back({a * 2 + 1, b * 2 + 1});
            if (a != b)
                todo.push_back({a * 2 + 1, b * 2});
            continue;
        }
        const size_t i = a - _leaves;
        const size_t j = b - _leaves;
        if (i >= _corners.size() || j >= _corners.size() || i == j || next(i) == j || next(j) == i)
            continue;
        if (crosses(i, j) || passesThrough(i, j) || passesThrough(j, i))
            return "a trim boundary crosses itself or another one";
    }
    return nullptr;
}

// -- Regions --------------------------------------------------------------------------------------

/// Looks straight down from a point inside the loop, next to its leftmost corner.
void Arrangement::findBelow(Loop& loop) const
{
    size_t leftmost = loop.first;
    for (size_t i = loop.first; i < loop.first + loop.count; ++i)
        if (_corners[i].u < _corners[leftmost].u ||
            (_corners[i].u == _corners[leftmost].u && _corners[i].v < _corners[leftmost].v))
            leftmost = i;
    const Point corner = _corners[leftmost];
    const Point back = _corners[previous(leftmost)] - corner;
    const Point onward = _corners[next(leftmost)] - corner;
    // A little inwards, so that a boundary that touches there does not matter.
    const double step = 1e-3 * std::min(length(back), length(onward));
    const Point from = {corner.u + step * (back.u / length(back) + onward.u / length(onward)),
                        corner.v + step * (back.v / length(back) + onward.v / length(onward))};
    double highest = -HUGE_VAL;
    std::vector<size_t> todo{1};
    while (!todo.empty()) {
        const size_t node = todo.back();
        todo.pop_back();
        const Box& box = _tree[node];
        if (!(box.low.u <= from.u && from.u <= box.high.u && box.low.v < from.v && box.high.v > highest))
            continue;
        if (node < _leaves) {
            todo.push_back(node * 2);
            todo.push_back(node * 2 + 1);
            continue;
        }
        const size_t segment = node - _leaves;
        const Loop& other = loopOf(segment);
        const Point& a = _corners[segment];
        const Point& b = _corners[next(segment)];
        if (&other == &loop || (a.u <= from.u) == (b.u <= from.u))
            continue;
        const double v = a.v + (from.u - a.u) / (b.u - a.u) * (b.v - a.v);
        if (!(v < from.v) || !(v > highest))
            continue;
        highest = v;
        loop.below = _loopOf[segment];
        loop.insideBelow = (b.u > a.u) == (other.area > 0);
    }
}

void Arrangement::findParents()
{
    for (Loop& loop : _loops)
        findBelow(loop);
    // A loop stands in the one below it, or in what that one stands in.
    std::vector<size_t> chain;
    std::vector<bool> onChain(_loops.size());
    for (size_t start = 0; start < _loops.size(); ++start) {
        size_t at = start;
        while (at != kNone && _loops[at].depth == kNone && !onChain[at]) {
            onChain[at] = true;
            chain.push_back(at);
            at = _loops[at].below;
        }
        while (!chain.empty()) {
            Loop& loop = _loops[chain.back()];
            onChain[chain.back()] = false;
            chain.pop_back();
            // Of loops that overlap within the tolerance, each can stand below the other: then neither is the
            // parent.
            const bool known = loop.below != kNone && _loops[loop.below].depth != kNone;
            loop.parent = !known ? kNone : loop.insideBelow ? loop.below : _loops[loop.below].parent;
            loop.depth = loop.parent == kNone ? 0 : _loops[loop.parent].depth + 1;
        }
    }
}

/// Number of the region of each loop: those of even depth are outer boundaries and count in order.
std::vector<size_t> regionsOf(const std::vector<Loop>& loops)
{
    std::vector<size_t> regions(loops.size());
    size_t count = 0;
    for (size_t i = 0; i < loops.size(); ++i)
        if (loops[i].depth % 2 == 0)
            regions[i] = count++;
    for (size_t i = 0; i < loops.size(); ++i)
        if (loops[i].depth % 2 != 0)
            regions[i] = regions[loops[i].parent];
    return regions;
}

TrimType typeOf(const Loop& loop)
{
    return loop.depth % 2 == 0 ? TrimType::Outer : TrimType::Inner;
}

} // namespace

// -- Checks ---------------------------------------------------------------------------------------

const char* checkTrims(const SurfaceData& surface)
{
    const TrimData& trims = surface.trims;
    if (trims.empty())
        return nullptr;
    int32_t region = -1;
    for (size_t b = 0; b < trims.boundaryCount(); ++b) {
        const int32_t* const row = &trims.boundaries[b * TrimData::kBoundaryRow];
        const bool opens = row[0] == region + 1;
        if ((!opens && (row[0] != region || region < 0)) || row[1] < 1 || row[1] > 4 ||
            opens != (trims.type(b) == TrimType::Outer))
            return "the trim boundaries do not stand region by region, the outer one first";
        region = row[0];
    }
    Arrangement arrangement(surface);
    if (const char* wrong = arrangement.run(true))
        return wrong;
    const std::vector<Loop>& loops = arrangement.loops();
    const std::vector<size_t> regions = regionsOf(loops);
    for (size_t i = 0; i < loops.size(); ++i)
        if (typeOf(loops[i]) != trims.type(loops[i].boundary) ||
            regions[i] != static_cast<size_t>(trims.boundaries[loops[i].boundary * TrimData::kBoundaryRow]))
            return "a trim boundary is not of the type or the region that it lies in";
    return nullptr;
}

const char* sortTrims(SurfaceData& surface)
{
    Arrangement arrangement(surface);
    if (const char* wrong = arrangement.run(false))
        return wrong;
    const std::vector<Loop>& loops = arrangement.loops();
    const std::vector<size_t> regions = regionsOf(loops);
    std::vector<size_t> order(loops.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return regions[a] != regions[b] ? regions[a] < regions[b] : typeOf(loops[a]) < typeOf(loops[b]);
    });
    TrimData sorted;
    sorted.edgeTolerance = surface.trims.edgeTolerance;
    sorted.paramTolerance = surface.trims.paramTolerance;
    sorted.boundaries.reserve(surface.trims.boundaries.size());
    sorted.curves.reserve(surface.trims.curves.size());
    sorted.knots.reserve(surface.trims.knots.size());
    sorted.cvs.reserve(surface.trims.cvs.size());
    const TrimIndex& at = surface.trimIndex();
    for (const size_t i : order) {
        const size_t from = at.boundaries[i];
        const size_t to = at.boundaries[i + 1];
        for (const size_t value : {regions[i], static_cast<size_t>(typeOf(loops[i])), to - from})
            sorted.boundaries.push_back(static_cast<int32_t>(value));
        const int32_t* const rows = surface.trims.curves.data();
        sorted.curves.insert(sorted.curves.end(), rows + from * TrimData::kCurveRow,
                             rows + to * TrimData::kCurveRow);
        for (size_t c = from; c < to; ++c) {
            const CurveView curve = surface.trimCurve(c);
            sorted.knots.insert(sorted.knots.end(), curve.knots, curve.knots + curve.knotCount);
            sorted.cvs.insert(sorted.cvs.end(), curve.cvs, curve.cvs + curve.cvCount * curve.stride());
        }
    }
    surface.trims = std::move(sorted);
    surface.trimsChanged();
    return nullptr;
}

} // namespace kelda
