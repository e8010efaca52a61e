#include "Chunks.h"

#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGTransformChunk.h>

namespace zyscene::render
{

namespace
{
// The matrix of a transform chunk is part of the pass: see Pass::object.
void applyNothing(Frame&, const osg::StateChunkPtr&, unsigned int) {}
void resetNothing(Frame&, unsigned int) {}
const ChunkRow transformChunkRow = {&osg::TransformChunk::getStaticClass, &applyNothing, &resetNothing};

const ChunkRow* const chunkRows[] = {
    &materialChunkRow,
    &twoSidedLightingChunkRow,
    &blendChunkRow,
    &textureChunkRow,
    &textureTransformChunkRow,
    &texGenChunkRow,
    &polygonChunkRow,
    &lineChunkRow,
    &pointChunkRow,
    &depthChunkRow,
    &transformChunkRow,
};

std::string nameOf(const osg::MaterialPtr& material)
{
    const char* const name = osg::getName(material);
    return name != nullptr && *name != '\0' ? "material '" + std::string(name) + "'"
                                            : std::string("a material without a name");
}
} // namespace

StateApplier::StateApplier(Frame& frame) : _frame(frame)
{
    for (const ChunkRow* const row : chunkRows)
        _rows.emplace(&row->chunkClass(), row);

    const Gl& gl = frame.gl;
    gl.Enable(GL_DEPTH_TEST);
    gl.DepthFunc(GL_LEQUAL);
    gl.Enable(GL_NORMALIZE);
    gl.Disable(GL_DITHER);
}

void StateApplier::apply(const Pass& pass, bool colored, bool depthWrites)
{
    if (_pass == &pass && _frame.colored == colored && _frame.depthWrites == depthWrites)
        return;
    reset();
    _pass = &pass;
    _frame.colored = colored;
    _frame.depthWrites = depthWrites;
    // Colours of vertices leave theirs behind.
    const GLfloat white[] = {1, 1, 1, 1};
    _frame.gl.Color4fv(white);
    _frame.gl.DepthMask(depthWrites ? GL_TRUE : GL_FALSE);
    if (pass.state == osg::NullFC)
        return;

    const osg::MFStateChunkPtr& chunks = *pass.state->getMFChunks();
    for (osg::UInt32 place = 0; place < chunks.size(); ++place) {
        const osg::StateChunkPtr& chunk = chunks[place];
        if (chunk == osg::NullFC || chunk->getIgnore())
            continue;
        const auto found = _rows.find(chunk->getClass());
        if (found == _rows.end()) {
            _frame.notices.add(std::string("chunks of the class ") + chunk->getTypeName() + " are not drawn");
            continue;
        }
        const unsigned int slot = place - chunk->getClassId();
        found->second->apply(_frame, chunk, slot);
        _applied.push_back({found->second, slot});
    }
    if (_frame.gl.takeErrors())
        _frame.notices.add(nameOf(pass.owner) + " has values that OpenGL does not know: they are left out");
}

void StateApplier::reset()
{
    for (auto applied = _applied.rbegin(); applied != _applied.rend(); ++applied)
        applied->row->reset(_frame, applied->slot);
    _applied.clear();
    _frame.gl.takeErrors();
    _pass = nullptr;
}

bool activateUnit(Frame& frame, unsigned int slot)
{
    if (slot >= frame.units) {
        frame.notices.add("textures beyond the first " + std::to_string(frame.units) +
                          " of a material are not drawn");
        return false;
    }
    frame.gl.ActiveTexture(GL_TEXTURE0 + slot);
    return true;
}

} // namespace zyscene::render
