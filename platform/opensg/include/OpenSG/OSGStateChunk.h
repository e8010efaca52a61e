#pragma once

#include <OpenSG/OSGAttachment.h>
#include <OpenSG/OSGGL.h>

#include <string>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(StateChunk, AttachmentPtr)

/// The places that chunks of one kind take in a State. Classes that compete for the same places share one
/// object.
class OSG_PLATFORM_API StateChunkClass
{
public:
    /// Deals out \a numSlots consecutive places. They depend on the order of loading: never store or
    /// hard-code them.
    StateChunkClass(const Char8* name, UInt32 numSlots);

    const Char8* getName() const { return _name.c_str(); }
    UInt32 getNumSlots() const { return _numSlots; }
    /// The first place.
    UInt32 getId() const { return _id; }

    /// The class that place \a id belongs to; null beyond the last.
    static const StateChunkClass* find(UInt32 id);
    /// Number of places dealt out.
    static UInt32 getNumPlaces();

private:
    std::string _name;
    UInt32 _numSlots;
    UInt32 _id;
};

/// A part of the drawing state.
class OSG_PLATFORM_API StateChunk : public Attachment
{
    OSG_ABSTRACT_FIELD_CONTAINER(StateChunk, Attachment)

    OSG_SFIELD(3, Ignore, ignore, Bool, false)

    virtual const StateChunkClass* getClass() const = 0;
    UInt32 getClassId() const { return getClass()->getId(); }
    /// Whether what is drawn with the chunk lets the background through.
    virtual bool isTransparent() const { return false; }

    /// By class and content; internal fields do not count.
    bool operator==(const StateChunk& other) const;
    bool operator!=(const StateChunk& other) const { return !(*this == other); }

protected:
    StateChunk() {}
    StateChunk(const StateChunk&) = default;
};

/// Declares the places of a class of chunks; after OSG_FIELD_CONTAINER.
#define OSG_STATE_CHUNK                                                                                      \
public:                                                                                                      \
    static const OSG::StateChunkClass& getStaticClass();                                                     \
    static OSG::UInt32 getStaticClassId()                                                                    \
    {                                                                                                        \
        return getStaticClass().getId();                                                                     \
    }                                                                                                        \
    const OSG::StateChunkClass* getClass() const override                                                    \
    {                                                                                                        \
        return &getStaticClass();                                                                            \
    }

/// Defines a class of chunks and registers it; instead of OSG_FIELD_CONTAINER_INST. The group of a chunk is
/// its own.
#define OSG_STATE_CHUNK_INST(Class, name, numSlots)                                                          \
    OSG_FIELD_CONTAINER_INST(Class, nullptr)                                                                 \
    const OSG::StateChunkClass& Class::getStaticClass()                                                      \
    {                                                                                                        \
        static const OSG::StateChunkClass* const places = new OSG::StateChunkClass(name, numSlots);          \
        return *places;                                                                                      \
    }                                                                                                        \
    static const OSG::UInt32 placesOf##Class = Class::getStaticClassId();                                    \
    static_assert(sizeof(placesOf##Class) == 4, "deals out the places");

OSG_END_NAMESPACE
