#pragma once

#include "DrawList.h"
#include "Gl.h"
#include "Notices.h"
#include "Textures.h"

#include <OpenSG/OSGStateChunk.h>

#include <unordered_map>
#include <vector>

namespace zyscene::render
{

/// What chunks are applied to.
struct Frame {
    const Gl& gl;
    Notices& notices;
    Textures& textures;
    WorldMatrix view;        ///< from the world to the eye
    WorldMatrix eyeWorld;    ///< from the eye to the world
    unsigned int units;      ///< texture units that there are
    float maxAnisotropy;     ///< 0: there is no such thing
    bool colored = false;    ///< whether what is drawn next has colours of its own
    bool depthWrites = true; ///< whether it hides what comes later
};

/// How the chunks of one class become OpenGL state. `slot` counts the chunks of the class in a state.
///
/// apply() may rely on everything having its initial value (see StateApplier), reset() restores this for all
/// that apply() changes.
struct ChunkRow {
    const osg::StateChunkClass& (*chunkClass)();
    void (*apply)(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int slot);
    void (*reset)(Frame& frame, unsigned int slot);
};

extern const ChunkRow materialChunkRow;
extern const ChunkRow twoSidedLightingChunkRow;
extern const ChunkRow blendChunkRow;
extern const ChunkRow textureChunkRow;
extern const ChunkRow textureTransformChunkRow;
extern const ChunkRow texGenChunkRow;
extern const ChunkRow polygonChunkRow;
extern const ChunkRow lineChunkRow;
extern const ChunkRow pointChunkRow;
extern const ChunkRow depthChunkRow;

/// Gives a state to OpenGL, chunk by chunk, and takes it back.
///
/// Without any chunk things are drawn in white, not lit, filled, both sides, with a depth test that lets
/// equal depths pass.
class StateApplier
{
public:
    /// Sets the initial values.
    explicit StateApplier(Frame& frame);
    ~StateApplier() { reset(); }
    StateApplier(const StateApplier&) = delete;
    StateApplier& operator=(const StateApplier&) = delete;

    /// Applies the state of a pass, in place of the one before. Values that OpenGL does not know are left
    /// out, with a notice.
    void apply(const Pass& pass, bool colored, bool depthWrites);
    void reset();

private:
    struct Applied {
        const ChunkRow* row;
        unsigned int slot;
    };

    Frame& _frame;
    std::unordered_map<const osg::StateChunkClass*, const ChunkRow*> _rows;
    const Pass* _pass = nullptr;
    std::vector<Applied> _applied;
};

// -- For the rows ------------------------------------------------------------------------------------------

/// Makes the slot's texture unit the active one.
/// @return false, with a notice, when there is no such unit
bool activateUnit(Frame& frame, unsigned int slot);

} // namespace zyscene::render
