#pragma once

#include "kelda/KApi.h"
#include "kelda/KObject.h"
#include "kelda/KStatus.h"

/// The base of all function sets: something to be attached to an object and to act on it. A function set owns
/// nothing. When its object is deleted, its calls fail.
class KELDA_API KFnBase
{
public:
    virtual ~KFnBase();
    virtual KFn::Type type() const;

    KObject object(KStatus* status = nullptr) const; ///< null when not attached
    bool hasObj(const KObject& object) const;        ///< could this function set be attached to the object?
    /// Attaches to another object. kInvalidParameter when it is not of the function set's type.
    virtual KStatus setObject(const KObject& object);

protected:
    KFnBase() {}
    KObject _object;
};
