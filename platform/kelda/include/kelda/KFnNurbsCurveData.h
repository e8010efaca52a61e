#pragma once

#include "kelda/KFnBase.h"

/// The data of a NURBS curve that stands in no scene, such as a trimming curve. It lives as long as a handle
/// to it does. What the curve is, KFnNurbsCurve makes and tells.
class KELDA_API KFnNurbsCurveData : public KFnBase
{
public:
    KFnNurbsCurveData() {}
    explicit KFnNurbsCurveData(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// New data without a curve; attaches to it.
    KObject create(KStatus* status = nullptr);
};
