#include <OpenSG/OSGFieldContainerType.h>

#include <OpenSG/OSGAttachment.h>
#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGNode.h>

#include <cassert>
#include <cstring>

OSG_BEGIN_NAMESPACE

FieldContainerType::FieldContainerType(const Char8* name, FieldContainerType* parent, const Char8* group,
                                       UInt32 containerSize, CreateEmpty createEmpty, Describe describe)
    : _name(name), _parent(parent), _id(0), _groupId(0), _containerSize(containerSize),
      _createEmpty(createEmpty)
{
    if (parent) {
        _line = parent->_line;
        _fields = parent->_fields;
        _holding = parent->_holding;
    }
    _line.push_back(this);
    describe(*this);
    FieldContainerFactory::the()->registerType(*this, group, _id, _groupId);
}

bool FieldContainerType::isNode() const
{
    return isDerivedFrom(Node::getClassType());
}

bool FieldContainerType::isNodeCore() const
{
    return isDerivedFrom(NodeCore::getClassType());
}

bool FieldContainerType::isAttachment() const
{
    return isDerivedFrom(Attachment::getClassType());
}

// -- Fields -----------------------------------------------------------------------------------

const FieldDescription* FieldContainerType::findFieldDescription(const Char8* name) const
{
    if (name) {
        for (const FieldDescription& field : _fields) {
            if (std::strcmp(field.getCName(), name) == 0) {
                return &field;
            }
        }
    }
    return nullptr;
}

void FieldContainerType::addDescription(const FieldDescription& description)
{
    assert(description.getFieldId() == _fields.size() + 1);
    _fields.push_back(description);
    if (description.getHolding() != FieldDescription::HoldsNothing) {
        _holding.push_back(description.getFieldId());
    }
}

const Field* FieldContainerType::getDefaultValue(UInt32 id) const
{
    const FieldDescription* const description = getFieldDescription(id);
    const FieldContainerPtr prototype = getPrototype();
    return description && prototype ? description->getField(prototype.getCPtr()) : nullptr;
}

// -- Containers -------------------------------------------------------------------------------

FieldContainerPtr FieldContainerType::makePrototype() const
{
    // Made when first asked for, so that classes of libraries loaded after osgInit need nothing of their own.
    if (_createEmpty && GlobalSystemState == Running) {
        _prototype = FieldContainerPtr(_createEmpty());
        addRefCP(_prototype);
    }
    return _prototype;
}

bool FieldContainerType::setPrototype(const FieldContainerPtr& prototype)
{
    if (!_createEmpty || !prototype || !prototype->getType().isDerivedFrom(*this)) {
        return false;
    }
    setRefdCP(_prototype, prototype);
    return true;
}

void FieldContainerType::releasePrototype()
{
    clearRefCP(_prototype);
}

FieldContainerPtr FieldContainerType::createFieldContainer() const
{
    const FieldContainerPtr prototype = getPrototype();
    return prototype ? prototype->shallowCopy() : prototype;
}

NodePtr FieldContainerType::createNode() const
{
    return isNode() ? NodePtr::dcast(createFieldContainer()) : NodePtr();
}

NodeCorePtr FieldContainerType::createNodeCore() const
{
    return isNodeCore() ? NodeCorePtr::dcast(createFieldContainer()) : NodeCorePtr();
}

AttachmentPtr FieldContainerType::createAttachment() const
{
    return isAttachment() ? AttachmentPtr::dcast(createFieldContainer()) : AttachmentPtr();
}

OSG_END_NAMESPACE
