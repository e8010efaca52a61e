#include <OpenSG/OSGAttachment.h>
#include <OpenSG/OSGAttachmentContainer.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGStringAttributeMap.h>

#include <algorithm>

OSG_BEGIN_NAMESPACE

// -- Attachment -------------------------------------------------------------------------------

OSG_ABSTRACT_FIELD_CONTAINER_INST(Attachment, nullptr)

void Attachment::addParent(const FieldContainerPtr& parent)
{
    _mfParents.push_back(parent);
}

void Attachment::subParent(const FieldContainerPtr& parent)
{
    const auto found = _mfParents.find(parent);
    if (found != _mfParents.end()) {
        _mfParents.erase(found);
    }
}

Int32 Attachment::findParent(const FieldContainerPtr& parent) const
{
    const auto found = _mfParents.find(parent);
    return found == _mfParents.end() ? -1 : Int32(found - _mfParents.begin());
}

void Attachment::notifyParents(UInt32 origin)
{
    for (const FieldContainerPtr& parent : _mfParents) {
        const FieldContainerType& type = parent->getType();
        BitVector mask = FieldBits::NoField;
        for (const UInt32 id : type.getHoldingFields()) {
            const Field* const field = parent->getField(id);
            for (UInt32 i = 0; i < field->getContainerCount(); ++i) {
                if (field->getContainer(i).getCPtr() == this) {
                    mask |= BitVector(1) << id;
                }
            }
        }
        if (mask != FieldBits::NoField) {
            parent->changed(mask, origin);
        }
    }
}

void Attachment::sweepParents()
{
    _mfParents.erase(std::remove_if(_mfParents.begin(), _mfParents.end(),
                                    [](const FieldContainerPtr& parent) { return parent->isDying(); }),
                     _mfParents.end());
}

// -- AttachmentContainer ----------------------------------------------------------------------

OSG_ABSTRACT_FIELD_CONTAINER_INST(AttachmentContainer, nullptr)

static UInt32 attachmentKey(UInt32 groupId, UInt16 binding)
{
    return groupId << 16 | binding;
}

void AttachmentContainer::addAttachment(const AttachmentPtr& attachment, UInt16 binding)
{
    if (!attachment) {
        return;
    }
    checkEdit(AttachmentsFieldMask);
    hold(_sfAttachments.getValue()[attachmentKey(attachment->getGroupId(), binding)], attachment, true);
}

void AttachmentContainer::subAttachment(const AttachmentPtr& attachment, UInt16 binding)
{
    if (!attachment) {
        return;
    }
    checkEdit(AttachmentsFieldMask);
    AttachmentMap& attachments = _sfAttachments.getValue();
    const auto found = attachments.find(attachmentKey(attachment->getGroupId(), binding));
    if (found == attachments.end() || found->second != attachment) {
        SWARNING << "AttachmentContainer::subAttachment: " << attachment->getTypeName()
                 << " is not attached to this container." << std::endl;
        return;
    }
    const AttachmentPtr removed = found->second;
    attachments.erase(found);
    release(removed, true);
}

AttachmentPtr AttachmentContainer::findAttachment(UInt32 groupId, UInt16 binding) const
{
    const AttachmentMap& attachments = _sfAttachments.getValue();
    const auto found = attachments.find(attachmentKey(groupId, binding));
    return found == attachments.end() ? AttachmentPtr() : found->second;
}

void AttachmentContainer::onCreate(const FieldContainer* source)
{
    Inherited::onCreate(source);
    for (const auto& entry : static_cast<const AttachmentContainer*>(source)->_sfAttachments.getValue()) {
        AttachmentPtr& slot = _sfAttachments.getValue()[attachmentKey(entry.second->getGroupId(), 0)];
        hold(slot, entry.second, true);
    }
}

void AttachmentContainer::onDestroy()
{
    for (const auto& entry : _sfAttachments.getValue()) {
        release(entry.second, true);
    }
    Inherited::onDestroy();
}

// -- Simple attachments -----------------------------------------------------------------------

template <class DescT>
FieldContainerType& SimpleAttachment<DescT>::getClassType()
{
    static FieldContainerType* const type = new FieldContainerType(
        DescT::typeName(), &Attachment::getClassType(), DescT::groupName(), sizeof(SelfT),
        []() -> FieldContainer* { return createEmpty().getCPtr(); }, &FieldCollector<SelfT>::collect);
    return *type;
}

