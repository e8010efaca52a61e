#pragma once

#include <OpenSG/OSGAttachmentContainer.h>
#include <OpenSG/OSGState.h>

#include <vector>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Material, AttachmentContainerPtr)

/// What a surface looks like.
class OSG_PLATFORM_API Material : public AttachmentContainer
{
    OSG_ABSTRACT_FIELD_CONTAINER(Material, AttachmentContainer)

    enum { NoStateSorting = 0x7fffffff };
    enum { TransparencyAutoDetection = 0, TransparencyForceTransparent = 1, TransparencyForceOpaque = 2 };

    OSG_SFIELD(2, SortKey, sortKey, Int32, 0)
    OSG_SFIELD(3, TransparencyMode, transparencyMode, Int32, TransparencyAutoDetection)

    /// New state, reference count 0.
    virtual StatePtr makeState() = 0;
    /// Makes the state of getState() anew; the end of every edit does so.
    virtual void rebuildState() = 0;
    /// The state of pass \a pass; null before the first edit has ended.
    virtual StatePtr getState(UInt32 pass = 0);
    virtual bool isMultiPass() const { return false; }
    virtual UInt32 getNPasses() const { return 1; }
    virtual bool isTransparent() const = 0;

    /// By class and content: fields, chunks by their content; attachments (names) do not count.
    virtual bool operator==(const Material& other) const;
    bool operator!=(const Material& other) const { return !(*this == other); }

    void changed(BitVector mask, UInt32 origin) override;

protected:
    Material() {}
    /// A copy has no state until its first edit ends.
    Material(const Material& source)
        : AttachmentContainer(source), _sfSortKey(source._sfSortKey),
          _sfTransparencyMode(source._sfTransparencyMode)
    {
    }

    void onDestroy() override;

    /// Whether \a inner is \a outer or one of the materials that it is made of, at any depth. Materials made
    /// of others, those of other libraries included, list them in a field named "materials".
    static bool holds(const MaterialPtr& outer, const Material* inner);
    /// What \a outer is made of in the end, from the first to the last and each once: materials that list no
    /// others. \a outer itself if it lists none.
    static std::vector<MaterialPtr> partsOf(const MaterialPtr& outer);

    StatePtr _state; ///< referenced
};

OSG_END_NAMESPACE
