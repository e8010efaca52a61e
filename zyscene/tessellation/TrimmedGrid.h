#pragma once

#include "PolygonTriangulator.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace zyscene::tessellation
{

/// A grid of lines in the parameter plane, and what trimming loops leave of each of its cells: what an odd
/// number of loops encloses. With the outer loop counter-clockwise and holes clockwise that is what lies left
/// of the loops; it goes by how they stand in one another, as the modeller does, which takes loops of either
/// direction.
class TrimmedGrid
{
public:
    /// @param us the lines, rising; at least two
    TrimmedGrid(std::vector<double> us, std::vector<double> vs);

    const std::vector<double>& us() const { return _lines[0]; }
    const std::vector<double>& vs() const { return _lines[1]; }

    /// All cells are whole until loops are cut into them. Once only. Time and memory are linear in the cells
    /// and in the pieces into which the grid cuts the loops; there is a limit to the latter.
    ///
    /// @param loops on the grid or a little beside it; they must not cross
    /// @param slack crossings up to this deep are none
    /// @return why not; empty: done
    std::string cut(std::vector<Polygon> loops, double slack);

    enum State : std::uint8_t { Whole, Gone, Cut };
    State state(std::size_t i, std::size_t k) const { return static_cast<State>(_states[cell(i, k)]); }
    /// Of a cell that is `Cut`; what lies in an odd number of them.
    const std::vector<Polygon>& pieces(std::size_t i, std::size_t k) const { return _pieces.at(cell(i, k)); }

private:
    /// Cells first[0] to end[0] - 1 in u, the same in v.
    struct Range {
        std::size_t first[2];
        std::size_t end[2];
    };

    std::size_t cell(std::size_t i, std::size_t k) const { return i * (_lines[1].size() - 1) + k; }
    bool divide(const Range& range, std::vector<Polygon> loops);
    bool isUniform(const Range& range, const std::vector<Polygon>& loops, bool& inside) const;
    void fill(const Range& range, State state);

    std::vector<double> _lines[2];
    std::vector<std::uint8_t> _states;
    std::unordered_map<std::size_t, std::vector<Polygon>> _pieces; ///< by cell
    std::size_t _corners = 0;                                      ///< of all pieces made so far
};

} // namespace zyscene::tessellation
