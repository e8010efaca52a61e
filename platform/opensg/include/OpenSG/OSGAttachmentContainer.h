#pragma once

#include <OpenSG/OSGAttachment.h>

#include <map>

OSG_BEGIN_NAMESPACE

/// Key is group id * 65536 + binding, so the order differs from process to process.
typedef std::map<UInt32, AttachmentPtr> AttachmentMap;

template <>
struct FieldTraits<AttachmentMap, 0> : PlainFieldTraits<AttachmentMap> {
    enum { IsBlock = 0 };
    static const Char8* name() { return "AttachmentMap"; }
    static OSG_PLATFORM_API void toText(const AttachmentMap& value, std::string& text);
    static bool fromText(AttachmentMap&, const Char8*&) { return false; }
};
typedef SField<AttachmentMap> SFAttachmentMap;

/// A container that attachments hang on, one for each group and binding.
class OSG_PLATFORM_API AttachmentContainer : public FieldContainer
{
    OSG_ABSTRACT_FIELD_CONTAINER(AttachmentContainer, FieldContainer)

    OSG_FIELD_NAMES(1, Attachments)
    OSG_FIELD_DESCRIBE(1, attachments, SFAttachmentMap, _sfAttachments, false, HoldsNothing)
    OSG_SFIELD_GET(Attachments, AttachmentMap)

    /// References \a attachment and becomes one of its parents. Replaces the attachment under the same key;
    /// adding the same again changes nothing. Null is ignored.
    void addAttachment(const AttachmentPtr& attachment, UInt16 binding = 0);
    /// Warns if \a attachment does not hang here under this binding.
    void subAttachment(const AttachmentPtr& attachment, UInt16 binding = 0);
    /// Null if there is none.
    AttachmentPtr findAttachment(UInt32 groupId, UInt16 binding = 0) const;
    /// By the group of \a type.
    AttachmentPtr findAttachment(const FieldContainerType& type, UInt16 binding = 0) const
    {
        return findAttachment(type.getGroupId(), binding);
    }

protected:
    AttachmentContainer() {}
    /// A copy shares the attachments, all under binding 0.
    AttachmentContainer(const AttachmentContainer& source) : FieldContainer(source) {}

    void onCreate(const FieldContainer* source) override;
    void onDestroy() override;

    SFAttachmentMap _sfAttachments;
};

/// Clones all attachments of \a source and adds them to \a target under binding 0; \a share as for deepClone.
OSG_PLATFORM_API void deepCloneAttachments(const AttachmentContainerPtr& source,
                                           const AttachmentContainerPtr& target,
                                           const std::string& share = "");

OSG_END_NAMESPACE
