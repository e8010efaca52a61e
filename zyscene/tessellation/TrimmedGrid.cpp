#include "TrimmedGrid.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zyscene::tessellation
{

namespace
{
// Corners that the pieces of all loops may have, while they are divided and in the end; of one cell.
constexpr std::size_t maxCorners = std::size_t(1) << 23;
constexpr std::size_t maxCornersOfCell = std::size_t(1) << 15;
// Comparisons of segments; those that lie side by side need some hundreds each.
constexpr std::size_t maxComparisons = std::size_t(1) << 25;
// Crossings that are no deeper than the ends of curves are apart.
constexpr std::size_t maxShallow = 1000;

// -- Crossings ---------------------------------------------------------------------------------------

struct Segment {
    Parameter a;
    Parameter b;

    double low(std::size_t axis) const { return std::min(a[axis], b[axis]); }
    double high(std::size_t axis) const { return std::max(a[axis], b[axis]); }
};

/// Distance of the point from the line, above 0 on its left.
double side(const Segment& line, const Parameter& point)
{
    const double u = line.b[0] - line.a[0];
    const double v = line.b[1] - line.a[1];
    const double length = std::hypot(u, v);
    return length > 0 ? (u * (point[1] - line.a[1]) - v * (point[0] - line.a[0])) / length : 0;
}

// Whether each reaches to both sides of the other, by more than the slack.
bool cross(const Segment& s, const Segment& t, double slack)
{
    const auto divides = [slack](const Segment& line, const Segment& other) {
        const double a = side(line, other.a);
        const double b = side(line, other.b);
        return (a > slack && b < -slack) || (a < -slack && b > slack);
    };
    return divides(s, t) && divides(t, s);
}

/// Crossings no deeper than the slack are what closing gaps between curves makes.
std::string checkCrossings(const std::vector<Polygon>& loops, double slack)
{
    std::vector<Segment> segments;
    for (const Polygon& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i)
            segments.push_back({loop[i], loop[i + 1 < loop.size() ? i + 1 : 0]});
    }
    std::sort(segments.begin(), segments.end(),
              [](const Segment& s, const Segment& t) { return s.low(0) < t.low(0); });
    std::vector<std::size_t> open;
    std::size_t comparisons = 0;
    std::size_t shallow = 0;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const Segment& segment = segments[i];
        open.erase(std::remove_if(open.begin(), open.end(),
                                  [&](std::size_t k) { return segments[k].high(0) < segment.low(0); }),
                   open.end());
        comparisons += open.size();
        if (comparisons > maxComparisons)
            return "trimming is too intricate";
        for (const std::size_t k : open) {
            const Segment& other = segments[k];
            if (other.low(1) > segment.high(1) || segment.low(1) > other.high(1) || !cross(segment, other, 0))
                continue;
            if (cross(segment, other, slack) || ++shallow > maxShallow)
                return "trim loops cross";
        }
        open.push_back(i);
    }
    return {};
}

// -- Pieces ------------------------------------------------------------------------------------------

double areaOf(const Polygon& polygon)
{
    double twice = 0;
    const Parameter& origin = polygon[0];
    for (std::size_t i = 1; i + 1 < polygon.size(); ++i) {
        const Parameter& a = polygon[i];
        const Parameter& b = polygon[i + 1];
        twice += (a[0] - origin[0]) * (b[1] - origin[1]) - (a[1] - origin[1]) * (b[0] - origin[0]);
    }
    return twice / 2;
}

// Whether it lies in a line along an axis.
bool isFlat(const Polygon& polygon)
{
    bool sameU = true;
    bool sameV = true;
    for (const Parameter& corner : polygon) {
        sameU = sameU && corner[0] == polygon[0][0];
        sameV = sameV && corner[1] == polygon[0][1];
    }
    return sameU || sameV;
}

// The parts on both sides of a line across the axis. Where a polygon comes back over the line, its parts are
// joined along the line, there and back: what that encloses counts an even number of times.
void split(const Polygon& polygon, std::size_t axis, double line, Polygon& low, Polygon& high)
{
    low.clear();
    high.clear();
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Parameter& a = polygon[i];
        const Parameter& b = polygon[i + 1 < polygon.size() ? i + 1 : 0];
        if (a[axis] <= line)
            low.push_back(a);
        if (a[axis] >= line)
            high.push_back(a);
        if ((a[axis] < line && b[axis] > line) || (a[axis] > line && b[axis] < line)) {
            const double part = (line - a[axis]) / (b[axis] - a[axis]);
            Parameter at;
            at[axis] = line;
            at[1 - axis] = a[1 - axis] + part * (b[1 - axis] - a[1 - axis]);
            low.push_back(at);
            high.push_back(at);
        }
    }
}
} // namespace

