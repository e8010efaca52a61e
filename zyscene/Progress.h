#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zyscene
{

class Console;

/// Progress values in the order in which they were reported; equal neighbours are counted, not repeated.
class ProgressRecord
{
public:
    struct Run {
        std::uint32_t percent;
        std::uint64_t times;
    };

    void add(std::uint32_t percent)
    {
        if (!_runs.empty() && _runs.back().percent == percent)
            ++_runs.back().times;
        else
            _runs.push_back({percent, 1});
    }
    const std::vector<Run>& runs() const { return _runs; }

private:
    std::vector<Run> _runs;
};

/// A bar on the console's status line: shown only when the work takes longer than half a second, redrawn at
/// most ten times a second, gone when the bar is.
class ProgressBar
{
public:
    /// @param label what is being done, "reading car.ka"
    ProgressBar(Console& console, std::string label);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Takes any number of calls: only a change, or the first half second, costs a look at the clock.
    void update(std::uint32_t percent)
    {
        if (_enabled && (!_drawn || percent != _percent))
            redraw(percent);
    }

private:
    using Clock = std::chrono::steady_clock;

    void redraw(std::uint32_t percent);

    Console& _console;
    std::string _label;
    bool _enabled;
    bool _drawn = false;
    std::uint32_t _percent = 0; ///< the one on the screen
    Clock::time_point _notBefore;
};

} // namespace zyscene
