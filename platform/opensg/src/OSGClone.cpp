#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGNode.h>

#include <functional>
#include <unordered_map>
#include <utility>

OSG_BEGIN_NAMESPACE

// -- What is shared ---------------------------------------------------------------------------

/// Types whose containers, and those of derived types, are shared instead of cloned.
typedef std::vector<const FieldContainerType*> SharedTypes;

static SharedTypes sharedTypes(const std::vector<std::string>& names)
{
    SharedTypes types;
    for (const std::string& name : names) {
        if (const FieldContainerType* const type = FieldContainerFactory::the()->findType(name.c_str())) {
            types.push_back(type);
        }
    }
    return types;
}

static SharedTypes sharedTypes(const std::string& list)
{
    std::vector<std::string> names;
    std::size_t start = 0;
    while (start <= list.size()) {
        const std::size_t end = osgMin(list.find(',', start), list.size());
        std::string name = list.substr(start, end - start);
        name.erase(0, name.find_first_not_of(' '));
        name.erase(name.find_last_not_of(' ') + 1);
        names.push_back(name);
        start = end + 1;
    }
    return sharedTypes(names);
}

static SharedTypes sharedTypes(const std::vector<UInt32>& groupIds)
{
    SharedTypes types;
    const FieldContainerFactory& factory = *FieldContainerFactory::the();
    for (auto type = factory.beginTypes(); type != factory.endTypes(); ++type) {
        for (const UInt32 groupId : groupIds) {
            if ((*type)->getGroupId() == groupId) {
                types.push_back(*type);
            }
        }
    }
    return types;
}

// -- Containers -------------------------------------------------------------------------------

/// Clones one container with what it references. Containers referenced twice are cloned once; a chain of
/// references of any length is followed without recursion.
class DeepCloner
{
public:
    explicit DeepCloner(const SharedTypes& shared) : _shared(shared) {}

    FieldContainerPtr clone(const FieldContainerPtr& root)
    {
        const FieldContainerPtr result = cloneOf(root);
        for (std::size_t i = 0; i < _pairs.size(); ++i) {
            const auto [source, clone] = _pairs[i]; // a copy: the list grows while its entries are filled
            fill(source, clone);
        }
        // From the last to the first: what a container references is complete when its own edit ends.
        for (std::size_t i = _pairs.size(); i-- > 0;) {
            changedCP(_pairs[i].second);
        }
        return result;
    }

private:
    /// A new container in place of \a source, to be filled later.
    FieldContainerPtr cloneOf(const FieldContainerPtr& source)
    {
        FieldContainerPtr& clone = _clones[source.getCPtr()];
        if (!clone) {
            clone = source->getType().createFieldContainer();
            if (clone) {
                _pairs.emplace_back(source, clone);
            }
        }
        return clone;
    }
    /// What a clone references in place of \a source.
    FieldContainerPtr replacementOf(const FieldContainerPtr& source)
    {
        if (!source) {
            return source;
        }
        for (const FieldContainerType* const type : _shared) {
            if (source->getType().isDerivedFrom(*type)) {
                return source;
            }
        }
        return cloneOf(source);
    }
    void fill(const FieldContainerPtr& source, const FieldContainerPtr& clone)
    {
        const FieldContainerType& type = source->getType();
        for (UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
            const FieldDescription& field = *type.getFieldDescription(id);
            if (!field.isInternal() && &field != attachmentsOf(type)) {
                fillField(field, source, clone);
            }
        }
        const AttachmentContainerPtr container = AttachmentContainerPtr::dcast(source);
        if (container) {
            const AttachmentContainerPtr target = AttachmentContainerPtr::dcast(clone);
            const CPEditor edit(target, AttachmentContainer::AttachmentsFieldMask);
            for (const auto& entry : container->getAttachments()) {
                target->addAttachment(AttachmentPtr::dcast(replacementOf(entry.second)));
            }
        }
        clone->onClone(source.getCPtr(),
                       [this](const FieldContainerPtr& held) { return replacementOf(held); });
    }
    void fillField(const FieldDescription& field, const FieldContainerPtr& source,
                   const FieldContainerPtr& clone)
    {
        const Field& from = *field.getField(const_cast<const FieldContainer*>(source.getCPtr()));
        Field& to = *field.getField(clone.getCPtr());
        if (field.getHolding() == FieldDescription::HoldsNothing) {
            to.setAbstrValue(from);
            return;
        }
        const bool linked = field.getHolding() == FieldDescription::HoldsLinked;
        for (UInt32 i = 0; i < from.getContainerCount(); ++i) {
            const FieldContainerPtr held = replacementOf(from.getContainer(i));
            clone->acquire(held, linked);
            if (i < to.getContainerCount()) {
                clone->release(to.getContainer(i), linked); // the prototype's
                to.setContainer(held, i);
            } else {
                to.addContainer(held);
            }
        }
    }
    static const FieldDescription* attachmentsOf(const FieldContainerType& type)
    {
        return type.isDerivedFrom(AttachmentContainer::getClassType())
                   ? type.getFieldDescription(AttachmentContainer::AttachmentsFieldId)
                   : nullptr;
    }

