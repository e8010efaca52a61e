#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(State, FieldContainerPtr)

/// Chunks at the places of their classes (class id + slot), each referenced.
class OSG_PLATFORM_API State : public FieldContainer
{
    OSG_FIELD_CONTAINER(State, FieldContainer)

    enum {
        AutoSlot = -1,       ///< the first free place of the class; the chunk is ignored if there is none
        AutoSlotReplace = -2 ///< the first free place, else the last one, whose chunk is replaced
    };

    /// With holes; as long as the highest place used requires.
    OSG_MFIELD_COUNTED(1, Chunks, chunks, StateChunkPtr)

    /// \a index: a slot of the chunk's class (what is there is replaced), AutoSlot or AutoSlotReplace.
    /// Returns **false** when the chunk was placed, true (and warns) when not.
    bool addChunk(const StateChunkPtr& chunk, Int32 index = AutoSlotReplace);
    /// Returns false when the chunk was found and removed, true when not.
    bool subChunk(const StateChunkPtr& chunk);
    bool subChunk(UInt32 classId, Int32 index);
    void clearChunks();

    /// The chunk at place class id + slot; null if empty or out of range.
    StateChunkPtr getChunk(UInt32 chunkId) const;
    bool chunkPresent(UInt32 chunkId) const { return getChunk(chunkId) != NullFC; }
    bool chunkPresent(const StateChunkPtr& chunk) const;

protected:
    State() {}
    State(const State&) = default;

private:
    void place(UInt32 chunkId, const StateChunkPtr& chunk);
    void trim();
};

OSG_END_NAMESPACE
