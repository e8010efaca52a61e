#pragma once

#include "base/PodVector.h"

namespace kelda
{

/// Keys of an animation curve. Invariants (checkKeys): both arrays are as long, all numbers are finite, times
/// ascend and no two are equal.
struct KeyData {
    PodVector<double> times; ///< in 1/6000 second: the frames of all time units are whole numbers
    PodVector<double> values;

    size_t count() const { return times.size(); }
};

inline bool isEmpty(const KeyData& keys)
{
    return keys.times.empty() && keys.values.empty();
}

/// What keys must be before they become part of the scene. Linear. Returns null, or what is wrong (a static
/// text, no full stop).
const char* checkKeys(const KeyData& keys);

/// Times that are as close as this (a ten-thousandth of a film frame) are the same.
constexpr double kSameTicks = 0.025;

/// Index of the key at that time, or where it would have to stand.
size_t placeOfKey(const KeyData& keys, double ticks, bool& found);
/// Adds a key, or gives the one at that time the value. Answers its index. REQUIRES: finite numbers.
size_t addKey(KeyData& keys, double ticks, double value);

} // namespace kelda
