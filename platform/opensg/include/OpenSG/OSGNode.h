#pragma once

#include <OpenSG/OSGNodeCore.h>

#include <string>
#include <vector>

OSG_BEGIN_NAMESPACE

/// A place in the scene graph: one parent, ordered children and a core that says what it is.
class OSG_PLATFORM_API Node : public AttachmentContainer
{
    OSG_FIELD_CONTAINER(Node, AttachmentContainer)

    OSG_FIELD_NAMES(2, Volume)
    OSG_FIELD_DESCRIBE(2, volume, SFDynamicVolume, _sfVolume, false, HoldsNothing)
    /// Bits of traversals that enter the node.
    OSG_SFIELD(3, TravMask, travMask, UInt32, 0xffffffffu)
    OSG_FIELD_NAMES(4, Parent)
    OSG_FIELD_DESCRIBE(4, parent, SFNodePtr, _sfParent, true, HoldsNothing)
    OSG_FIELD_NAMES(5, Children)
    OSG_FIELD_DESCRIBE(5, children, MFNodePtr, _mfChildren, false, HoldsNothing)
    OSG_FIELD_NAMES(6, Core)
    OSG_FIELD_DESCRIBE(6, core, SFNodeCorePtr, _sfCore, false, HoldsNothing)

    SFDynamicVolume* getSFVolume() { return &_sfVolume; }
    const SFDynamicVolume* getSFVolume() const { return &_sfVolume; }
    SFNodePtr* getSFParent() { return &_sfParent; }
    const SFNodePtr* getSFParent() const { return &_sfParent; }
    MFNodePtr* getMFChildren() { return &_mfChildren; }
    const MFNodePtr* getMFChildren() const { return &_mfChildren; }
    SFNodeCorePtr* getSFCore() { return &_sfCore; }
    const SFNodeCorePtr* getSFCore() const { return &_sfCore; }

    // -- Core --

    NodeCorePtr getCore() const { return _sfCore.getValue(); }
    /// References the core and becomes its last parent; the core before is released. Null is allowed.
    void setCore(const NodeCorePtr& core);

    // -- Tree. Indices are not checked unless said so. --

    /// Null for a root.
    NodePtr getParent() { return _sfParent.getValue(); }
    UInt32 getNChildren() const { return _mfChildren.size(); }
    NodePtr getChild(UInt32 i) { return _mfChildren[i]; }
    /// Appends and references \a child, after taking it out of the node that it is in (possibly this one).
    /// Null is ignored.
    void addChild(const NodePtr& child);
    /// The same at place \a i; i = number of children appends.
    void insertChild(UInt32 i, const NodePtr& child);
    /// Nothing if \a child is null or \a i out of range. The child before loses its parent and one reference.
    void replaceChild(UInt32 i, const NodePtr& child);
    /// False if \a oldChild is not a child or \a newChild is null.
    bool replaceChildBy(const NodePtr& oldChild, const NodePtr& newChild);
    /// Place of \a child, or -1.
    Int32 findChild(const NodePtr& child) const;
    /// Takes the child out and releases it; the handle passed is set to null if the child dies. Warns if it
    /// is none.
    void subChild(const NodePtr& child);
    void subChild(UInt32 i);

    // -- Activity --

    /// Whether all bits of the traversal mask are set.
    bool getActive() const { return _sfTravMask.getValue() == 0xffffffffu; }
    void setActive(bool active);
    UInt8 getOcclusionMask() const { return _occlusionMask; }
    void setOcclusionMask(UInt8 mask) { _occlusionMask = mask; }

    // -- Space --

    /// Product of the cores' matrices from the root down to this node, this node's own included.
    Matrix getToWorld();
    void getToWorld(Matrix& result);

    /// Box of the node and everything below it, in the system of the node's parent.
    DynamicVolume& getVolume(bool update);
    /// As it was computed last.
    const DynamicVolume& getVolume() const { return _sfVolume.getValue(); }
    /// The up-to-date box in the system of the root.
    void getWorldVolume(DynamicVolume& result);
    /// Computes invalid volumes here and below. Nothing if the node's own is valid or its traversal mask is
    /// 0; children with traversal mask 0 do not contribute.
    void updateVolume();
    /// Marks the volume here and above invalid, up to the first that is invalid or static already.
    void invalidateVolume();

    // -- Other --

    /// New node with the same core and traversal mask: no name, no children.
    NodePtr clone();
    void changed(BitVector mask, UInt32 origin) override;

protected:
    Node() {}
    /// A copy has no core, children or parent.
    Node(const Node& source)
        : AttachmentContainer(source), _sfTravMask(source._sfTravMask), _occlusionMask(source._occlusionMask)
    {
    }

    void onDestroy() override;

private:
    /// Takes \a child out of its parent, keeping the reference that the parent held.
    static void detach(const NodePtr& child);
    /// Makes room for a child that this node is about to hold: it has one reference for this node afterwards.
    void adopt(const NodePtr& child);

    SFDynamicVolume _sfVolume;
    SFNodePtr _sfParent;
    MFNodePtr _mfChildren;
    SFNodeCorePtr _sfCore;
    UInt8 _occlusionMask = 0;
};

/// New node around \a core.
OSG_PLATFORM_API NodePtr makeNodeFor(const NodeCorePtr& core);

/// New node around a new core, which is also stored in \a coreOut unless that is null.
template <class CoreT>
inline NodePtr makeCoredNode(typename CoreT::Ptr* coreOut = nullptr)
{
    const typename CoreT::Ptr core = CoreT::create();
    if (coreOut) {
        *coreOut = core;
    }
    return makeNodeFor(core);
}

/// New nodes around the same cores, with the same traversal masks; attachments (names) are not copied.
OSG_PLATFORM_API NodePtr cloneTree(const NodePtr& root);

/// New nodes with clones of cores and attachments (under binding 0). Cores are cloned whatever \a share says,
/// once for each node; what they reference is cloned unless its class derives from one of the types in \a
/// share (names separated by commas, or group ids).
OSG_PLATFORM_API NodePtr deepCloneTree(const NodePtr& root, const std::string& share = "");
OSG_PLATFORM_API NodePtr deepCloneTree(const NodePtr& root, const std::vector<std::string>& shareTypeNames);
OSG_PLATFORM_API NodePtr deepCloneTree(const NodePtr& root, const std::vector<UInt32>& shareGroupIds);

OSG_END_NAMESPACE
