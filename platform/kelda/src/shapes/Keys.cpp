#include "shapes/Keys.h"

#include <algorithm>
#include <cmath>

namespace kelda
{

const char* checkKeys(const KeyData& keys)
{
    if (keys.times.size() != keys.values.size())
        return "there are not as many values of keys as times";
    for (size_t i = 0; i < keys.times.size(); ++i) {
        if (!std::isfinite(keys.times[i]) || !std::isfinite(keys.values[i]))
            return "a time or value of a key is not finite";
        if (i > 0 && keys.times[i] <= keys.times[i - 1])
            return "the times of the keys do not ascend";
    }
    return nullptr;
}

size_t placeOfKey(const KeyData& keys, double ticks, bool& found)
{
    const auto at = std::lower_bound(keys.times.begin(), keys.times.end(), ticks - kSameTicks);
    found = at != keys.times.end() && *at <= ticks + kSameTicks;
    return static_cast<size_t>(at - keys.times.begin());
}

size_t addKey(KeyData& keys, double ticks, double value)
{
    bool found = false;
    const size_t place = placeOfKey(keys, ticks, found);
    if (found) {
        keys.values[place] = value;
    } else {
        keys.times.insert(keys.times.begin() + static_cast<std::ptrdiff_t>(place), ticks);
        keys.values.insert(keys.values.begin() + static_cast<std::ptrdiff_t>(place), value);
    }
    return place;
}

} // namespace kelda
