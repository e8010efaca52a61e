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
    const auto found = _mfParents.find(parent);
    if (found != _mfParents.end()) {
        _mfParents.erase(found);
    }
}

void NodeCore::sweepParents()
{
    _mfParents.erase(std::remove_if(_mfParents.begin(), _mfParents.end(),
                                    [](const NodePtr& parent) { return parent->isDying(); }),
                     _mfParents.end());
}

OSG_END_NAMESPACE
