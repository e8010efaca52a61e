#pragma once

#include <OpenSG/OSGBaseTypes.h>
#include <OpenSG/OSGField.h>

OSG_BEGIN_NAMESPACE

class FieldContainer;
class NullFieldContainerPtr;

// -- Handles ----------------------------------------------------------------------------------

/// What all handles of field containers share: one pointer.
///
/// Copying, assigning or destroying a handle never changes a reference count (addRefCP, subRefCP do). A
/// handle does not notice that its container died; only the very handle given to subRefCP is set to null.
/// Handles compare by container, whatever their types are.
class FieldContainerPtrBase
{
public:
    constexpr FieldContainerPtrBase() noexcept : _store(nullptr) {}

    bool operator==(const FieldContainerPtrBase& other) const { return _store == other._store; }
    bool operator!=(const FieldContainerPtrBase& other) const { return _store != other._store; }
    /// Order of addresses; null comes first.
    bool operator<(const FieldContainerPtrBase& other) const
    {
        return reinterpret_cast<UIntPointer>(_store) < reinterpret_cast<UIntPointer>(other._store);
    }
    bool operator!() const { return _store == nullptr; }
    explicit operator bool() const { return _store != nullptr; }

    /// 0 for a null handle.
    inline Int32 getRefCount() const;
    /// 0 for a null handle; ids start at 1 and are never used again.
    inline UInt32 getFieldContainerId() const;
    /// Bytes of the container itself; 0 for a null handle.
    inline UInt32 getContainerSize() const;
    /// Writes the container's fields to the log; nothing for a null handle.
    inline void dump(UInt32 indent = 0, BitVector flags = 0) const;

    /// The container without its type; what generic code works on.
    FieldContainer* getBaseCPtr() const { return _store; }
    /// Points the handle at a container whose type the caller has checked.
    void setBaseCPtr(FieldContainer* container) { _store = container; }

protected:
    constexpr explicit FieldContainerPtrBase(FieldContainer* store) noexcept : _store(store) {}

    typedef decltype(sizeof(0)) UIntPointer;

    FieldContainer* _store;
};

/// Handle of any field container.
class FieldContainerPtr : public FieldContainerPtrBase
{
public:
    typedef FieldContainer StoredObjectType;

    constexpr FieldContainerPtr() noexcept {}
    explicit FieldContainerPtr(FieldContainer* container) : FieldContainerPtrBase(container) {}
    explicit FieldContainerPtr(const FieldContainer& container)
        : FieldContainerPtrBase(const_cast<FieldContainer*>(&container))
    {
    }
    inline FieldContainerPtr(const NullFieldContainerPtr& null);

    FieldContainer* operator->() const { return _store; }
    FieldContainer& operator*() const { return *_store; }
    FieldContainer* getCPtr() const { return _store; }

    static FieldContainerPtr dcast(const FieldContainerPtrBase& other)
    {
        return FieldContainerPtr(other.getBaseCPtr());
    }
};

/// Type of NullFC, from which every handle can be made.
class NullFieldContainerPtr : public FieldContainerPtr
{
};

inline FieldContainerPtr::FieldContainerPtr(const NullFieldContainerPtr&) : FieldContainerPtrBase() {}

/// The null handle.
extern OSG_PLATFORM_API const NullFieldContainerPtr NullFC;

/// Handle of a container of class ClassT. Derives from the handle of ClassT's parent class, so that handles
/// convert upwards as the classes do.
template <class BasePtrT, class ClassT>
class FCPtr : public BasePtrT
{
public:
    typedef ClassT StoredObjectType;

    constexpr FCPtr() noexcept {}
    explicit FCPtr(ClassT* container) : BasePtrT() { this->_store = container; }
    explicit FCPtr(const ClassT& container) : BasePtrT() { this->_store = const_cast<ClassT*>(&container); }
    FCPtr(const NullFieldContainerPtr&) : BasePtrT() {}

    ClassT* operator->() const { return static_cast<ClassT*>(this->_store); }
    ClassT& operator*() const { return *static_cast<ClassT*>(this->_store); }
    ClassT* getCPtr() const { return static_cast<ClassT*>(this->_store); }

    /// The same container as a handle of ClassT; null if \a other is null or of another class.
    static FCPtr dcast(const FieldContainerPtrBase& other)
    {
        FCPtr result;
        if (other && isA(other.getBaseCPtr(), ClassT::getClassType())) {
            result.setBaseCPtr(other.getBaseCPtr());
        }
        return result;
    }

private:
    template <class ContainerT, class TypeT>
    static bool isA(const ContainerT* container, const TypeT& type)
    {
        return container->getType().isDerivedFrom(type);
    }
};

/// Same as PtrT::dcast.
template <class PtrT>
inline PtrT dynamic_fcptr_cast(const FieldContainerPtrBase& other)
{
    return PtrT::dcast(other);
}

// -- Handles as field values ------------------------------------------------------------------

/// What field traits of all handle types share; the derived struct adds name() and containerClass().
struct FieldContainerPtrTraits {
    enum { IsHandle = 1, IsBlock = 0 };
    static bool equal(const FieldContainerPtrBase& a, const FieldContainerPtrBase& b) { return a == b; }

    static OSG_PLATFORM_API void toText(const FieldContainerPtrBase& value, std::string& text);
    /// Containers have no text form to read.
    static bool fromText(FieldContainerPtrBase&, const Char8*&) { return false; }
};

/// Names of the handle type and its fields: ClassPtr, SFClassPtr, MFClassPtr. Once per class, before its
/// first use.
#define OSG_FC_HANDLE(Class, BasePtr)                                                                        \
    class Class;                                                                                             \
    OSG_FC_HANDLE_OF(Class, BasePtr)

/// The same for a class that is declared already (a typedef of a template instance).
#define OSG_FC_HANDLE_OF(Class, BasePtr)                                                                     \
    typedef OSG::FCPtr<BasePtr, Class> Class##Ptr;                                                           \
    OSG_FC_HANDLE_FIELDS(Class, Class##Ptr)

#define OSG_FC_HANDLE_FIELDS(Class, PtrT)                                                                    \
    template <>                                                                                              \
    struct FieldTraits<PtrT, 0> : FieldContainerPtrTraits {                                                  \
        static const Char8* name() { return #Class "Ptr"; }                                                  \
        static const Char8* containerClass() { return #Class; }                                              \
    };                                                                                                       \
    typedef OSG::SField<PtrT, 0> SF##Class##Ptr;                                                             \
    typedef OSG::MField<PtrT, 0> MF##Class##Ptr;

OSG_FC_HANDLE_FIELDS(FieldContainer, FieldContainerPtr)

OSG_FC_HANDLE(AttachmentContainer, FieldContainerPtr)
OSG_FC_HANDLE(Attachment, FieldContainerPtr)
OSG_FC_HANDLE(Node, AttachmentContainerPtr)
OSG_FC_HANDLE(NodeCore, AttachmentContainerPtr)

OSG_END_NAMESPACE
