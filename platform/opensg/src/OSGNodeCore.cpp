#include <OpenSG/OSGNodeCore.h>

#include <OpenSG/OSGNode.h>

#include <algorithm>

OSG_BEGIN_NAMESPACE

OSG_ABSTRACT_FIELD_CONTAINER_INST(NodeCore, nullptr)

void NodeCore::invalidateVolume()
{
    for (const NodePtr& parent : _mfParents) {
        parent->invalidateVolume();
    }
}

void NodeCore::accumulateMatrix(Matrix&) {}

void NodeCore::adjustVolume(Volume&) {}

void NodeCore::addParent(const NodePtr& parent)
{
    _mfParents.push_back(parent);
}

void NodeCore::subParent(const NodePtr& parent)
{
    // Nodes stand here once. Whoever takes a shared core away from many goes from the last to the first: so
    // that costs no more than there are nodes.
    for (auto found = _mfParents.end(); found != _mfParents.begin();) {
        if (*--found == parent) {
            _mfParents.erase(found);
            return;
        }
    }
}

void NodeCore::sweepParents()
{
    _mfParents.erase(std::remove_if(_mfParents.begin(), _mfParents.end(),
                                    [](const NodePtr& parent) { return parent->isDying(); }),
                     _mfParents.end());
}

OSG_END_NAMESPACE
