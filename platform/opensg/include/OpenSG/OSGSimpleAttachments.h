#pragma once

#include <OpenSG/OSGAttachmentContainer.h>

#include <string>

OSG_BEGIN_NAMESPACE

/// An attachment of one field. \a DescT gives the class's name, the field's name and its type.
template <class DescT>
class SimpleAttachment : public Attachment
{
public:
    typedef SimpleAttachment<DescT> SelfT;
    typedef typename DescT::FieldT FieldT;
    typedef typename FieldT::StoredType ValueT;
    typedef FCPtr<AttachmentPtr, SelfT> PtrT;

    OSG_FIELD_CONTAINER_COMMON(SelfT, Attachment, PtrT)
    OSG_FIELD_CONTAINER_CREATE(SimpleAttachment, PtrT)
    OSG_FIELD_NAMES(3, Simple)

    static FieldDescription osgDescribeField(FieldTag<3>)
    {
        return FieldDescription(
            FieldT::getClassType(), DescT::fieldName(), 3, false, FieldDescription::HoldsNothing,
            [](FieldContainer* container) -> Field* { return &static_cast<SelfT*>(container)->_field; });
    }

    using FieldContainer::getField;
    FieldT* getFieldPtr() { return &_field; }
    const FieldT* getFieldPtr() const { return &_field; }
    ValueT& getField() { return _field.getValue(); }
    const ValueT& getField() const { return _field.getValue(); }

protected:
    SimpleAttachment() {}
    SimpleAttachment(const SimpleAttachment&) = default;

    FieldT _field;
};

// -- Names ------------------------------------------------------------------------------------

struct NameDesc {
    typedef SFString FieldT;
    static const Char8* typeName() { return "Name"; }
    static const Char8* groupName() { return "name"; }
    static const Char8* fieldName() { return "name"; }
};
typedef SimpleAttachment<NameDesc> Name;
OSG_FC_HANDLE_OF(Name, AttachmentPtr)
extern template class OSG_PLATFORM_API SimpleAttachment<NameDesc>;

/// Text of the container's Name attachment, valid until it changes; null if there is none or the container is
/// null.
OSG_PLATFORM_API const Char8* getName(const AttachmentContainerPtr& container);
/// Changes the container's Name attachment in place (a shared one changes for all its containers) or adds
/// one. Edits by itself.
OSG_PLATFORM_API void setName(const AttachmentContainerPtr& container, const std::string& name);
/// The same; null removes the attachment.
OSG_PLATFORM_API void setName(const AttachmentContainerPtr& container, const Char8* name);

// -- Pointers of the program ------------------------------------------------------------------

template <>
struct FieldTraits<void*, 0> : PlainFieldTraits<void*> {
    enum { IsBlock = 0 };
    static const Char8* name() { return "VoidP"; }
    static void toText(void* const& value, std::string& text) { text += value ? "set" : "NULL"; }
    static bool fromText(void*&, const Char8*&) { return false; }
};
typedef SField<void*> SFVoidP;

struct VoidPDesc {
    typedef SFVoidP FieldT;
    static const Char8* typeName() { return "VoidPAttachment"; }
    static const Char8* groupName() { return "voidp"; }
    static const Char8* fieldName() { return "data"; }
};
/// A pointer of the program; the attachment neither owns nor stores what it points to.
typedef SimpleAttachment<VoidPDesc> VoidPAttachment;
OSG_FC_HANDLE_OF(VoidPAttachment, AttachmentPtr)
extern template class OSG_PLATFORM_API SimpleAttachment<VoidPDesc>;

/// Null if there is none.
OSG_PLATFORM_API void* getVoidP(const AttachmentContainerPtr& container);
/// Null removes the attachment.
OSG_PLATFORM_API void setVoidP(const AttachmentContainerPtr& container, void* data);

OSG_END_NAMESPACE
