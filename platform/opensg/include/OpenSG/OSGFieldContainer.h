#pragma once

#include <OpenSG/OSGBaseTypes.h>
#include <OpenSG/OSGFieldContainerHandle.h>
#include <OpenSG/OSGFieldContainerType.h>

#include <functional>
#include <string>
#include <vector>

OSG_BEGIN_NAMESPACE

// -- Edit check -------------------------------------------------------------------------------

/// What happens when a setter, an add or a sub changes a field outside an edit of its mask.
enum class EditCheck {
    Off, ///< nothing; the default where the library was built with NDEBUG
    Log, ///< a warning, once per place in the program; the default otherwise
    Fail ///< std::logic_error is thrown before the field is changed
};

/// Sets the mode and gives the one before. Edits that are open at that moment are not known to the check.
/// Changes made through references to fields (getMFXxx(), non-const getXxx()) are not seen.
OSG_PLATFORM_API EditCheck osgSetEditCheck(EditCheck mode);

namespace EditCheckDetail
{
extern OSG_PLATFORM_API EditCheck mode;
OSG_PLATFORM_API void begin(const FieldContainer* container, BitVector mask);
OSG_PLATFORM_API void end(const FieldContainer* container, BitVector mask);
OSG_PLATFORM_API void check(const FieldContainer* container, BitVector mask);
} // namespace EditCheckDetail

// -- FieldContainer ---------------------------------------------------------------------------

/// Root of all classes of the scene graph: an object with described fields and an explicit reference count.
///
/// Containers are made by Class::create() (a copy of the class's prototype, reference count 0) and die in
/// subRefCP. All their functions belong to one thread at a time.
class OSG_PLATFORM_API FieldContainer
{
public:
    typedef FieldContainer Self;
    typedef FieldContainerPtr Ptr;

    static FieldContainerType& getClassType();
    static UInt32 getClassTypeId() { return getClassType().getId(); }
    static UInt32 getClassGroupId() { return getClassType().getGroupId(); }

    FieldContainer& operator=(const FieldContainer&) = delete;

    virtual FieldContainerType& getType() const = 0;
    const Char8* getTypeName() const { return getType().getCName(); }
    UInt32 getTypeId() const { return getType().getId(); }
    UInt32 getGroupId() const { return getType().getGroupId(); }
    UInt32 getContainerSize() const { return getType().getContainerSize(); }

    /// Null for an unknown id or name.
    Field* getField(UInt32 id);
    const Field* getField(UInt32 id) const { return const_cast<FieldContainer*>(this)->getField(id); }
    Field* getField(const Char8* name);
    const Field* getField(const Char8* name) const
    {
        return const_cast<FieldContainer*>(this)->getField(name);
    }

    /// Called at the end of an edit: recomputes what depends on the fields in \a mask.
    virtual void changed(BitVector mask, UInt32 origin);

    /// New container with the same field values, reference count 0. Handles are shared and counted.
    virtual FieldContainerPtr shallowCopy() const = 0;

    /// Writes class, id and all fields to the log, one line each, indented by \a indent blanks.
    virtual void dump(UInt32 indent = 0, BitVector flags = 0) const;

    Int32 getRefCount() const { return _refCount; }
    UInt32 getFieldContainerId() const { return _id; }

    // -- For functions of handles and for the destruction --

    void addRef() { ++_refCount; }
    /// True if the container died; it must not be touched any more.
    bool subRef()
    {
        if (--_refCount > 0) {
            return false;
        }
        destroy(this);
        return true;
    }
    /// The container has lost its last reference and is about to be freed.
    bool isDying() const { return _dying; }

protected:
    FieldContainer();
    FieldContainer(const FieldContainer& source);
    virtual ~FieldContainer();

    /// Called once for each copy, \a source being what it was copied from: makes the copy's references count.
    virtual void onCreate(const FieldContainer* source);
    /// Called once before the container is freed: releases what it references. Overriders call the parent
    /// class's.
    virtual void onDestroy();
    typedef std::function<FieldContainerPtr(const FieldContainerPtr&)> CloneFunction;
    /// Called for each clone of deepClone after the fields: copies what is not a field. \a clone gives the
    /// handle to reference in place of one of \a source's.
    virtual void onClone(const FieldContainer* source, const CloneFunction& clone);
    /// Drops dying containers from the list of parents, if the class has one.
    virtual void sweepParents();

    FieldContainerPtr getPtr() const { return FieldContainerPtr(*this); }

    /// Every setter calls this first.
    void checkEdit(BitVector mask) const
    {
        if (EditCheckDetail::mode != EditCheck::Off) {
            EditCheckDetail::check(this, mask);
        }
    }

    /// Sets a handle that counts as a reference: no-op if equal, else the new container gains one and the old
    /// one loses one. \a linked: both are Attachments that list this container as a parent.
    void hold(FieldContainerPtr& slot, const FieldContainerPtr& value, bool linked);
    void acquire(const FieldContainerPtr& value, bool linked);
    void release(const FieldContainerPtr& value, bool linked);

    /// A dying container leaves the list of parents of \a child. The list is swept once for all that die
    /// together, so that the end of a core with many parents takes linear time.
    static void leaveParentsOf(FieldContainer* child);

    template <class ClassT>
    static ClassT* copyOf(const ClassT& source)
    {
        ClassT* const copy = new ClassT(source);
        static_cast<FieldContainer*>(copy)->onCreate(&source);
        return copy;
    }

private:
    friend class FieldContainerType;
    friend class DeepCloner;

