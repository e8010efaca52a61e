#include <OpenSG/OSGNode.h>

#include <OpenSG/OSGLog.h>

#include <utility>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(Node, nullptr)

// -- Core -------------------------------------------------------------------------------------

void Node::setCore(const NodeCorePtr& core)
{
    checkEdit(CoreFieldMask);
    const NodeCorePtr old = _sfCore.getValue();
    if (core == old) {
        return;
    }
    if (core) {
        addRefCP(core);
        core->addParent(getPtr());
    }
    _sfCore.setValue(core);
    if (old) {
        old->subParent(getPtr());
        old->subRef();
    }
    invalidateVolume();
}

// -- Tree -------------------------------------------------------------------------------------

void Node::detach(const NodePtr& child)
{
    Node* const parent = child->getParent().getCPtr();
    parent->_mfChildren.erase(parent->_mfChildren.find(child));
    parent->invalidateVolume();
    child->_sfParent.setValue(NullFC);
}

void Node::adopt(const NodePtr& child)
{
    if (child->getParent()) {
        detach(child);
    } else {
        addRefCP(child);
    }
    child->_sfParent.setValue(getPtr());
}

void Node::addChild(const NodePtr& child)
{
    if (!child) {
        return;
    }
    checkEdit(ChildrenFieldMask);
    const NodePtr added = child; // the handle passed may stand in the list that changes
    adopt(added);
    _mfChildren.push_back(added);
}

void Node::insertChild(UInt32 i, const NodePtr& child)
{
    if (!child) {
        return;
    }
    checkEdit(ChildrenFieldMask);
    const NodePtr added = child;
    adopt(added);
    // A child that was one already has left a place.
    _mfChildren.insert(_mfChildren.begin() + osgMin(i, _mfChildren.size()), added);
}

void Node::replaceChild(UInt32 i, const NodePtr& child)
{
    if (!child || i >= _mfChildren.size()) {
        return;
    }
    checkEdit(ChildrenFieldMask);
    const NodePtr added = child;
    const NodePtr old = _mfChildren[i];
    if (old == added) {
        return;
    }
    adopt(added);
    // The place may have moved if the new child was one already.
    _mfChildren[UInt32(findChild(old))] = added;
    old->_sfParent.setValue(NullFC);
    old->subRef();
}

bool Node::replaceChildBy(const NodePtr& oldChild, const NodePtr& newChild)
{
    const Int32 i = findChild(oldChild);
    if (!newChild || i < 0) {
        return false;
    }
    replaceChild(UInt32(i), newChild);
    return true;
}

Int32 Node::findChild(const NodePtr& child) const
{
    const auto found = _mfChildren.find(child);
    return found == _mfChildren.end() ? -1 : Int32(found - _mfChildren.begin());
}

void Node::subChild(const NodePtr& child)
{
    checkEdit(ChildrenFieldMask);
    const Int32 i = findChild(child);
    if (i < 0) {
        SWARNING << "Node::subChild: " << (child ? "the node" : "NULL") << " is not one of my children!"
                 << std::endl;
        return;
    }
    Node* const removed = child.getCPtr();
    const bool dies = removed->getRefCount() <= 1;
    _mfChildren.erase(_mfChildren.begin() + i);
    removed->_sfParent.setValue(NullFC);
    // The handle may be the place in the list that has just been taken by the next child.
    if (dies && child.getCPtr() == removed) {
        const_cast<NodePtr&>(child) = NullFC;
    }
    removed->subRef();
}

void Node::subChild(UInt32 i)
{
    checkEdit(ChildrenFieldMask);
    const NodePtr removed = _mfChildren[i];
    _mfChildren.erase(_mfChildren.begin() + i);
    removed->_sfParent.setValue(NullFC);
    removed->subRef();
}

void Node::onDestroy()
{
    for (const NodePtr& child : _mfChildren) {
        child->_sfParent.setValue(NullFC);
        child->subRef();
    }
    if (_sfCore.getValue()) {
        leaveParentsOf(_sfCore.getValue().getCPtr());
        _sfCore.getValue()->subRef();
    }
    Inherited::onDestroy();
}

// -- Activity ---------------------------------------------------------------------------------

void Node::setActive(bool active)
{
    setTravMask(active ? 0xffffffffu : 0);
}

void Node::changed(BitVector mask, UInt32 origin)
{
    if (mask & (ChildrenFieldMask | CoreFieldMask | TravMaskFieldMask)) {
        invalidateVolume();
    }
    Inherited::changed(mask, origin);
}

// -- Space ------------------------------------------------------------------------------------

Matrix Node::getToWorld()
{
    Matrix result;
    getToWorld(result);
    return result;
}

void Node::getToWorld(Matrix& result)
{
    std::vector<NodeCore*> cores;
    for (Node* node = this; node; node = node->_sfParent.getValue().getCPtr()) {
        if (node->_sfCore.getValue()) {
            cores.push_back(node->_sfCore.getValue().getCPtr());
        }
    }
    result.setIdentity();
    for (std::size_t i = cores.size(); i-- > 0;) {
        cores[i]->accumulateMatrix(result);
    }
}

DynamicVolume& Node::getVolume(bool update)
{
    if (update) {
        updateVolume();
    }
    return _sfVolume.getValue();
}

void Node::getWorldVolume(DynamicVolume& result)
{
    result = getVolume(true);
    if (_sfParent.getValue()) {
        result.transform(_sfParent.getValue()->getToWorld());
    }
}

void Node::updateVolume()
{
    // A node whose children are being brought up to date; the union of those that are done stands in its
    // volume.
    struct Open {
        Node* node;
        UInt32 next;
    };
    const auto isDue = [](const Node* node) {
        return !node->_sfVolume.getValue().isValid() && node->_sfTravMask.getValue() != 0;
    };
    if (!isDue(this)) {
        return;
    }
    std::vector<Open> open;
    const auto enter = [&open](Node* node) {
        node->_sfVolume.getValue().setEmpty();
        open.push_back({node, 0});
    };
    enter(this);
    while (!open.empty()) {
        Node* const node = open.back().node;
        DynamicVolume& volume = node->_sfVolume.getValue();
        if (open.back().next < node->_mfChildren.size()) {
            Node* const child = node->_mfChildren[open.back().next].getCPtr();
            if (isDue(child)) {
                enter(child); // looked at again when it is done, that is, valid
                continue;
            }
            if (child->_sfTravMask.getValue() != 0) {
                volume.extendBy(child->_sfVolume.getValue());
            }
            ++open.back().next;
            continue;
        }
        volume.setValid(true);
        if (node->_sfCore.getValue()) {
            node->_sfCore.getValue()->adjustVolume(volume);
            volume.setValid(true);
        }
        open.pop_back();
    }
}

void Node::invalidateVolume()
{
    for (Node* node = this; node; node = node->_sfParent.getValue().getCPtr()) {
        DynamicVolume& volume = node->_sfVolume.getValue();
        if (!volume.isValid() || volume.isStatic()) {
            return;
        }
        volume.setValid(false);
    }
}

// -- Other ------------------------------------------------------------------------------------

NodePtr Node::clone()
{
    const NodePtr result = Node::create();
    const CPEditor edit(result, CoreFieldMask | TravMaskFieldMask);
    result->setTravMask(getTravMask());
    result->setCore(getCore());
    return result;
}

NodePtr makeNodeFor(const NodeCorePtr& core)
{
    const NodePtr node = Node::create();
    if (node) {
        const CPEditor edit(node, Node::CoreFieldMask);
        node->setCore(core);
    }
    return node;
}

OSG_END_NAMESPACE
