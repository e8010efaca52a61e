#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGPhongMaterial.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGSimpleTexturedMaterial.h>

#include <cstring>
#include <unordered_set>

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

/// Calls \a visit for \a outer and everything that it is made of, depth first, each material once, until one
/// call gives true. \a visit gets the material and whether it lists others.
template <class VisitT>
static bool visitParts(const MaterialPtr& outer, const VisitT& visit)
{
    std::unordered_set<const Material*> met;
    std::vector<MaterialPtr> open(1, outer);
    while (!open.empty()) {
        const MaterialPtr material = open.back();
        open.pop_back();
        if (!material || !met.insert(material.getCPtr()).second) {
            continue;
        }
        const Field* const list = material->getField("materials");
        if (visit(material, list != nullptr)) {
            return true;
        }
        for (UInt32 i = list ? list->getContainerCount() : 0; i-- > 0;) {
            open.push_back(MaterialPtr::dcast(list->getContainer(i)));
        }
    }
    return false;
}

bool Material::holds(const MaterialPtr& outer, const Material* inner)
{
    return visitParts(outer,
                      [inner](const MaterialPtr& material, bool) { return material.getCPtr() == inner; });
}

std::vector<MaterialPtr> Material::partsOf(const MaterialPtr& outer)
{
    std::vector<MaterialPtr> parts;
    visitParts(outer, [&parts](const MaterialPtr& material, bool listsOthers) {
        if (!listsOthers) {
            parts.push_back(material);
        }
        return false;
    });
    return parts;
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

// -- Materials given by colours ---------------------------------------------------------------

static Color4f withAlpha(const Color3f& color, Real32 alpha)
{
    return Color4f(color.red(), color.green(), color.blue(), alpha);
}

/// Whether mode or transparency says it; the chunks come on top.
template <class MaterialT>
static bool isColorTransparent(const MaterialT& material)
{
    return material.getTransparencyMode() == Material::TransparencyAutoDetection &&
           material.getTransparency() > Eps;
}

/// Makes chunks of the colours and adds them to \a state; the handles, each with a reference, keep them for
/// the next time.
template <class MaterialT>
static void addColors(const MaterialT& material, const StatePtr& state, MaterialChunkPtr& colors,
                      BlendChunkPtr& blend)
{
    if (!colors) {
        setRefdCP(colors, MaterialChunk::create());
    }
    if (!colors) {
        return; // after osgExit
    }
    const Real32 alpha = 1 - material.getTransparency();
    beginEditCP(colors);
    colors->setAmbient(withAlpha(material.getAmbient(), alpha));
    colors->setDiffuse(withAlpha(material.getDiffuse(), alpha));
    colors->setSpecular(withAlpha(material.getSpecular(), alpha));
    colors->setEmission(withAlpha(material.getEmission(), alpha));
    colors->setShininess(material.getShininess());
    colors->setLit(material.getLit());
    colors->setColorMaterial(material.getColorMaterial());
    endEditCP(colors);
    state->addChunk(colors);

    if (material.isTransparent()) {
        if (!blend) {
            setRefdCP(blend, BlendChunk::create());
            beginEditCP(blend);
            blend->setSrcFactor(GL_SRC_ALPHA);
            blend->setDestFactor(GL_ONE_MINUS_SRC_ALPHA);
            endEditCP(blend);
        }
        state->addChunk(blend);
    }
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
    return isColorTransparent(*this) || Inherited::isTransparent();
}

void SimpleMaterial::addChunks(const StatePtr& state)
{
    addColors(*this, state, _materialChunk, _blendChunk);
    Inherited::addChunks(state);
}

// -- SimpleTexturedMaterial -------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(SimpleTexturedMaterial, nullptr)

SimpleTexturedMaterial::SimpleTexturedMaterial(const SimpleTexturedMaterial& source)
    : SimpleMaterial(source), _sfImage(source._sfImage), _sfMinFilter(source._sfMinFilter),
      _sfMagFilter(source._sfMagFilter), _sfEnvMode(source._sfEnvMode), _sfEnvMap(source._sfEnvMap)
{
}

void SimpleTexturedMaterial::onDestroy()
{
    release(_textureChunk, false);
    release(_texGenChunk, false);
    Inherited::onDestroy();
}

bool SimpleTexturedMaterial::isTransparent() const
{
    const bool byImage =
        getTransparencyMode() == TransparencyAutoDetection && getImage() && getImage()->hasAlphaChannel();
    return byImage || Inherited::isTransparent();
}

void SimpleTexturedMaterial::addChunks(const StatePtr& state)
{
    Inherited::addChunks(state);
    if (!getImage()) {
        return;
    }
    if (!_textureChunk) {
        hold(_textureChunk, TextureChunk::create(), false);
    }
    if (!_textureChunk) {
        return; // after osgExit
    }
    beginEditCP(_textureChunk);
    _textureChunk->setImage(getImage());
    _textureChunk->setMinFilter(getMinFilter());
    _textureChunk->setMagFilter(getMagFilter());
    _textureChunk->setEnvMode(getEnvMode());
    endEditCP(_textureChunk);
    state->addChunk(_textureChunk);

    if (getEnvMap()) {
        if (!_texGenChunk) {
            hold(_texGenChunk, TexGenChunk::create(), false);
            beginEditCP(_texGenChunk);
            _texGenChunk->setGenFuncS(GL_SPHERE_MAP);
            _texGenChunk->setGenFuncT(GL_SPHERE_MAP);
            endEditCP(_texGenChunk);
        }
        state->addChunk(_texGenChunk);
    }
}

// -- PhongMaterial ----------------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(PhongMaterial, nullptr)

PhongMaterial::PhongMaterial(const PhongMaterial& source)
    : ChunkMaterial(source), _sfAmbient(source._sfAmbient), _sfDiffuse(source._sfDiffuse),
      _sfSpecular(source._sfSpecular), _sfShininess(source._sfShininess), _sfEmission(source._sfEmission),
      _sfTransparency(source._sfTransparency), _sfLit(source._sfLit),
      _sfColorMaterial(source._sfColorMaterial)
{
}

void PhongMaterial::onDestroy()
{
    release(_materialChunk, false);
    release(_blendChunk, false);
    Inherited::onDestroy();
}

bool PhongMaterial::isTransparent() const
{
    return isColorTransparent(*this) || Inherited::isTransparent();
}

void PhongMaterial::addChunks(const StatePtr& state)
{
    addColors(*this, state, _materialChunk, _blendChunk);
    Inherited::addChunks(state);
}

OSG_END_NAMESPACE
