#include <OpenSG/OSGStateChunk.h>

#include <vector>

OSG_BEGIN_NAMESPACE

OSG_ABSTRACT_FIELD_CONTAINER_INST(StateChunk, nullptr)

// -- Places -----------------------------------------------------------------------------------

/// Class of each place dealt out.
static std::vector<const StateChunkClass*>& places()
{
    static auto* const all = new std::vector<const StateChunkClass*>;
    return *all;
}

StateChunkClass::StateChunkClass(const Char8* name, UInt32 numSlots)
    : _name(name), _numSlots(numSlots), _id(getNumPlaces())
{
    places().insert(places().end(), numSlots, this);
}

const StateChunkClass* StateChunkClass::find(UInt32 id)
{
    return id < places().size() ? places()[id] : nullptr;
}

UInt32 StateChunkClass::getNumPlaces()
{
    return UInt32(places().size());
}

// -- Comparison -------------------------------------------------------------------------------

bool StateChunk::operator==(const StateChunk& other) const
{
    if (this == &other) {
        return true;
    }
    const FieldContainerType& type = getType();
    if (&type != &other.getType()) {
        return false;
    }
    for (UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
        if (!type.getFieldDescription(id)->isInternal() && !getField(id)->equals(*other.getField(id))) {
            return false;
        }
    }
    return true;
}

OSG_END_NAMESPACE