    const SharedTypes& _shared;
    std::unordered_map<const FieldContainer*, FieldContainerPtr> _clones;
    std::vector<std::pair<FieldContainerPtr, FieldContainerPtr>>
        _pairs; ///< source and clone, in order of creation
};

// -- Trees ------------------------------------------------------------------------------------

/// New nodes in the shape of the tree below \a root; \a dress gives each its core and attachments.
static NodePtr copyTree(const NodePtr& root, const std::function<void(const NodePtr&, const NodePtr&)>& dress)
{
    if (!root) {
        return root;
    }
    const auto copyNode = [&dress](const NodePtr& source) {
        const NodePtr copy = Node::create();
        const CPEditor edit(copy);
        copy->setTravMask(source->getTravMask());
        dress(source, copy);
        return copy;
    };
    const NodePtr result = copyNode(root);
    std::vector<std::pair<NodePtr, NodePtr>> open{{root, result}};
    while (!open.empty()) {
        const auto [source, copy] = open.back();
        open.pop_back();
        const CPEditor edit(copy, Node::ChildrenFieldMask);
        for (const NodePtr& child : *source->getMFChildren()) {
            const NodePtr childCopy = copyNode(child);
            copy->addChild(childCopy);
            open.emplace_back(child, childCopy);
        }
    }
    return result;
}

NodePtr cloneTree(const NodePtr& root)
{
    return copyTree(root,
                    [](const NodePtr& source, const NodePtr& copy) { copy->setCore(source->getCore()); });
}

static void cloneAttachments(const AttachmentContainerPtr& source, const AttachmentContainerPtr& target,
                             const SharedTypes& shared)
{
    const CPEditor edit(target, AttachmentContainer::AttachmentsFieldMask);
    for (const auto& entry : source->getAttachments()) {
        bool share = false;
        for (const FieldContainerType* const type : shared) {
            share = share || entry.second->getType().isDerivedFrom(*type);
        }
        target->addAttachment(share ? entry.second
                                    : AttachmentPtr::dcast(DeepCloner(shared).clone(entry.second)));
    }
}

static NodePtr deepCloneTreeSharing(const NodePtr& root, const SharedTypes& shared)
{
    return copyTree(root, [&shared](const NodePtr& source, const NodePtr& copy) {
        cloneAttachments(source, copy, shared);
        if (source->getCore()) {
            copy->setCore(NodeCorePtr::dcast(DeepCloner(shared).clone(source->getCore())));
        }
    });
}

static FieldContainerPtr deepCloneSharing(const FieldContainerPtr& source, const SharedTypes& shared)
{
    if (!source) {
        return source;
    }
    const NodePtr node = NodePtr::dcast(source);
    return node ? FieldContainerPtr(deepCloneTreeSharing(node, shared)) : DeepCloner(shared).clone(source);
}

NodePtr deepCloneTree(const NodePtr& root, const std::string& share)
{
    return deepCloneTreeSharing(root, sharedTypes(share));
}

NodePtr deepCloneTree(const NodePtr& root, const std::vector<std::string>& shareTypeNames)
{
    return deepCloneTreeSharing(root, sharedTypes(shareTypeNames));
}

NodePtr deepCloneTree(const NodePtr& root, const std::vector<UInt32>& shareGroupIds)
{
    return deepCloneTreeSharing(root, sharedTypes(shareGroupIds));
}

FieldContainerPtr deepClone(const FieldContainerPtr& source, const std::string& share)
{
    return deepCloneSharing(source, sharedTypes(share));
}

FieldContainerPtr deepClone(const FieldContainerPtr& source, const std::vector<std::string>& shareTypeNames)
{
    return deepCloneSharing(source, sharedTypes(shareTypeNames));
}

FieldContainerPtr deepClone(const FieldContainerPtr& source, const std::vector<UInt32>& shareGroupIds)
{
    return deepCloneSharing(source, sharedTypes(shareGroupIds));
}

void deepCloneAttachments(const AttachmentContainerPtr& source, const AttachmentContainerPtr& target,
                          const std::string& share)
{
    if (source && target) {
        cloneAttachments(source, target, sharedTypes(share));
    }
}

OSG_END_NAMESPACE
