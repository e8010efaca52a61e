#include <OpenSG/OSGDepthChunk.h>
#include <OpenSG/OSGLineChunk.h>
#include <OpenSG/OSGPointChunk.h>
#include <OpenSG/OSGPolygonChunk.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <OpenSG/OSGTransformChunk.h>
#include <OpenSG/OSGTwoSidedLightingChunk.h>

OSG_BEGIN_NAMESPACE

// Chunks that are nothing but their fields.

OSG_STATE_CHUNK_INST(DepthChunk, "Depth", 1)
OSG_STATE_CHUNK_INST(LineChunk, "Line", 1)
OSG_STATE_CHUNK_INST(PointChunk, "Point", 1)
OSG_STATE_CHUNK_INST(PolygonChunk, "Polygon", 1)
OSG_STATE_CHUNK_INST(TexGenChunk, "TexGen", 8)
OSG_STATE_CHUNK_INST(TextureTransformChunk, "TextureTransform", 8)
OSG_STATE_CHUNK_INST(TransformChunk, "Transform", 1)
OSG_STATE_CHUNK_INST(TwoSidedLightingChunk, "TwoSidedLighting", 1)

OSG_END_NAMESPACE
