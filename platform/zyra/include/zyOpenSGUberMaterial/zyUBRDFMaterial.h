#ifndef ZYUBRDFMATERIAL_H
#define ZYUBRDFMATERIAL_H

#include <zyOpenSGUberMaterial/zyOpenSGUberMaterialApi.h>

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>

namespace osg
{

OSG_FC_HANDLE(UBRDFMaterial, ChunkMaterialPtr)

/// A material of the host whose reflection may be measured or given by formulas. Where neither is drawn, and
/// for all exchange with other programs, the analytic values describe it: those of a Phong material.
///
/// They appear as chunks in the state, not among the chunks of the material.
class ZYOPENSGUBERMATERIAL_API UBRDFMaterial : public ChunkMaterial
{
    OSG_FIELD_CONTAINER(UBRDFMaterial, ChunkMaterial)

    OSG_SFIELD(6, AnalyticAmbient, analyticAmbient, Color3f, 0.f, 0.f, 0.f)
    OSG_SFIELD(7, AnalyticDiffuse, analyticDiffuse, Color3f, 0.f, 0.f, 0.f)
    OSG_SFIELD(8, AnalyticSpecular, analyticSpecular, Color3f, 0.f, 0.f, 0.f)
    /// Exponent of the highlight.
    OSG_SFIELD(9, AnalyticShininess, analyticShininess, Real32, 1.f)
    /// 0 opaque, 1 invisible.
    OSG_SFIELD(10, AnalyticTransparency, analyticTransparency, Real32, 0.f)

    bool isTransparent() const override;

protected:
    UBRDFMaterial() {}
    // A copy makes chunks of its own.
    UBRDFMaterial(const UBRDFMaterial& source);

    void onDestroy() override;
    void addChunks(const StatePtr& state) override;

private:
    MaterialChunkPtr _materialChunk; // referenced; null until a state is made
    BlendChunkPtr _blendChunk;       // referenced; null until a transparent state is made
};

} // namespace osg

#endif
