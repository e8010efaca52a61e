#pragma once

#include "kelda/KFloatArray.h"
#include "kelda/KFloatPointArray.h"
#include "kelda/KFloatVectorArray.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KIntArray.h"
#include "kelda/KPointArray.h"
#include "kelda/KStringArray.h"
#include "kelda/KVectorArray.h"

/// A polygon mesh. Faces have at least three vertices; positions, normals and UVs are indexed separately for
/// each face vertex. Face vertices are counted through all faces in order.
///
/// Normals: a mesh either has a list of normals with one normal id for each face vertex, or none; then there
/// is one computed normal for each face (flat shading), and the normal id of a face vertex is the face's
/// number.
class KELDA_API KFnMesh : public KFnDagNode
{
public:
    KFnMesh() {}
    explicit KFnMesh(const KObject& object, KStatus* status = nullptr);
    explicit KFnMesh(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a mesh below the parent, and attaches to it. Without a parent a transform is made for it below
    /// the world, and that transform is answered; the function set is attached to the mesh in both cases. The
    /// mesh has no UV set and belongs to no set. Fails when there is no polygon, when counts and arrays do
    /// not agree, when a polygon has fewer than three vertices, an index is out of range or a coordinate is
    /// not finite.
    KObject create(int numVertices, int numPolygons, const KFloatPointArray& vertices,
                   const KIntArray& counts, const KIntArray& connects,
                   const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    int numVertices(KStatus* status = nullptr) const;
    int numPolygons(KStatus* status = nullptr) const;
    int numFaceVertices(KStatus* status = nullptr) const;
    int numNormals(KStatus* status = nullptr) const; ///< length of what getNormals() gives
    int numUVs(KStatus* status = nullptr) const;     ///< of the first UV set; 0 without
    int numUVs(const KString& uvSet, KStatus* status = nullptr) const;
    int polygonVertexCount(int polygon, KStatus* status = nullptr) const;
    KStatus getVertices(KIntArray& counts, KIntArray& connects) const;
    KStatus getPolygonVertices(int polygon, KIntArray& vertices) const;

    /// kObject: as stored. kWorld: transformed by the path attached to; fails when attached to an object.
    KStatus getPoints(KPointArray& points, KSpace::Space space = KSpace::kObject) const;
    KStatus getPoints(KFloatPointArray& points, KSpace::Space space = KSpace::kObject) const;
    KStatus setPoints(const KFloatPointArray& points); ///< as many as there are

    KStatus getNormals(KFloatVectorArray& normals, KSpace::Space space = KSpace::kObject) const;
    KStatus getNormalIds(KIntArray& counts, KIntArray& ids) const; ///< counts: per face
    /// One normal for each vertex: its face vertices all refer to it.
    KStatus setVertexNormals(const KFloatVectorArray& normals);
    /// Of these vertices alone, in object space; kWorld fails. Normals that no face vertex refers to any more
    /// leave the list.
    KStatus setVertexNormals(const KVectorArray& normals, const KIntArray& vertices,
                             KSpace::Space space = KSpace::kObject);
    /// Normals for single face vertices: three arrays of equal length. Others keep what they have.
    KStatus setFaceVertexNormals(const KVectorArray& normals, const KIntArray& faces,
                                 const KIntArray& vertices);
    /// A list of normals and an id for each face vertex.
    KStatus setNormals(const KFloatVectorArray& normals, const KIntArray& ids);
    KStatus removeNormals(); ///< back to computed normals

    int numUVSets(KStatus* status = nullptr) const;
    KStatus getUVSetNames(KStringArray& names) const;
    /// Without a name: the first set. kNotFound when there is no such set.
    KStatus getUVs(KFloatArray& u, KFloatArray& v, const KString* uvSet = nullptr) const;
    /// Replaces the UVs of a set. Without a name: the first set, which is made ("map1") when there is none.
    /// Face vertices that refer to UVs beyond the new end lose them.
    KStatus setUVs(const KFloatArray& u, const KFloatArray& v, const KString* uvSet = nullptr);
    /// Per face the number of UV ids (0: the face has no UVs, or the number of its vertices), and the ids.
    KStatus assignUVs(const KIntArray& counts, const KIntArray& ids, const KString* uvSet = nullptr);
    KStatus getAssignedUVs(KIntArray& counts, KIntArray& ids, const KString* uvSet = nullptr) const;
    /// An empty set. Fails when the name is empty or taken.
    KStatus createUVSet(const KString& name);
    KStatus renameUVSet(const KString& from, const KString& to);
    KStatus deleteUVSet(const KString& name);

    /// Marks the surface as changed: iterators over the mesh end, and what was computed from its data is
    /// computed anew when it is next asked for. Every other call that edits the mesh does so by itself.
    KStatus updateSurface();
};
