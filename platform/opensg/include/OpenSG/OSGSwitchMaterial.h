#pragma once

#include <OpenSG/OSGMaterial.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(SwitchMaterial, MaterialPtr)

/// Acts as the one of its materials that is chosen; as an empty one if there is no such.
class OSG_PLATFORM_API SwitchMaterial : public Material
{
    OSG_FIELD_CONTAINER(SwitchMaterial, Material)

    OSG_MFIELD_COUNTED(4, Materials, materials, MaterialPtr)
    OSG_SFIELD(5, Choice, choice, UInt32, 0)

    /// Null, the material itself and one that leads back here are ignored: a circle would never end.
    void addMaterial(const MaterialPtr& material);
    /// Warns if \a material is not here.
    void subMaterial(const MaterialPtr& material);
    bool hasMaterial(const MaterialPtr& material) const;
    /// The chosen material, or null.
    MaterialPtr getCurrentMaterial() const;

    StatePtr makeState() override;
    void rebuildState() override;
    StatePtr getState(UInt32 pass = 0) override;
    bool isMultiPass() const override;
    UInt32 getNPasses() const override;
    bool isTransparent() const override;

protected:
    SwitchMaterial() {}
    SwitchMaterial(const SwitchMaterial&) = default;
};

OSG_END_NAMESPACE
