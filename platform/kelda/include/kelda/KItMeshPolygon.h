#pragma once

#include "kelda/KDagPath.h"
#include "kelda/testing/KFaults.h"

#include <string>
#include <vector>

/// Visits the faces of a mesh, all of them or those of a component, in ascending order. Built for being
/// called for every corner of large meshes. Once the mesh is edited or deleted, every call fails until
/// reset().
class KELDA_API KItMeshPolygon
{
public:
    /// component: a null object for all faces, or a component with faces of this mesh.
    explicit KItMeshPolygon(const KDagPath& path, const KObject& component = KObject::kNullObj,
                            KStatus* status = nullptr);

    KStatus reset(); ///< back to the first face
    bool isDone() const { return _face > _last; }
    KStatus next() ///< kFailure when it is done
    {
        if (isDone() || stale())
            return end();
        _start += _count;
        if (++_face > _last)
            return nextRun();
        _count = _counts[_face];
        return KStatus::kSuccess;
    }

    int index() const { return _face; }       ///< of the current face in the mesh
    unsigned count() const { return _total; } ///< faces to visit in all

    int polygonVertexCount(KStatus* status = nullptr) const
    {
        if (isDone() || stale() || KFaults::hit("KItMeshPolygon::polygonVertexCount"))
            return answer(status, KStatus::kFailure, 0);
        return answer(status, KStatus::kSuccess, _count);
    }
    /// Point of the k-th corner of the face.
    int vertexIndex(int k, KStatus* status = nullptr) const
    {
        if (isDone() || !isCorner(k) || stale() || KFaults::hit("KItMeshPolygon::vertexIndex"))
            return answer(status, KStatus::kFailure, 0);
        return answer(status, KStatus::kSuccess, _vertices[_start + k]);
    }
    /// Normal of the k-th corner, in the list that KFnMesh::getNormals gives.
    int normalIndex(int k, KStatus* status = nullptr) const
    {
        if (isDone() || !isCorner(k) || stale() || KFaults::hit("KItMeshPolygon::normalIndex"))
            return answer(status, KStatus::kFailure, 0);
        return answer(status, KStatus::kSuccess, _normalIds ? _normalIds[_start + k] : _face);
    }
    /// UV of the k-th corner in a UV set (none named: the first). Fails, and leaves the index alone, when
    /// there is no such set or the corner has no UV in it.
    KStatus getUVIndex(int k, int& uvIndex, const KString* uvSet = nullptr) const
    {
        if (isDone() || !isCorner(k) || stale() || KFaults::hit("KItMeshPolygon::getUVIndex"))
            return KStatus::kFailure;
        // Sets are mostly asked for in turn: the one found last, or the one after it.
        if (uvSet && (_uvSet >= _uvSets.size() || _uvSets[_uvSet].name != uvSet->str()) && !findUVSet(*uvSet))
            return KStatus::kFailure;
        const unsigned set = uvSet ? _uvSet : 0;
        if (set >= _uvSets.size() || !_uvSets[set].ids)
            return KStatus::kFailure;
        const int id = _uvSets[set].ids[_start + k];
        if (id < 0)
            return KStatus::kFailure;
        uvIndex = id;
        return KStatus::kSuccess;
    }
    bool hasUVs(const KString* uvSet = nullptr) const ///< has the first corner of the face a UV?
    {
        int ignored = 0;
        return getUVIndex(0, ignored, uvSet) == KStatus::kSuccess;
    }

    /// For the library: grows whenever a mesh is edited or deleted.
    static unsigned meshEdits;

private:
    struct UVSet {
        std::string name;
        const int* ids; ///< null: no corner has UVs
    };

    bool isCorner(int k) const { return static_cast<unsigned>(k) < static_cast<unsigned>(_count); }
    bool stale() const { return _edits != meshEdits; }
    static int answer(KStatus* status, KStatus::KStatusCode code, int value)
    {
        if (status)
            *status = code;
        return value;
    }
    KStatus rewind();
    KStatus end();
    KStatus nextRun();
    bool findUVSet(const KString& name) const;

    const int* _counts;
    const int* _vertices;
    const int* _normalIds; ///< null: normals are per face
    int _face;
    int _last;  ///< of the current run of faces; below _face: done
    int _count; ///< corners of the face
    int _start; ///< first face vertex of the face
    unsigned _edits;
    mutable unsigned _uvSet;
    std::vector<UVSet> _uvSets;
    unsigned _run; ///< current range of the component
    unsigned _total;
    KDagPath _path;
    KObject _component;
};
