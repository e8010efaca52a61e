#include "kelda/KTime.h"

#include "api/Api.h"

using namespace kelda;

namespace
{

/// Of each unit, in ticks.
constexpr double ticksOf[KTime::kLast] = {0,   3600 * 6000.0, 60 * 6000.0, 6000, 6,   400,
                                          250, 240,           200,         125,  120, 100};

bool isUnit(KTime::Unit unit)
{
    return unit > KTime::kInvalid && unit < KTime::kLast;
}

} // namespace

double KTime::ticks() const
{
    return isUnit(_unit) ? _value * ticksOf[_unit] : 0;
}

KTime KTime::fromTicks(double ticks, Unit unit)
{
    return KTime(isUnit(unit) ? ticks / ticksOf[unit] : 0, unit);
}

double KTime::as(Unit unit) const
{
    return unit == _unit && isUnit(unit) ? _value : fromTicks(ticks(), unit)._value;
}

KTime::Unit KTime::uiUnit()
{
    return isUp() ? Scene::current().timeUnit() : kFilm;
}

KStatus KTime::setUIUnit(Unit unit)
{
    const KStatus entered = enter("KTime::setUIUnit");
    if (entered.error())
        return entered;
    if (!isUnit(unit))
        return KStatus::kInvalidParameter;
    Scene::current().setTimeUnit(unit);
    return KStatus::kSuccess;
}
