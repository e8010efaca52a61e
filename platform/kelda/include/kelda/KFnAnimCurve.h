#pragma once

#include "kelda/KDoubleArray.h"
#include "kelda/KFnDependencyNode.h"
#include "kelda/KTime.h"
#include "kelda/KTimeArray.h"

/// An animation curve: keys, each a value at a time, in ascending order of their times; no two share one.
/// What it drives is connected to its attribute "output". Values are in the unit of what is driven:
/// centimetres, radians, or plain numbers. Connected plugs keep answering the value that their node holds.
class KELDA_API KFnAnimCurve : public KFnDependencyNode
{
public:
    KFnAnimCurve() {}
    explicit KFnAnimCurve(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a curve without keys that drives the plug, and attaches to it. The curve is named after what it
    /// drives: "wheel_translateX". Fails when the plug holds no single number or has a connection already.
    KObject create(const KPlug& plug, KStatus* status = nullptr);
    /// Makes a curve that drives nothing yet.
    KObject create(KStatus* status = nullptr);

    unsigned numKeys(KStatus* status = nullptr) const;
    /// Time of a key, in the scene's time unit. kIndexOutOfRange: 0.
    KTime time(unsigned index, KStatus* status = nullptr) const;
    double value(unsigned index, KStatus* status = nullptr) const;
    KStatus setValue(unsigned index, double value);

    /// Adds a key, or gives the one that is there at that time another value. Answers its index.
    unsigned addKey(const KTime& time, double value, KStatus* status = nullptr);
    /// Adds many; much faster than one by one when they are not in order. A key at a time that has one
    /// already, from before or earlier in the arrays, takes its place. Anything wrong: none is added.
    KStatus addKeys(const KTimeArray& times, const KDoubleArray& values);
    KStatus remove(unsigned index);
    /// Is there a key at that time, to within a ten-thousandth of a film frame? Then `index` is its index.
    bool find(const KTime& time, unsigned& index, KStatus* status = nullptr) const;
};
