#include "kelda/KFnAnimCurve.h"

#include "api/Api.h"
#include "graph/AnimCurves.h"

#include <algorithm>
#include <cmath>

using namespace kelda;

// -- Attaching and making -------------------------------------------------------------------------

KFnAnimCurve::KFnAnimCurve(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnAnimCurve::KFnAnimCurve")).error())
        give(status, setObject(object));
}

KFn::Type KFnAnimCurve::type() const
{
    return KFn::kAnimCurve;
}

KObject KFnAnimCurve::create(KStatus* status)
{
    if (give(status, enter("KFnAnimCurve::create")).error())
        return KObject();
    _object = objectOf(Scene::current().create(*findNodeType("animCurve"), std::string())->id);
    return _object;
}

KObject KFnAnimCurve::create(const KPlug& plug, KStatus* status)
{
    if (give(status, enter("KFnAnimCurve::create")).error())
        return KObject();
    const Node* driven = plug.isNull() ? nullptr : nodeOf(plug.node());
    if (!driven) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KObject();
    }
    NodeId made = kNoNode;
    const PlugKey to = {driven->id, plug.attrIndex(), plug.elementIndex()};
    if (give(status, makeAnimCurve(Scene::current(), to, made)).error())
        return KObject();
    _object = objectOf(made);
    return _object;
}

// -- Keys -----------------------------------------------------------------------------------------

namespace
{

KeyData* keysOf(const KObject& object, KStatus* status)
{
    AnimCurveNode* node = attachedNode<AnimCurveNode>(object, status);
    return node ? &node->keys : nullptr;
}

/// The same, for a call about one key.
KeyData* keysOf(const KObject& object, const char* operation, unsigned index, KStatus* status)
{
    if (give(status, enter(operation)).error())
        return nullptr;
    KeyData* keys = keysOf(object, status);
    if (keys && index >= keys->count()) {
        give(status, KStatus(KStatus::kIndexOutOfRange));
        return nullptr;
    }
    return keys;
}

bool isUsable(const KTime& time, double value)
{
    return time.unit() > KTime::kInvalid && time.unit() < KTime::kLast && std::isfinite(time.ticks()) &&
           std::isfinite(value);
}

} // namespace

unsigned KFnAnimCurve::numKeys(KStatus* status) const
{
    if (give(status, enter("KFnAnimCurve::numKeys")).error())
        return 0;
    const KeyData* keys = keysOf(_object, status);
    return keys ? static_cast<unsigned>(keys->count()) : 0;
}

KTime KFnAnimCurve::time(unsigned index, KStatus* status) const
{
    const KeyData* keys = keysOf(_object, "KFnAnimCurve::time", index, status);
    return keys ? KTime::fromTicks(keys->times[index], Scene::current().timeUnit()) : KTime();
}

double KFnAnimCurve::value(unsigned index, KStatus* status) const
{
    const KeyData* keys = keysOf(_object, "KFnAnimCurve::value", index, status);
    return keys ? keys->values[index] : 0;
}

KStatus KFnAnimCurve::setValue(unsigned index, double value)
{
    KStatus status;
    KeyData* keys = keysOf(_object, "KFnAnimCurve::setValue", index, &status);
    if (!keys)
        return status;
    if (!std::isfinite(value))
        return KStatus::kInvalidParameter;
    keys->values[index] = value;
    return status;
}

unsigned KFnAnimCurve::addKey(const KTime& time, double value, KStatus* status)
{
    if (give(status, enter("KFnAnimCurve::addKey")).error())
        return 0;
    KeyData* keys = keysOf(_object, status);
    if (!keys)
        return 0;
    if (!isUsable(time, value)) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return 0;
    }
    return static_cast<unsigned>(kelda::addKey(*keys, time.ticks(), value));
}

KStatus KFnAnimCurve::addKeys(const KTimeArray& times, const KDoubleArray& values)
{
    KStatus status = enter("KFnAnimCurve::addKeys");
    KeyData* keys = status.error() ? nullptr : keysOf(_object, &status);
    if (!keys)
        return status;
    if (times.length() != values.length())
        return KStatus::kInvalidParameter;
    struct Key {
        double ticks;
        double value;
        size_t order; ///< those that are there come first
    };
    std::vector<Key> all;
    all.reserve(keys->count() + times.length());
    for (size_t i = 0; i < keys->count(); ++i)
        all.push_back({keys->times[i], keys->values[i], all.size()});
    for (unsigned i = 0; i < times.length(); ++i) {
        if (!isUsable(times[i], values[i]))
            return KStatus::kInvalidParameter;
        all.push_back({times[i].ticks(), values[i], all.size()});
    }
    std::sort(all.begin(), all.end(), [](const Key& a, const Key& b) {
        return a.ticks != b.ticks ? a.ticks < b.ticks : a.order < b.order;
    });
    KeyData made;
    size_t standing = 0; // order of the key that gave the last value
    for (const Key& key : all) {
        if (made.times.empty() || key.ticks > made.times.back() + kSameTicks) {
            made.times.push_back(key.ticks);
            made.values.push_back(key.value);
            standing = key.order;
        } else if (key.order > standing) {
            made.values.back() = key.value;
            standing = key.order;
        }
    }
    *keys = std::move(made);
    return status;
}

KStatus KFnAnimCurve::remove(unsigned index)
{
    KStatus status;
    KeyData* keys = keysOf(_object, "KFnAnimCurve::remove", index, &status);
    if (!keys)
        return status;
    keys->times.erase(keys->times.begin() + static_cast<std::ptrdiff_t>(index));
    keys->values.erase(keys->values.begin() + static_cast<std::ptrdiff_t>(index));
    return status;
}

bool KFnAnimCurve::find(const KTime& time, unsigned& index, KStatus* status) const
{
    if (give(status, enter("KFnAnimCurve::find")).error())
        return false;
    const KeyData* keys = keysOf(_object, status);
    bool found = false;
    const size_t place = keys ? placeOfKey(*keys, time.ticks(), found) : 0;
    if (found)
        index = static_cast<unsigned>(place);
    return found;
}