    /// Frees \a first and everything that loses its last reference by it, without recursion.
    static void destroy(FieldContainer* first);
    struct Dying;

    Int32 _refCount;
    UInt32 _id;
    bool _dying;
    bool _sweep; ///< waits for sweepParents()
};

inline Int32 FieldContainerPtrBase::getRefCount() const
{
    return _store ? _store->getRefCount() : 0;
}
inline UInt32 FieldContainerPtrBase::getFieldContainerId() const
{
    return _store ? _store->getFieldContainerId() : 0;
}
inline UInt32 FieldContainerPtrBase::getContainerSize() const
{
    return _store ? _store->getContainerSize() : 0;
}
inline void FieldContainerPtrBase::dump(UInt32 indent, BitVector flags) const
{
    if (_store) {
        _store->dump(indent, flags);
    }
}

// -- Reference counts -------------------------------------------------------------------------

inline void addRefCP(const FieldContainerPtrBase& handle)
{
    if (handle) {
        handle.getBaseCPtr()->addRef();
    }
}

/// Takes one reference away; the container dies when none is left (also when there was none). The very handle
/// passed is then set to null, const or not; all other copies of it dangle.
inline void subRefCP(const FieldContainerPtrBase& handle)
{
    FieldContainer* const container = handle.getBaseCPtr();
    if (!container) {
        return;
    }
    if (container->getRefCount() > 1) {
        container->subRef();
        return;
    }
    // The handle may be part of what dies: it is cleared first.
    const_cast<FieldContainerPtrBase&>(handle).setBaseCPtr(nullptr);
    container->subRef();
}

/// subRefCP, and the handle is null afterwards in any case.
template <class PtrT>
inline void clearRefCP(PtrT& handle)
{
    FieldContainer* const container = handle.getBaseCPtr();
    handle = NullFC;
    if (container) {
        container->subRef();
    }
}

/// Moves the reference that \a handle stands for to \a value; nothing if both are the same container.
template <class PtrT, class OtherPtrT>
inline void setRefdCP(PtrT& handle, const OtherPtrT& value)
{
    if (handle != value) {
        FieldContainer* const old = handle.getBaseCPtr();
        addRefCP(value);
        handle = value;
        if (old) {
            old->subRef();
        }
    }
}

// -- Edits ------------------------------------------------------------------------------------

/// Opens an edit of the fields in \a mask. Setters write at once; what follows from a change waits for
/// endEditCP.
inline void beginEditCP(const FieldContainerPtr& handle, BitVector mask = FieldBits::AllFields,
                        UInt32 = ChangedOrigin::External)
{
    if (handle && EditCheckDetail::mode != EditCheck::Off) {
        EditCheckDetail::begin(handle.getCPtr(), mask);
    }
}

/// Calls changed() of the container, outside any edit.
inline void changedCP(const FieldContainerPtr& handle, BitVector mask = FieldBits::AllFields,
                      UInt32 origin = ChangedOrigin::External)
{
    if (handle) {
        handle->changed(mask, origin);
    }
}

/// Ends an edit without calling changed().
inline void endEditNotChangedCP(const FieldContainerPtr& handle, BitVector mask = FieldBits::AllFields,
                                UInt32 = ChangedOrigin::External)
{
    if (handle && EditCheckDetail::mode != EditCheck::Off) {
        EditCheckDetail::end(handle.getCPtr(), mask);
    }
}

/// Ends an edit and calls changed(): materials rebuild their state, transforms their matrix, volumes are
/// invalidated.
inline void endEditCP(const FieldContainerPtr& handle, BitVector mask = FieldBits::AllFields,
                      UInt32 origin = ChangedOrigin::External)
{
    endEditNotChangedCP(handle, mask, origin);
    changedCP(handle, mask, origin);
}

/// An edit that lasts as long as the object.
class CPEditor
{
public:
    explicit CPEditor(const FieldContainerPtr& handle, BitVector mask = FieldBits::AllFields)
        : _handle(handle), _mask(mask)
    {
        beginEditCP(_handle, _mask);
    }
    ~CPEditor() { endEditCP(_handle, _mask); }
    CPEditor(const CPEditor&) = delete;
    CPEditor& operator=(const CPEditor&) = delete;

private:
    FieldContainerPtr _handle;
    BitVector _mask;
};

/// Edit of \a handle (a plain identifier) up to the end of the block.
#define CPEdit(handle, mask) OSG::CPEditor CPEdit_##handle(handle, mask)
#define CPEditAll(handle) OSG::CPEditor CPEdit_##handle(handle)

// -- Clones -----------------------------------------------------------------------------------

/// Copy of a container and of all that it references, field by field; internal fields keep their defaults.
/// Handles that do not count as references are copied as they are. What one container references twice is
/// cloned once. Containers whose class derives from one of the types named in \a share (names, separated by
/// commas) are not cloned but shared. Null for null. The clone has reference count 0.
OSG_PLATFORM_API FieldContainerPtr deepClone(const FieldContainerPtr& source, const std::string& share = "");
OSG_PLATFORM_API FieldContainerPtr deepClone(const FieldContainerPtr& source,
                                             const std::vector<std::string>& shareTypeNames);
OSG_PLATFORM_API FieldContainerPtr deepClone(const FieldContainerPtr& source,
                                             const std::vector<UInt32>& shareGroupIds);

OSG_END_NAMESPACE

#include <OpenSG/OSGFieldContainerMacros.h>
