#include <OpenSG/OSGState.h>

#include <OpenSG/OSGLog.h>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(State, nullptr)

void State::place(UInt32 chunkId, const StateChunkPtr& chunk)
{
    if (chunkId >= _mfChunks.size()) {
        _mfChunks.resize(chunkId + 1);
    }
    hold(_mfChunks[chunkId], chunk, false);
}

void State::trim()
{
    while (!_mfChunks.empty() && !_mfChunks.back()) {
        _mfChunks.pop_back();
    }
}

bool State::addChunk(const StateChunkPtr& chunk, Int32 index)
{
    if (!chunk) {
        return true;
    }
    const UInt32 first = chunk->getClassId();
    const UInt32 slots = chunk->getClass()->getNumSlots();
    if (index >= 0) {
        if (UInt32(index) >= slots) {
            SWARNING << "State::addChunk: " << chunk->getTypeName() << " has " << slots
                     << " slots, not one of number " << index << std::endl;
            return true;
        }
        place(first + UInt32(index), chunk);
        return false;
    }
    for (UInt32 id = first; id < first + slots; ++id) {
        if (!chunkPresent(id)) {
            place(id, chunk);
            return false;
        }
    }
    if (index == AutoSlot) {
        SWARNING << "State::addChunk: all " << slots << " slots of " << chunk->getTypeName() << " are taken"
                 << std::endl;
        return true;
    }
    place(first + slots - 1, chunk);
    return false;
}

bool State::subChunk(const StateChunkPtr& chunk)
{
    const auto found = chunk ? _mfChunks.find(chunk) : _mfChunks.end();
    if (found == _mfChunks.end()) {
        SWARNING << "State::subChunk: the chunk is not in this state" << std::endl;
        return true;
    }
    hold(*found, NullFC, false);
    trim();
    return false;
}

bool State::subChunk(UInt32 classId, Int32 index)
{
    if (index < 0 || !chunkPresent(classId + UInt32(index))) {
        SWARNING << "State::subChunk: no chunk at slot " << index << " of class " << classId << std::endl;
        return true;
    }
    hold(_mfChunks[classId + UInt32(index)], NullFC, false);
    trim();
    return false;
}

void State::clearChunks()
{
    for (StateChunkPtr& chunk : _mfChunks) {
        hold(chunk, NullFC, false);
    }
    _mfChunks.clear();
}

StateChunkPtr State::getChunk(UInt32 chunkId) const
{
    return chunkId < _mfChunks.size() ? _mfChunks[chunkId] : StateChunkPtr();
}

bool State::chunkPresent(const StateChunkPtr& chunk) const
{
    return chunk && _mfChunks.find(chunk) != _mfChunks.end();
}

OSG_END_NAMESPACE
