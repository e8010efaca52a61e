#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>

namespace osg
{

OSG_FIELD_CONTAINER_INST(UBRDFMaterial, nullptr)

UBRDFMaterial::UBRDFMaterial(const UBRDFMaterial& source)
    : ChunkMaterial(source), _sfAnalyticAmbient(source._sfAnalyticAmbient),
      _sfAnalyticDiffuse(source._sfAnalyticDiffuse), _sfAnalyticSpecular(source._sfAnalyticSpecular),
      _sfAnalyticShininess(source._sfAnalyticShininess),
      _sfAnalyticTransparency(source._sfAnalyticTransparency)
{
}

void UBRDFMaterial::onDestroy()
{
    release(_materialChunk, false);
    release(_blendChunk, false);
    Inherited::onDestroy();
}

bool UBRDFMaterial::isTransparent() const
{
    const bool byValue =
        getTransparencyMode() == TransparencyAutoDetection && getAnalyticTransparency() > Eps;
    return byValue || Inherited::isTransparent();
}

void UBRDFMaterial::addChunks(const StatePtr& state)
{
    if (_materialChunk == NullFC)
        hold(_materialChunk, MaterialChunk::create(), false);
    if (_materialChunk == NullFC)
        return; // after osgExit

    const Real32 alpha = 1 - getAnalyticTransparency();
    const auto withAlpha = [alpha](const Color3f& color) {
        return Color4f(color.red(), color.green(), color.blue(), alpha);
    };
    beginEditCP(_materialChunk);
    _materialChunk->setAmbient(withAlpha(getAnalyticAmbient()));
    _materialChunk->setDiffuse(withAlpha(getAnalyticDiffuse()));
    _materialChunk->setSpecular(withAlpha(getAnalyticSpecular()));
    _materialChunk->setEmission(withAlpha(Color3f(0, 0, 0)));
    _materialChunk->setShininess(getAnalyticShininess());
    endEditCP(_materialChunk);
    state->addChunk(_materialChunk);

    if (isTransparent()) {
        if (_blendChunk == NullFC) {
            hold(_blendChunk, BlendChunk::create(), false);
            beginEditCP(_blendChunk);
            _blendChunk->setSrcFactor(GL_SRC_ALPHA);
            _blendChunk->setDestFactor(GL_ONE_MINUS_SRC_ALPHA);
            endEditCP(_blendChunk);
        }
        state->addChunk(_blendChunk);
    }
    Inherited::addChunks(state);
}

} // namespace osg
