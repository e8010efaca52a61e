#pragma once

#include <OpenSG/OSGMaterial.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(ChunkMaterial, MaterialPtr)

/// A material made of chunks.
class OSG_PLATFORM_API ChunkMaterial : public Material
{
    OSG_FIELD_CONTAINER(ChunkMaterial, Material)

    OSG_MFIELD_COUNTED(4, Chunks, chunks, StateChunkPtr)
    /// Slots by place in chunks; missing entries mean State::AutoSlotReplace.
    OSG_MFIELD(5, Slots, slots, Int32)

    /// Appends the chunk with one more reference, even if it is here already. Always true; null is refused.
    bool addChunk(const StateChunkPtr& chunk, Int32 slot = State::AutoSlotReplace);
    /// Removes the first entry of the chunk with that slot. Returns **false** on success, true (and warns)
    /// when there is none.
    bool subChunk(const StateChunkPtr& chunk, Int32 slot = State::AutoSlotReplace);
    /// Place of the chunk in chunks, or -1.
    Int32 find(const StateChunkPtr& chunk) const;
    /// The first chunk of exactly this type. With a slot: the chunk whose explicit slot it is; chunks without
    /// one count 0, 1, 2... among those of the type.
    StateChunkPtr find(const FieldContainerType& type, Int32 slot = State::AutoSlotReplace) const;
    /// Releases all chunks. The slots deliberately stay as they are: so does every file and program that
    /// relies on it.
    void clearChunks();

    StatePtr makeState() override;
    void rebuildState() override;
    bool isTransparent() const override;
    bool operator==(const Material& other) const override;

protected:
    ChunkMaterial() {}
    ChunkMaterial(const ChunkMaterial&) = default;

    /// Puts the chunks into \a state.
    virtual void addChunks(const StatePtr& state);

private:
    Int32 slotOf(UInt32 i) const { return i < _mfSlots.size() ? _mfSlots[i] : Int32(State::AutoSlotReplace); }
};

OSG_END_NAMESPACE
