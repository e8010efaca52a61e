#pragma once

#include "api/Api.h"
#include "api/SceneCopy.h"
#include "kelda/KPointArray.h"

// Helpers that the function sets of curves and surfaces share.

namespace kelda
{

/// The curve data that a handle holds; null when it holds none.
inline const CurveObject* curveObjectOf(const KObject& object)
{
    const Held* held = object.held().get();
    return held && held->type == KFn::kNurbsCurveData ? static_cast<const CurveObject*>(held) : nullptr;
}

/// A CV in the space asked for; its weight stays.
inline KPoint placed(const KPoint& cv, KSpace::Space space, const KMatrix& matrix)
{
    if (space != KSpace::kWorld)
        return cv;
    KPoint moved = KPoint(cv.x, cv.y, cv.z) * matrix;
    moved.w = cv.w;
    return moved;
}

/// CVs as they are kept: without z when planar, with w when rational.
void putCVs(PodVector<double>& out, const KPointArray& cvs, bool planar, bool rational);

} // namespace kelda
