#pragma once

#include <OpenSG/OSGFieldContainer.h>

OSG_BEGIN_NAMESPACE

/// A container that hangs on others: names, geometry properties, state chunks.
class OSG_PLATFORM_API Attachment : public FieldContainer
{
    OSG_ABSTRACT_FIELD_CONTAINER(Attachment, FieldContainer)

    /// Containers that hold the attachment, in order of attachment. Any class: a geometry property lists
    /// geometries.
    OSG_MFIELD_INTERNAL(1, Parents, parents, FieldContainerPtr)
    /// Writers of text skip internal attachments.
    OSG_SFIELD(2, Internal, internal, Bool, false)

    void addParent(const FieldContainerPtr& parent);
    /// Removes the first entry of \a parent; nothing if there is none.
    void subParent(const FieldContainerPtr& parent);
    /// Place of \a parent in the list, or -1.
    Int32 findParent(const FieldContainerPtr& parent) const;

protected:
    Attachment() {}
    /// A copy has no parents.
    Attachment(const Attachment& source) : FieldContainer(source), _sfInternal(source._sfInternal) {}

    /// Calls changed() of all parents with the mask of the fields that hold this attachment.
    void notifyParents(UInt32 origin);

    void sweepParents() override;
};

OSG_END_NAMESPACE
