#pragma once

#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGVector.h>

OSG_BEGIN_NAMESPACE

/// A part of space that holds something. Empty and invalid when new.
///
/// The four states are independent of the numbers: a volume that becomes empty again keeps its bounds, so
/// test isEmpty() before using them. Valid means "up to date" and is for the owner to set; a static volume is
/// not to be recalculated.
class OSG_PLATFORM_API Volume
{
public:
    virtual ~Volume();

    bool isValid() const { return (_state & ValidState) != 0; }
    bool isEmpty() const { return (_state & EmptyState) != 0; }
    bool isStatic() const { return (_state & StaticState) != 0; }
    bool isInfinite() const { return (_state & InfiniteState) != 0; }
    void setValid(bool value = true) { setState(ValidState, value); }
    void setEmpty(bool value = true) { setState(EmptyState, value); }
    void setStatic(bool value = true) { setState(StaticState, value); }
    void setInfinite(bool value = true) { setState(InfiniteState, value); }

    virtual void getBounds(Pnt3f& minPnt, Pnt3f& maxPnt) const = 0;
    virtual void getCenter(Pnt3f& center) const = 0;
    /// Content in cubic units; 0 if empty.
    virtual Real32 getScalarVolume() const = 0;

    /// Grows until it holds the point, which is all it holds if it was empty. An infinite volume stays as it
    /// is.
    virtual void extendBy(const Pnt3f& pnt) = 0;
    /// Grows until it holds the other volume; an empty one changes nothing, an infinite one makes this
    /// infinite.
    virtual void extendBy(const Volume& other) = 0;
    /// Becomes the volume around its transformed self; an empty or infinite one stays as it is.
    virtual void transform(const Matrix& matrix) = 0;

    /// Whether the point lies inside or on the surface; never if empty, always if infinite.
    virtual bool intersect(const Pnt3f& pnt) const = 0;
    /// Whether the two bounds touch.
    virtual bool intersect(const Volume& other) const = 0;

protected:
    Volume() : _state(EmptyState) {}
    Volume(const Volume&) = default;
    Volume& operator=(const Volume&) = default;

private:
    enum State { ValidState = 1, EmptyState = 2, StaticState = 4, InfiniteState = 8 };

    void setState(UInt16 bit, bool value)
    {
        _state = static_cast<UInt16>(value ? _state | bit : _state & ~bit);
    }

    UInt16 _state;
};

OSG_END_NAMESPACE
