#pragma once

#include "kelda/KApi.h"
#include "kelda/KStatus.h"

/// A time: a number in a unit. Numbers convert between units without limits and without rounding to frames.
class KELDA_API KTime
{
public:
    /// The numbers are part of the SDK: programs keep them.
    enum Unit {
        kInvalid = 0,
        kHours = 1,
        kMinutes = 2,
        kSeconds = 3,
        kMilliseconds = 4,
        kGames = 5,      ///< 15 frames per second
        kFilm = 6,       ///< 24
        kPALFrame = 7,   ///< 25
        kNTSCFrame = 8,  ///< 30
        kShowScan = 9,   ///< 48
        kPALField = 10,  ///< 50
        kNTSCField = 11, ///< 60
        kLast = 12
    };

    KTime() : _value(0), _unit(kFilm) {}
    explicit KTime(double value, Unit unit = kSeconds) : _value(value), _unit(unit) {}

    double value() const { return _value; } ///< in unit()
    Unit unit() const { return _unit; }
    void setValue(double value) { _value = value; }
    void setUnit(Unit unit) { _unit = unit; } ///< the number stays: the time becomes another one
    /// The number that stands for this time in another unit; 0 when one of the two is no unit.
    double as(Unit unit) const;

    /// The time unit of the scene: a label, times are kept whatever it says. New scenes have kFilm.
    static Unit uiUnit();
    static KStatus setUIUnit(Unit unit); ///< kInvalidParameter for what is no unit

    /// By the times that they stand for, whatever their units.
    friend bool operator==(const KTime& a, const KTime& b) { return a.ticks() == b.ticks(); }
    friend bool operator!=(const KTime& a, const KTime& b) { return a.ticks() != b.ticks(); }
    friend bool operator<(const KTime& a, const KTime& b) { return a.ticks() < b.ticks(); }

    /// For the library: in 1/6000 second, in which the frames of all units are whole numbers.
    double ticks() const;
    static KTime fromTicks(double ticks, Unit unit);

private:
    double _value;
    Unit _unit;
};
