#pragma once

#include <OpenSG/OSGMaterial.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(MultiPassMaterial, MaterialPtr)

/// Draws with each of its materials in turn.
class OSG_PLATFORM_API MultiPassMaterial : public Material
{
    OSG_FIELD_CONTAINER(MultiPassMaterial, Material)

    OSG_MFIELD_COUNTED(4, Materials, materials, MaterialPtr)

    /// Null, the material itself and one that leads back here are ignored: a circle would never end.
    void addMaterial(const MaterialPtr& material);
    /// Warns if \a material is not here.
    void subMaterial(const MaterialPtr& material);
    bool hasMaterial(const MaterialPtr& material) const;

    /// Always null: there is no one state. Each material makes its own, so there is nothing to rebuild
    /// either.
    StatePtr makeState() override;
    void rebuildState() override;
    /// The state of pass \a pass; null beyond the last.
    StatePtr getState(UInt32 pass = 0) override;
    bool isMultiPass() const override { return true; }
    /// The passes of all materials.
    UInt32 getNPasses() const override;
    bool isTransparent() const override;

protected:
    MultiPassMaterial() {}
    MultiPassMaterial(const MultiPassMaterial&) = default;
};

OSG_END_NAMESPACE
