#pragma once

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterial.h>

#include <set>
#include <vector>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(MaterialPool, GroupPtr)

/// Keeps materials, each once.
class OSG_PLATFORM_API MaterialPool : public Group
{
    OSG_FIELD_CONTAINER(MaterialPool, Group)

    OSG_MFIELD_COUNTED_HIDDEN(3, Materials, materials, MaterialPtr)

    /// References the material; null and materials that are here already are ignored.
    void add(const MaterialPtr& material);
    /// Everything used below \a root: materials of material groups and drawables, entries of other pools.
    void add(const NodePtr& root);
    void add(const MaterialPoolPtr& pool);

    /// Warns if the material is not here.
    void sub(const MaterialPtr& material);
    /// The entry at a place below getCount().
    void sub(UInt32 index);
    /// Those used below \a root that are here.
    void sub(const NodePtr& root);
    void sub(const MaterialPoolPtr& pool);
    void clear();

    UInt32 getCount() const { return _mfMaterials.size(); }
    /// Place of \a material, or -1.
    Int32 find(const MaterialPtr& material) const;
    /// The entry at a place below getCount().
    MaterialPtr get(UInt32 index) const { return _mfMaterials[index]; }
    /// Replaces the content of \a materials by all entries, in the order in which they were added.
    void get(std::vector<MaterialPtr>& materials) const;
    /// All entries in the order of their addresses, which differs from run to run.
    const std::set<MaterialPtr>& get() const { return _materials; }

    void changed(BitVector mask, UInt32 origin) override;

protected:
    MaterialPool() {}
    MaterialPool(const MaterialPool&) = default;

    /// Brings the set up to date with a field that was filled by a reader or a copy.
    void sync();

private:
    void subAll(const std::set<MaterialPtr>& materials);

    std::set<MaterialPtr> _materials;
};

OSG_END_NAMESPACE
