#include "kelda/KItMeshPolygon.h"

#include "api/Api.h"

using namespace kelda;

unsigned KItMeshPolygon::meshEdits = 0;

KItMeshPolygon::KItMeshPolygon(const KDagPath& path, const KObject& component, KStatus* status)
    : _counts(nullptr), _vertices(nullptr), _normalIds(nullptr), _face(0), _last(-1), _count(0), _start(0),
      _edits(meshEdits - 1), _uvSet(0), _run(0), _total(0)
{
    if (give(status, enter("KItMeshPolygon::KItMeshPolygon")).error())
        return;
    KDagPath shape(path);
    const DagNode* node = shape.extendToShape().error() ? nullptr : dagOf(shape);
    if (!node || !node->isA(KFn::kMesh) || (!component.isNull() && !component.faces())) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return;
    }
    const int64_t faces = static_cast<int64_t>(static_cast<const MeshNode*>(node)->mesh.faceCount());
    if (component.faces() && component.faces()->ranges.back().last >= faces) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return;
    }
    _path = shape;
    _component = component;
    give(status, rewind());
}

KStatus KItMeshPolygon::reset()
{
    const KStatus entered = enter("KItMeshPolygon::reset");
    return entered.error() ? entered : rewind();
}

KStatus KItMeshPolygon::rewind()
{
    const DagNode* node = dagOf(_path);
    if (!node)
        return KStatus::kInvalidParameter;
    const MeshData& mesh = static_cast<const MeshNode*>(node)->mesh;
    const int faces = static_cast<int>(mesh.faceCount());
    const FaceSet* component = static_cast<const FaceSet*>(_component.held().get());
    if (component && component->ranges.back().last >= faces)
        return KStatus::kInvalidParameter; // the mesh has lost faces since
    _counts = mesh.faceCounts.data();
    _vertices = mesh.faceVertices.data();
    _normalIds = mesh.normals.empty() ? nullptr : mesh.normalIds.data();
    _uvSets.clear();
    for (const kelda::UVSet& set : mesh.uvSets)
        _uvSets.push_back(UVSet{set.name, set.ids.empty() ? nullptr : set.ids.data()});
    _uvSet = 0;
    _run = 0;
    _edits = meshEdits;
    _total = component ? static_cast<unsigned>(component->count()) : static_cast<unsigned>(faces);
    _face = component ? component->ranges[0].first : 0;
    _last = component ? component->ranges[0].last : faces - 1;
    if (KFaults::hit("KItMeshPolygon::reset at the end"))
        _last = _face - 1;
    _start = component ? faceStartsOf(mesh)[static_cast<size_t>(_face)] : 0;
    _count = isDone() ? 0 : _counts[_face];
    return KStatus::kSuccess;
}

KStatus KItMeshPolygon::end()
{
    _last = _face - 1;
    return KStatus::kFailure;
}

/// The faces of a run are through: on to the next range of the component, or done.
KStatus KItMeshPolygon::nextRun()
{
    const FaceSet* component = static_cast<const FaceSet*>(_component.held().get());
    if (!component || ++_run >= component->ranges.size())
        return KStatus::kSuccess;
    _face = component->ranges[_run].first;
    _last = component->ranges[_run].last;
    _start = static_cast<const MeshNode*>(dagOf(_path))->mesh.faceStarts[static_cast<size_t>(_face)];
    _count = _counts[_face];
    return KStatus::kSuccess;
}

bool KItMeshPolygon::findUVSet(const KString& name) const
{
    const unsigned count = static_cast<unsigned>(_uvSets.size());
    for (unsigned i = 0; i < count; ++i) {
        const unsigned at = (_uvSet + 1 + i) % count;
        if (_uvSets[at].name == name.str()) {
            _uvSet = at;
            return true;
        }
    }
    return false;
}
