#ifndef ZYMULTIMATERIAL_H
#define ZYMULTIMATERIAL_H

#include <zyOpenSGExt/zyOpenSGExtApi.h>

#include <OpenSG/OSGMaterial.h>

namespace osg
{

OSG_FC_HANDLE(MultiMaterial, MaterialPtr)

/// A material made of others, each referenced. What it looks like is a matter of the derived class.
class ZYOPENSGEXT_API MultiMaterial : public Material
{
    OSG_ABSTRACT_FIELD_CONTAINER(MultiMaterial, Material)

    OSG_MFIELD_COUNTED(4, Materials, materials, MaterialPtr)

    /// Appends a material, also one that is there already. Null, the material itself and one that is made of
    /// it are ignored: a circle would never end.
    void addMaterial(const MaterialPtr& material);

    /// Takes the first entry of `material` away.
    /// @return false when there is none.
    bool subMaterial(const MaterialPtr& material);

    bool hasMaterial(const MaterialPtr& material) const;

protected:
    MultiMaterial() {}
    MultiMaterial(const MultiMaterial&) = default;
};

} // namespace osg

#endif
