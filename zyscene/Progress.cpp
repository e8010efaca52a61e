#include "Progress.h"

#include "Console.h"
#include "Text.h"

#include <algorithm>

namespace zyscene
{

namespace
{
constexpr std::chrono::milliseconds patience(500);
constexpr std::chrono::milliseconds redrawInterval(100);
constexpr std::uint32_t barWidth = 30; // characters
} // namespace

ProgressBar::ProgressBar(Console& console, std::string label)
    : _console(console), _label(printable(label)), _enabled(console.showsStatus()),
      _notBefore(Clock::now() + patience)
{
}

ProgressBar::~ProgressBar()
{
    _console.clearStatus();
}

void ProgressBar::redraw(std::uint32_t percent)
{
    const Clock::time_point now = Clock::now();
    if (now < _notBefore)
        return;

    const std::uint32_t filled = std::min(percent, 100u) * barWidth / 100;
    std::string text = _label + " [";
    text.append(filled, '#');
    text.append(barWidth - filled, '.');
    text += "] " + std::to_string(std::min(percent, 100u)) + "%";
    _console.setStatus(text);

    _drawn = true;
    _percent = percent;
    _notBefore = now + redrawInterval;
}

} // namespace zyscene