template class SimpleAttachment<NameDesc>;
template class SimpleAttachment<VoidPDesc>;

static const UInt32 typeIdsOfSimpleAttachments = Name::getClassTypeId() + VoidPAttachment::getClassTypeId();
static_assert(sizeof(typeIdsOfSimpleAttachments) == 4, "registers the types");

/// The container's attachment of class AttachmentT under binding 0, null if there is none.
template <class AttachmentT>
static typename AttachmentT::Ptr findSimple(const AttachmentContainerPtr& container)
{
    return AttachmentT::Ptr::dcast(container->findAttachment(AttachmentT::getClassType()));
}

template <class AttachmentT>
static void setSimple(const AttachmentContainerPtr& container, const typename AttachmentT::ValueT& value)
{
    const auto existing = findSimple<AttachmentT>(container);
    if (existing) {
        const CPEditor edit(existing, AttachmentT::SimpleFieldMask);
        existing->getField() = value;
        return;
    }
    const typename AttachmentT::Ptr added = AttachmentT::create();
    if (!added) {
        SFATAL << AttachmentT::getClassType().getCName() << ": nothing can be attached before osgInit"
               << std::endl;
        return;
    }
    beginEditCP(added, AttachmentT::SimpleFieldMask);
    added->getField() = value;
    endEditCP(added, AttachmentT::SimpleFieldMask);
    const CPEditor edit(container, AttachmentContainer::AttachmentsFieldMask);
    container->addAttachment(added);
}

template <class AttachmentT>
static void subSimple(const AttachmentContainerPtr& container)
{
    const auto existing = findSimple<AttachmentT>(container);
    if (existing) {
        const CPEditor edit(container, AttachmentContainer::AttachmentsFieldMask);
        container->subAttachment(existing);
    }
}

const Char8* getName(const AttachmentContainerPtr& container)
{
    const NamePtr name = container ? findSimple<Name>(container) : NamePtr();
    return name ? name->getField().c_str() : nullptr;
}

void setName(const AttachmentContainerPtr& container, const std::string& name)
{
    if (!container) {
        SFATAL << "setName: no container" << std::endl;
        return;
    }
    setSimple<Name>(container, name);
}

void setName(const AttachmentContainerPtr& container, const Char8* name)
{
    if (!container) {
        SFATAL << "setName: no container" << std::endl;
    } else if (name) {
        setSimple<Name>(container, name);
    } else {
        subSimple<Name>(container);
    }
}

void* getVoidP(const AttachmentContainerPtr& container)
{
    const VoidPAttachmentPtr data = container ? findSimple<VoidPAttachment>(container) : VoidPAttachmentPtr();
    return data ? data->getField() : nullptr;
}

void setVoidP(const AttachmentContainerPtr& container, void* data)
{
    if (!container) {
        SFATAL << "setVoidP: no container" << std::endl;
    } else if (data) {
        setSimple<VoidPAttachment>(container, data);
    } else {
        subSimple<VoidPAttachment>(container);
    }
}

// -- StringAttributeMap -----------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(StringAttributeMap, nullptr)

Int32 StringAttributeMap::find(const std::string& key) const
{
    const auto found = _mfKeys.find(key);
    const UInt32 i = UInt32(found - _mfKeys.begin());
    // Values may be missing where a file gave fewer of them than keys.
    return i < _mfKeys.size() && i < _mfValues.size() ? Int32(i) : -1;
}

void StringAttributeMap::setAttribute(const std::string& key, const std::string& value)
{
    checkEdit(KeysFieldMask | ValuesFieldMask);
    const Int32 i = find(key);
    if (i >= 0) {
        _mfValues[UInt32(i)] = value;
        return;
    }
    const UInt32 count = std::min(_mfKeys.size(), _mfValues.size());
    _mfKeys.resize(count);
    _mfValues.resize(count);
    _mfKeys.push_back(key);
    _mfValues.push_back(value);
}

bool StringAttributeMap::getAttribute(const std::string& key, std::string& value) const
{
    const Int32 i = find(key);
    if (i < 0) {
        return false;
    }
    value = _mfValues[UInt32(i)];
    return true;
}

bool StringAttributeMap::hasAttribute(const std::string& key) const
{
    return find(key) >= 0;
}

OSG_END_NAMESPACE