// -- TrimmedGrid -------------------------------------------------------------------------------------

TrimmedGrid::TrimmedGrid(std::vector<double> us, std::vector<double> vs)
    : _lines{std::move(us), std::move(vs)}, _states((_lines[0].size() - 1) * (_lines[1].size() - 1), Whole)
{
}

std::string TrimmedGrid::cut(std::vector<Polygon> loops, double slack)
{
    const std::string wrong = checkCrossings(loops, slack);
    if (!wrong.empty())
        return wrong;
    for (Polygon& loop : loops) {
        for (Parameter& corner : loop) {
            for (std::size_t axis = 0; axis < 2; ++axis)
                corner[axis] = std::clamp(corner[axis], _lines[axis].front(), _lines[axis].back());
        }
    }
    const Range all = {{0, 0}, {us().size() - 1, vs().size() - 1}};
    return divide(all, std::move(loops)) ? std::string() : "trimming is too intricate";
}

void TrimmedGrid::fill(const Range& range, State state)
{
    for (std::size_t i = range.first[0]; i < range.end[0]; ++i) {
        for (std::size_t k = range.first[1]; k < range.end[1]; ++k)
            _states[cell(i, k)] = state;
    }
}

// Whether no loop runs through the inside of the range, only round it.
bool TrimmedGrid::isUniform(const Range& range, const std::vector<Polygon>& loops, bool& inside) const
{
    const double low[2] = {_lines[0][range.first[0]], _lines[1][range.first[1]]};
    const double high[2] = {_lines[0][range.end[0]], _lines[1][range.end[1]]};
    double area = 0;
    for (const Polygon& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            const Parameter& a = loop[i];
            const Parameter& b = loop[i + 1 < loop.size() ? i + 1 : 0];
            const auto runsAlong = [&](std::size_t axis) {
                return a[axis] == b[axis] && (a[axis] == low[axis] || a[axis] == high[axis]);
            };
            if (!runsAlong(0) && !runsAlong(1))
                return false;
        }
        area += areaOf(loop);
    }
    const double windings = std::abs(area) / ((high[0] - low[0]) * (high[1] - low[1]));
    inside = std::fmod(std::floor(windings + 0.5), 2) == 1;
    return true;
}

// Halves a range again and again: as deep as its number of cells has digits.
bool TrimmedGrid::divide(const Range& range, std::vector<Polygon> loops)
{
    bool inside = false;
    if (isUniform(range, loops, inside)) {
        fill(range, inside ? Whole : Gone);
        return true;
    }
    const std::size_t counts[2] = {range.end[0] - range.first[0], range.end[1] - range.first[1]};
    if (counts[0] == 1 && counts[1] == 1) {
        std::size_t corners = 0;
        for (const Polygon& loop : loops)
            corners += loop.size();
        fill(range, Cut);
        _pieces.emplace(cell(range.first[0], range.first[1]), std::move(loops));
        return corners <= maxCornersOfCell;
    }

    const std::size_t axis = counts[0] >= counts[1] ? 0 : 1;
    Range low = range;
    Range high = range;
    low.end[axis] = high.first[axis] = range.first[axis] + counts[axis] / 2;
    std::vector<Polygon> lowLoops;
    std::vector<Polygon> highLoops;
    Polygon lowPart;
    Polygon highPart;
    for (const Polygon& loop : loops) {
        split(loop, axis, _lines[axis][low.end[axis]], lowPart, highPart);
        _corners += lowPart.size() + highPart.size();
        if (_corners > maxCorners)
            return false;
        if (lowPart.size() > 2 && !isFlat(lowPart))
            lowLoops.push_back(lowPart);
        if (highPart.size() > 2 && !isFlat(highPart))
            highLoops.push_back(highPart);
    }
    loops = std::vector<Polygon>();
    return divide(low, std::move(lowLoops)) && divide(high, std::move(highLoops));
}

} // namespace zyscene::tessellation
