#include "PolygonTriangulator.h"

#include <GL/glu.h>

#include <deque>

namespace zyscene::tessellation
{

struct PolygonTriangulator::Work {
    GLUtesselator* tessellator = nullptr;
    std::deque<std::array<double, 3>> vertices; ///< they stay where they are while others are added
    std::vector<Parameter>* corners = nullptr;
    bool failed = false;
};

// -- Callbacks ---------------------------------------------------------------------------------------

namespace
{
typedef void (*Callback)();

template <class FunctionT>
Callback callbackOf(FunctionT* function)
{
    return reinterpret_cast<Callback>(function);
}

// Being asked for edge flags, the tessellator makes triangles only: no strips, no fans.
void onEdgeFlag(GLboolean) {}

template <class WorkT>
void onVertex(void* vertex, void* work)
{
    const auto& at = *static_cast<const std::array<double, 3>*>(vertex);
    static_cast<WorkT*>(work)->corners->push_back({at[0], at[1]});
}

template <class WorkT>
void onCombine(const GLdouble at[3], void* const[4], const GLfloat[4], void** result, void* work)
{
    auto& vertices = static_cast<WorkT*>(work)->vertices;
    vertices.push_back({at[0], at[1], at[2]});
    *result = &vertices.back();
}

template <class WorkT>
void onError(GLenum, void* work)
{
    static_cast<WorkT*>(work)->failed = true;
}
} // namespace

// -- PolygonTriangulator -----------------------------------------------------------------------------

PolygonTriangulator::PolygonTriangulator() : _work(std::make_unique<Work>())
{
    GLUtesselator* const tessellator = gluNewTess();
    _work->tessellator = tessellator;
    if (tessellator == nullptr)
        return;
    gluTessProperty(tessellator, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
    gluTessNormal(tessellator, 0, 0, 1);
    gluTessCallback(tessellator, GLU_TESS_EDGE_FLAG, callbackOf(&onEdgeFlag));
    gluTessCallback(tessellator, GLU_TESS_VERTEX_DATA, callbackOf(&onVertex<Work>));
    gluTessCallback(tessellator, GLU_TESS_COMBINE_DATA, callbackOf(&onCombine<Work>));
    gluTessCallback(tessellator, GLU_TESS_ERROR_DATA, callbackOf(&onError<Work>));
}

PolygonTriangulator::~PolygonTriangulator()
{
    if (_work->tessellator != nullptr)
        gluDeleteTess(_work->tessellator);
}

bool PolygonTriangulator::triangulate(const std::vector<Polygon>& polygons, std::vector<Parameter>& corners)
{
    GLUtesselator* const tessellator = _work->tessellator;
    corners.clear();
    if (tessellator == nullptr)
        return false;
    _work->vertices.clear();
    _work->corners = &corners;
    _work->failed = false;
    gluTessBeginPolygon(tessellator, _work.get());
    for (const Polygon& polygon : polygons) {
        gluTessBeginContour(tessellator);
        for (const Parameter& corner : polygon) {
            _work->vertices.push_back({corner[0], corner[1], 0});
            std::array<double, 3>& vertex = _work->vertices.back();
            gluTessVertex(tessellator, vertex.data(), &vertex);
        }
        gluTessEndContour(tessellator);
    }
    gluTessEndPolygon(tessellator);
    return !_work->failed && corners.size() % 3 == 0;
}

} // namespace zyscene::tessellation
