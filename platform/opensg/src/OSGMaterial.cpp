#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGSimpleMaterial.h>

#include <cstring>

OSG_BEGIN_NAMESPACE

// -- Material ---------------------------------------------------------------------------------

OSG_ABSTRACT_FIELD_CONTAINER_INST(Material, nullptr)

StatePtr Material::getState(UInt32)
{
    return _state;
}

void Material::changed(BitVector mask, UInt32 origin)
{
    rebuildState();
    Inherited::changed(mask, origin);
}

void Material::onDestroy()
{
    release(_state, false);
    Inherited::onDestroy();
}

bool Material::operator==(const Material& other) const
{
    const FieldContainerType& type = getType();
    if (&type != &other.getType()) {
        return false;
    }
    for (UInt32 id = SortKeyFieldId; id <= type.getNumFieldDescs(); ++id) {
        const FieldDescription& field = *type.getFieldDescription(id);
        // Handles of chunks are compared by what they point to, in ChunkMaterial.
        const bool chunks = std::strcmp(field.getType().getElementName(), "StateChunkPtr") == 0;
        if (!field.isInternal() && !chunks && !getField(id)->equals(*other.getField(id))) {
            return false;
        }
    }
    return true;
}

// -- ChunkMaterial ----------------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(ChunkMaterial, nullptr)

bool ChunkMaterial::addChunk(const StateChunkPtr& chunk, Int32 slot)
{
    if (!chunk) {
        return false;
    }
    checkEdit(ChunksFieldMask | (slot == State::AutoSlotReplace ? FieldBits::NoField : SlotsFieldMask));
    acquire(chunk, false);
    if (slot != State::AutoSlotReplace) {
        _mfSlots.resize(_mfChunks.size(), Int32(State::AutoSlotReplace));
        _mfSlots.push_back(slot);
    }
    _mfChunks.push_back(chunk);
    return true;
}

bool ChunkMaterial::subChunk(const StateChunkPtr& chunk, Int32 slot)
{
    checkEdit(ChunksFieldMask);
    for (UInt32 i = 0; i < _mfChunks.size(); ++i) {
        if (_mfChunks[i] == chunk && slotOf(i) == slot) {
            const StateChunkPtr removed = chunk;
            _mfChunks.erase(_mfChunks.begin() + i);
            if (i < _mfSlots.size()) {
                _mfSlots.erase(_mfSlots.begin() + i);
            }
            release(removed, false);
            return false;
        }
    }
    SWARNING << "ChunkMaterial::subChunk: the chunk is not in this material with slot " << slot << std::endl;
    return true;
}

Int32 ChunkMaterial::find(const StateChunkPtr& chunk) const
{
    const auto found = _mfChunks.find(chunk);
    return found == _mfChunks.end() ? -1 : Int32(found - _mfChunks.begin());
}

StateChunkPtr ChunkMaterial::find(const FieldContainerType& type, Int32 slot) const
{
    Int32 running = 0;
    for (UInt32 i = 0; i < _mfChunks.size(); ++i) {
        if (!_mfChunks[i] || &_mfChunks[i]->getType() != &type) {
            continue;
        }
        const Int32 own = slotOf(i) == State::AutoSlotReplace ? running : slotOf(i);
        if (slot == State::AutoSlotReplace || own == slot) {
            return _mfChunks[i];
        }
        ++running;
    }
    return NullFC;
}

void ChunkMaterial::clearChunks()
{
    checkEdit(ChunksFieldMask);
    for (const StateChunkPtr& chunk : _mfChunks) {
        release(chunk, false);
    }
    _mfChunks.clear();
}

void ChunkMaterial::addChunks(const StatePtr& state)
{
    for (UInt32 i = 0; i < _mfChunks.size(); ++i) {
        state->addChunk(_mfChunks[i], slotOf(i));
    }
}

StatePtr ChunkMaterial::makeState()
{
    const StatePtr state = State::create();
    if (state) {
        addChunks(state);
    }
    return state;
}

void ChunkMaterial::rebuildState()
{
    if (_state) {
        _state->clearChunks();
        addChunks(_state);
        return;
    }
    hold(_state, makeState(), false);
}

bool ChunkMaterial::isTransparent() const
{
    switch (getTransparencyMode()) {
    case TransparencyForceTransparent:
        return true;
    case TransparencyForceOpaque:
        return false;
    default:
        break;
    }
    for (const StateChunkPtr& chunk : _mfChunks) {
        if (chunk && chunk->isTransparent()) {
            return true;
        }
    }
    return false;
}

bool ChunkMaterial::operator==(const Material& other) const
{
    if (this == &other) {
        return true;
    }
    if (!Material::operator==(other)) {
        return false;
    }
    const MFStateChunkPtr& chunks = static_cast<const ChunkMaterial&>(other)._mfChunks;
    if (_mfChunks.size() != chunks.size()) {
        return false;
    }
    for (UInt32 i = 0; i < chunks.size(); ++i) {
        const bool same =
            _mfChunks[i] == chunks[i] || (_mfChunks[i] && chunks[i] && *_mfChunks[i] == *chunks[i]);
        if (!same) {
            return false;
        }
    }
    return true;
}

// -- SimpleMaterial ---------------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(SimpleMaterial, nullptr)

SimpleMaterial::SimpleMaterial(const SimpleMaterial& source)
    : ChunkMaterial(source), _sfAmbient(source._sfAmbient), _sfDiffuse(source._sfDiffuse),
      _sfSpecular(source._sfSpecular), _sfShininess(source._sfShininess), _sfEmission(source._sfEmission),
      _sfTransparency(source._sfTransparency), _sfLit(source._sfLit),
      _sfColorMaterial(source._sfColorMaterial)
{
}

void SimpleMaterial::onDestroy()
{
    release(_materialChunk, false);
    release(_blendChunk, false);
    Inherited::onDestroy();
}

bool SimpleMaterial::isTransparent() const
{
    if (getTransparencyMode() != TransparencyAutoDetection) {
        return getTransparencyMode() == TransparencyForceTransparent;
    }
    return getTransparency() > Eps || Inherited::isTransparent();
}

static Color4f withAlpha(const Color3f& color, Real32 alpha)
{
    return Color4f(color.red(), color.green(), color.blue(), alpha);
}

void SimpleMaterial::addChunks(const StatePtr& state)
{
    if (!_materialChunk) {
        hold(_materialChunk, MaterialChunk::create(), false);
    }
    if (!_materialChunk) {
        return; // after osgExit
    }
    const Real32 alpha = 1 - getTransparency();
    beginEditCP(_materialChunk);
    _materialChunk->setAmbient(withAlpha(getAmbient(), alpha));
    _materialChunk->setDiffuse(withAlpha(getDiffuse(), alpha));
    _materialChunk->setSpecular(withAlpha(getSpecular(), alpha));
    _materialChunk->setEmission(withAlpha(getEmission(), alpha));
    _materialChunk->setShininess(getShininess());
    _materialChunk->setLit(getLit());
    _materialChunk->setColorMaterial(getColorMaterial());
    endEditCP(_materialChunk);
    state->addChunk(_materialChunk);

    if (isTransparent()) {
        if (!_blendChunk) {
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

OSG_END_NAMESPACE
