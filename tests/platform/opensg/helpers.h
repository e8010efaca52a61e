#pragma once

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGGroup.h>

#include <gtest/gtest.h>

/// A handle that keeps its container alive to the end of the scope.
template <class PtrT>
class Kept
{
public:
    explicit Kept(const PtrT& handle) : _handle(handle) { osg::addRefCP(_handle); }
    ~Kept() { osg::clearRefCP(_handle); }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;

    operator const PtrT&() const { return _handle; }
    typename PtrT::StoredObjectType* operator->() const { return _handle.getCPtr(); }
    const PtrT& get() const { return _handle; }

private:
    PtrT _handle;
};

/// A new container of a class, kept to the end of the scope.
template <class ClassT>
class New : public Kept<typename ClassT::Ptr>
{
public:
    New() : Kept<typename ClassT::Ptr>(ClassT::create()) {}
};

/// Whether the container of this id is alive.
inline bool isAlive(osg::UInt32 id)
{
    return osg::FieldContainerFactory::the()->getContainer(id) != osg::NullFC;
}

/// Adds a child inside an edit.
inline void addChild(const osg::NodePtr& parent, const osg::NodePtr& child)
{
    const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
    parent->addChild(child);
}

/// New node with a new group.
inline osg::NodePtr makeGroupNode()
{
    return osg::makeCoredNode<osg::Group>();
}
