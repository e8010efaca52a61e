#include <zyOpenSGExt/zyMergeMaterial.h>

#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>

#include <algorithm>

namespace osg
{

OSG_ABSTRACT_FIELD_CONTAINER_INST(MultiMaterial, nullptr)
OSG_FIELD_CONTAINER_INST(MergeMaterial, nullptr)

// -- MultiMaterial ----------------------------------------------------------------------------

void MultiMaterial::addMaterial(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    if (material == NullFC || holds(material, this))
        return;
    acquire(material, false);
    _mfMaterials.push_back(material);
}

bool MultiMaterial::subMaterial(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    const auto found = _mfMaterials.find(material);
    if (found == _mfMaterials.end())
        return false;
    const MaterialPtr removed = *found;
    _mfMaterials.erase(found);
    release(removed, false);
    return true;
}

bool MultiMaterial::hasMaterial(const MaterialPtr& material) const
{
    return _mfMaterials.find(material) != _mfMaterials.end();
}

// -- MergeMaterial ----------------------------------------------------------------------------

// Texture units that a chunk's class has a slot for each of; null for other classes.
static const StateChunkClass* unitsOf(const StateChunkPtr& chunk)
{
    const StateChunkClass* const chunkClass = chunk->getClass();
    const bool ofUnits = chunkClass == &TextureChunk::getStaticClass() ||
                         chunkClass == &TextureTransformChunk::getStaticClass() ||
                         chunkClass == &TexGenChunk::getStaticClass();
    return ofUnits ? chunkClass : nullptr;
}

// Adds the chunks of one material, its texture units behind `firstUnit`.
// @return the first unit that is free after that.
static UInt32 addTo(const StatePtr& merged, const StatePtr& part, UInt32 firstUnit)
{
    UInt32 nextUnit = firstUnit;
    for (UInt32 place = 0; place < part->getMFChunks()->size(); ++place) {
        const StateChunkPtr chunk = part->getChunk(place);
        if (chunk == NullFC)
            continue;
        const StateChunkClass* const units = unitsOf(chunk);
        if (units == nullptr) {
            merged->addChunk(chunk, static_cast<Int32>(place - chunk->getClassId()));
            continue;
        }
        const UInt32 unit = firstUnit + place - units->getId();
        merged->addChunk(chunk, static_cast<Int32>(unit)); // warns beyond the last unit
        nextUnit = std::max(nextUnit, unit + 1);
    }
    return nextUnit;
}

StatePtr MergeMaterial::makeState()
{
    const StatePtr merged = State::create();
    if (merged == NullFC)
        return merged;
    UInt32 firstUnit = 0;
    for (const MaterialPtr& part : partsOf(getPtr())) {
        StatePtr state = part->makeState();
        if (state == NullFC)
            continue;
        firstUnit = addTo(merged, state, firstUnit);
        subRefCP(state);
    }
    return merged;
}

void MergeMaterial::rebuildState()
{
    StatePtr outdated = _state;
    _state = NullFC;
    release(outdated, false);
}

StatePtr MergeMaterial::getState(UInt32)
{
    if (_state == NullFC)
        hold(_state, makeState(), false);
    return _state;
}

bool MergeMaterial::isTransparent() const
{
    if (getTransparencyMode() != TransparencyAutoDetection)
        return getTransparencyMode() == TransparencyForceTransparent;
    const std::vector<MaterialPtr> parts = partsOf(getPtr());
    return std::any_of(parts.begin(), parts.end(),
                       [](const MaterialPtr& part) { return part->isTransparent(); });
}

} // namespace osg
