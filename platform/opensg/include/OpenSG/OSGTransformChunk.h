#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(TransformChunk, StateChunkPtr)

/// A matrix between the object and its node.
class OSG_PLATFORM_API TransformChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(TransformChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, Matrix, matrix, Matrix, )

protected:
    TransformChunk() {}
    TransformChunk(const TransformChunk&) = default;
};

OSG_END_NAMESPACE
