#ifndef ZYMERGEMATERIAL_H
#define ZYMERGEMATERIAL_H

#include <zyOpenSGExt/zyMultiMaterial.h>

namespace osg
{

OSG_FC_HANDLE(MergeMaterial, MultiMaterialPtr)

/// Draws its materials in one pass: one state with the chunks of all of them.
///
/// The textures of each material, with their matrices and coordinate generators, take the units behind those
/// of the materials before it, so that they are laid over these. Of any other kind of chunk a state has one;
/// there the last material's stands. Materials that are made of others count as the parts that they end in,
/// each part once.
///
/// The state is made when it is first asked for, and anew after rebuildState(): materials do not tell the
/// ones that are made of them when they change.
class ZYOPENSGEXT_API MergeMaterial : public MultiMaterial
{
    OSG_FIELD_CONTAINER(MergeMaterial, MultiMaterial)

    StatePtr makeState() override;
    void rebuildState() override;
    StatePtr getState(UInt32 pass = 0) override;
    /// By the mode, or because one of the materials is.
    bool isTransparent() const override;

protected:
    MergeMaterial() {}
    MergeMaterial(const MergeMaterial&) = default;
};

} // namespace osg

#endif
