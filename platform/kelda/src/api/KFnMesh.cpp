#include "kelda/KFnMesh.h"

#include "api/Api.h"
#include "api/SceneCopy.h"
#include "kelda/KItMeshPolygon.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <unordered_map>

using namespace kelda;

// -- Attaching ------------------------------------------------------------------------------------

KFnMesh::KFnMesh(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnMesh::KFnMesh")).error())
        give(status, setObject(object));
}

KFnMesh::KFnMesh(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnMesh::KFnMesh")).error())
        give(status, setObject(path));
}

KFn::Type KFnMesh::type() const
{
    return KFn::kMesh;
}

namespace
{

MeshData* dataOf(const KObject& object, KStatus* status)
{
    MeshNode* node = attachedNode<MeshNode>(object, status);
    return node ? &node->mesh : nullptr;
}

/// 0, 1, 2, ...: what a mesh whose faces share nothing is made with.
bool countsUp(const int* ids, size_t count)
{
    unsigned bad = 0;
    for (size_t i = 0; i < count; ++i)
        bad |= static_cast<unsigned>(ids[i]) ^ static_cast<unsigned>(i);
    return bad == 0;
}

void edited(MeshData& mesh)
{
    mesh.changed();
    ++KItMeshPolygon::meshEdits;
}

/// Walks over triples of floats and gives elements of another kind, so that an array is filled in one pass.
template <class Element>
class Triples
{
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using pointer = const Element*;
    using reference = Element;

    explicit Triples(const float* at) : _at(at) {}
    Element operator*() const { return Element(_at[0], _at[1], _at[2]); }
    Triples& operator++()
    {
        _at += 3;
        return *this;
    }
    Triples operator++(int)
    {
        Triples old = *this;
        ++*this;
        return old;
    }
    Triples& operator--()
    {
        _at -= 3;
        return *this;
    }
    Triples& operator+=(difference_type n)
    {
        _at += 3 * n;
        return *this;
    }
    difference_type operator-(const Triples& o) const { return (_at - o._at) / 3; }
    bool operator==(const Triples& o) const { return _at == o._at; }
    bool operator!=(const Triples& o) const { return _at != o._at; }

private:
    const float* _at;
};

template <class Element, class Array>
void fill(Array& out, const PodVector<float>& from)
{
    out.assign(Triples<Element>(from.data()), Triples<Element>(from.data() + from.size()));
}

UVSet* findUVSet(MeshData& mesh, const KString* name)
{
    if (!name)
        return mesh.uvSets.empty() ? nullptr : &mesh.uvSets.front();
    for (UVSet& set : mesh.uvSets)
        if (set.name == name->str())
            return &set;
    return nullptr;
}

} // namespace

// -- Making ---------------------------------------------------------------------------------------

KObject KFnMesh::create(int numVertices, int numPolygons, const KFloatPointArray& vertices,
                        const KIntArray& counts, const KIntArray& connects, const KObject& parent,
                        KStatus* status)
{
    if (give(status, enter("KFnMesh::create")).error())
        return KObject();
    const DagNode* above = parent.isNull() ? nullptr : dagOf(parent);
    MeshData mesh;
    const bool agree = numPolygons > 0 && numVertices >= 0 &&
                       static_cast<unsigned>(numVertices) == vertices.length() &&
                       static_cast<unsigned>(numPolygons) == counts.length();
    if (agree) {
        mesh.points.resize(size_t(vertices.length()) * 3);
        float* to = mesh.points.data();
        for (const KFloatPoint *p = vertices.data(), *end = p + vertices.length(); p != end; ++p, to += 3) {
            to[0] = p->x;
            to[1] = p->y;
            to[2] = p->z;
        }
        mesh.faceCounts.assign(counts.data(), counts.data() + counts.length());
        mesh.faceVertices.assign(connects.data(), connects.data() + connects.length());
    }
    if (!agree || checkMesh(mesh) || (above && above->isA(KFn::kShape))) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KObject();
    }
    const KObject made = KFnDagNode::create("mesh", KString(), parent, status);
    if (MeshData* data = dataOf(_object, nullptr))
        *data = std::move(mesh);
    return made;
}

// -- Counts and faces -----------------------------------------------------------------------------

int KFnMesh::numVertices(KStatus* status) const
{
    const MeshData* mesh = dataOf(_object, status);
    return mesh ? static_cast<int>(mesh->pointCount()) : 0;
}

int KFnMesh::numPolygons(KStatus* status) const
{
    const MeshData* mesh = dataOf(_object, status);
    return mesh ? static_cast<int>(mesh->faceCount()) : 0;
}

int KFnMesh::numFaceVertices(KStatus* status) const
{
    const MeshData* mesh = dataOf(_object, status);
    return mesh ? static_cast<int>(mesh->faceVertexCount()) : 0;
}

int KFnMesh::numNormals(KStatus* status) const
{
    const MeshData* mesh = dataOf(_object, status);
    if (!mesh)
        return 0;
    return static_cast<int>(mesh->normals.empty() ? mesh->faceCount() : mesh->normals.size() / 3);
}

int KFnMesh::numUVs(KStatus* status) const
{
    MeshData* mesh = dataOf(_object, status);
    return mesh && !mesh->uvSets.empty() ? static_cast<int>(mesh->uvSets.front().u.size()) : 0;
}

int KFnMesh::numUVs(const KString& uvSet, KStatus* status) const
{
    MeshData* mesh = dataOf(_object, status);
    const UVSet* set = mesh ? findUVSet(*mesh, &uvSet) : nullptr;
    if (mesh && !set)
        give(status, KStatus(KStatus::kNotFound));
    return set ? static_cast<int>(set->u.size()) : 0;
}

int KFnMesh::polygonVertexCount(int polygon, KStatus* status) const
{
    const MeshData* mesh = dataOf(_object, status);
    if (!mesh)
        return 0;
    if (polygon < 0 || static_cast<size_t>(polygon) >= mesh->faceCount()) {
        give(status, KStatus(KStatus::kIndexOutOfRange));
        return 0;
    }
    return mesh->faceCounts[static_cast<size_t>(polygon)];
}

KStatus KFnMesh::getVertices(KIntArray& counts, KIntArray& connects) const
{
    KStatus status;
    if (const MeshData* mesh = dataOf(_object, &status)) {
        counts.assign(mesh->faceCounts.begin(), mesh->faceCounts.end());
        connects.assign(mesh->faceVertices.begin(), mesh->faceVertices.end());
    }
    return status;
}

KStatus KFnMesh::getPolygonVertices(int polygon, KIntArray& vertices) const
{
    KStatus status;
    const int count = polygonVertexCount(polygon, &status);
    if (status.error())
        return status;
    const MeshData& mesh = *dataOf(_object, nullptr);
    const int32_t* first =
        &mesh.faceVertices[static_cast<size_t>(faceStartsOf(mesh)[static_cast<size_t>(polygon)])];
    vertices.assign(first, first + count);
    return status;
}

// -- Points ---------------------------------------------------------------------------------------

KStatus KFnMesh::getPoints(KPointArray& points, KSpace::Space space) const
{
    KStatus status;
    const MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::getPoints");
    KMatrix matrix;
    if (entered.error() || !spaceMatrix(_path, space, matrix, status))
        return entered.error() ? entered : status;
    fill<KPoint>(points, mesh->points);
    for (unsigned i = 0; i < points.length() && space == KSpace::kWorld; ++i)
        points[i] = points[i] * matrix;
    return status;
}

KStatus KFnMesh::getPoints(KFloatPointArray& points, KSpace::Space space) const
{
    KPointArray wide;
    const KStatus status = getPoints(wide, space);
    if (status.error())
        return status;
    points.setLength(wide.length());
    for (unsigned i = 0; i < wide.length(); ++i)
        points[i] = KFloatPoint(static_cast<float>(wide[i].x), static_cast<float>(wide[i].y),
                                static_cast<float>(wide[i].z));
    return status;
}

KStatus KFnMesh::setPoints(const KFloatPointArray& points)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    if (points.length() != mesh->pointCount())
        return KStatus::kInvalidParameter;
    for (unsigned i = 0; i < points.length(); ++i)
        if (!std::isfinite(points[i].x) || !std::isfinite(points[i].y) || !std::isfinite(points[i].z))
            return KStatus::kInvalidParameter;
    for (unsigned i = 0; i < points.length(); ++i)
        for (unsigned c = 0; c < 3; ++c)
            mesh->points[i * size_t(3) + c] = points[i][c];
    edited(*mesh);
    return status;
}

// -- Normals --------------------------------------------------------------------------------------

KStatus KFnMesh::getNormals(KFloatVectorArray& normals, KSpace::Space space) const
{
    KStatus status;
    const MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::getNormals");
    KMatrix matrix;
    if (entered.error() || !spaceMatrix(_path, space, matrix, status))
        return entered.error() ? entered : status;
    fill<KFloatVector>(normals, mesh->normals.empty() ? flatNormalsOf(*mesh) : mesh->normals);
    if (space != KSpace::kWorld)
        return status;
    // Normals go by the transposed inverse; where there is none they stay as they are.
    const KMatrix turn = matrix.inverse().transpose();
    for (unsigned i = 0; i < normals.length(); ++i) {
        KVector n = KVector(normals[i].x, normals[i].y, normals[i].z) * turn;
        const double length = n.length();
        if (length > 0)
            normals[i] = KFloatVector(static_cast<float>(n.x / length), static_cast<float>(n.y / length),
                                      static_cast<float>(n.z / length));
    }
    return status;
}

KStatus KFnMesh::getNormalIds(KIntArray& counts, KIntArray& ids) const
{
    KStatus status;
    const MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    counts.assign(mesh->faceCounts.begin(), mesh->faceCounts.end());
    if (!mesh->normals.empty()) {
        ids.assign(mesh->normalIds.begin(), mesh->normalIds.end());
        return status;
    }
    ids.clear();
    for (unsigned f = 0; f < counts.length(); ++f)
        for (int k = 0; k < counts[f]; ++k)
            ids.append(static_cast<int>(f));
    return status;
}

KStatus KFnMesh::setNormals(const KFloatVectorArray& normals, const KIntArray& ids)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    if (normals.length() == 0 || ids.length() != mesh->faceVertexCount())
        return KStatus::kInvalidParameter;
    for (unsigned i = 0; i < normals.length(); ++i)
        if (!std::isfinite(normals[i].x) || !std::isfinite(normals[i].y) || !std::isfinite(normals[i].z))
            return KStatus::kInvalidParameter;
    for (unsigned i = 0; i < ids.length(); ++i)
        if (static_cast<unsigned>(ids[i]) >= normals.length())
            return KStatus::kIndexOutOfRange;
    mesh->normals.resize(size_t(normals.length()) * 3);
    for (unsigned i = 0; i < normals.length(); ++i)
        for (unsigned c = 0; c < 3; ++c)
            mesh->normals[i * size_t(3) + c] = normals[i][c];
    mesh->normalIds.assign(ids.data(), ids.data() + ids.length());
    edited(*mesh);
    return status;
}

KStatus KFnMesh::setVertexNormals(const KFloatVectorArray& normals)
{
    KStatus status;
    const MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::setVertexNormals");
    if (entered.error())
        return entered;
    if (normals.length() != mesh->pointCount())
        return KStatus::kInvalidParameter;
    return setNormals(normals,
                      KIntArray(mesh->faceVertices.data(), static_cast<unsigned>(mesh->faceVertexCount())));
}

namespace
{

/// The normals as they are shown, made explicit so that some of them can be changed.
void explicitNormals(const MeshData& mesh, KFloatVectorArray& normals, KIntArray& ids)
{
    fill<KFloatVector>(normals, mesh.normals.empty() ? flatNormalsOf(mesh) : mesh.normals);
    if (!mesh.normals.empty()) {
        ids.assign(mesh.normalIds.begin(), mesh.normalIds.end());
        return;
    }
    ids.clear();
    ids.reserve(static_cast<unsigned>(mesh.faceVertexCount()));
    for (size_t f = 0; f < mesh.faceCount(); ++f)
        for (int k = 0; k < mesh.faceCounts[f]; ++k)
            ids.append(static_cast<int>(f));
}

/// Takes normals out of the list that no id refers to; the others keep their order.
void dropUnused(KFloatVectorArray& normals, KIntArray& ids)
{
    std::vector<int> place(normals.length(), -1);
    for (unsigned i = 0; i < ids.length(); ++i)
        place[static_cast<size_t>(ids[i])] = 0;
    unsigned kept = 0;
    for (unsigned i = 0; i < normals.length(); ++i) {
        if (place[i] < 0)
            continue;
        normals[kept] = normals[i];
        place[i] = static_cast<int>(kept++);
    }
    if (kept == normals.length())
        return;
    normals.setLength(kept);
    for (unsigned i = 0; i < ids.length(); ++i)
        ids[i] = place[static_cast<size_t>(ids[i])];
}

KFloatVector narrow(const KVector& v)
{
    return KFloatVector(static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z));
}

} // namespace

KStatus KFnMesh::setVertexNormals(const KVectorArray& given, const KIntArray& vertices, KSpace::Space space)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::setVertexNormals");
    if (entered.error())
        return entered;
    if (given.length() != vertices.length() || space == KSpace::kWorld || space == KSpace::kInvalid)
        return KStatus::kInvalidParameter;
    // Where every corner has a point of its own, and all of them are named in order, the list given is the
    // list to be kept.
    if (vertices.length() == mesh->pointCount() && vertices.length() == mesh->faceVertexCount() &&
        countsUp(vertices.data(), vertices.length()) &&
        countsUp(mesh->faceVertices.data(), mesh->faceVertexCount())) {
        PodVector<float> fresh;
        fresh.resize(size_t(given.length()) * 3);
        float* to = fresh.data();
        for (const KVector *n = given.data(), *end = n + given.length(); n != end; ++n, to += 3) {
            to[0] = static_cast<float>(n->x);
            to[1] = static_cast<float>(n->y);
            to[2] = static_cast<float>(n->z);
        }
        if (!allFinite(fresh))
            return KStatus::kInvalidParameter;
        mesh->normals = std::move(fresh);
        mesh->normalIds = mesh->faceVertices;
        edited(*mesh);
        return status;
    }
    KFloatVectorArray normals;
    KIntArray ids;
    explicitNormals(*mesh, normals, ids);
    std::vector<int> normalOfPoint(mesh->pointCount(), -1);
    for (unsigned i = 0; i < vertices.length(); ++i) {
        if (static_cast<size_t>(static_cast<unsigned>(vertices[i])) >= mesh->pointCount())
            return KStatus::kIndexOutOfRange;
        normalOfPoint[static_cast<size_t>(vertices[i])] = static_cast<int>(normals.length());
        normals.append(narrow(given[i]));
    }
    for (unsigned i = 0; i < ids.length(); ++i) {
        const int fresh = normalOfPoint[static_cast<size_t>(mesh->faceVertices[i])];
        ids[i] = fresh < 0 ? ids[i] : fresh;
    }
    dropUnused(normals, ids);
    return setNormals(normals, ids);
}

KStatus KFnMesh::setFaceVertexNormals(const KVectorArray& given, const KIntArray& faces,
                                      const KIntArray& vertices)
{
    KStatus status;
    const MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    if (given.length() != faces.length() || given.length() != vertices.length())
        return KStatus::kInvalidParameter;
    KFloatVectorArray normals;
    KIntArray ids;
    explicitNormals(*mesh, normals, ids);
    const PodVector<int32_t>& starts = faceStartsOf(*mesh);
    for (unsigned i = 0; i < faces.length(); ++i) {
        if (static_cast<size_t>(static_cast<unsigned>(faces[i])) >= mesh->faceCount())
            return KStatus::kIndexOutOfRange;
        const size_t face = static_cast<size_t>(faces[i]);
        bool found = false;
        for (int k = 0; k < mesh->faceCounts[face]; ++k) {
            const int corner = starts[face] + k;
            if (mesh->faceVertices[static_cast<size_t>(corner)] != vertices[i])
                continue;
            ids[static_cast<unsigned>(corner)] = static_cast<int>(normals.length());
            found = true;
        }
        if (!found)
            return KStatus::kInvalidParameter;
        normals.append(narrow(given[i]));
    }
    return setNormals(normals, ids);
}

KStatus KFnMesh::removeNormals()
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    mesh->normals.clear();
    mesh->normalIds.clear();
    edited(*mesh);
    return status;
}

// -- UV sets --------------------------------------------------------------------------------------

int KFnMesh::numUVSets(KStatus* status) const
{
    const MeshData* mesh = dataOf(_object, status);
    return mesh ? static_cast<int>(mesh->uvSets.size()) : 0;
}

KStatus KFnMesh::getUVSetNames(KStringArray& names) const
{
    KStatus status;
    const MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    names.clear();
    for (const UVSet& set : mesh->uvSets)
        names.append(KString(set.name));
    return status;
}

KStatus KFnMesh::getUVs(KFloatArray& u, KFloatArray& v, const KString* uvSet) const
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::getUVs");
    if (entered.error())
        return entered;
    const UVSet* set = findUVSet(*mesh, uvSet);
    if (!set)
        return KStatus::kNotFound;
    u.assign(set->u.begin(), set->u.end());
    v.assign(set->v.begin(), set->v.end());
    return status;
}

KStatus KFnMesh::setUVs(const KFloatArray& u, const KFloatArray& v, const KString* uvSet)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::setUVs");
    if (entered.error())
        return entered;
    if (u.length() != v.length() || !allFinite(u.data(), u.length()) || !allFinite(v.data(), v.length()))
        return KStatus::kInvalidParameter;
    UVSet* set = findUVSet(*mesh, uvSet);
    if (!set && uvSet)
        return KStatus::kNotFound;
    if (!set) {
        mesh->uvSets.emplace_back();
        set = &mesh->uvSets.back();
        set->name = "map1";
    }
    set->u.assign(u.data(), u.data() + u.length());
    set->v.assign(v.data(), v.data() + v.length());
    for (int32_t& id : set->ids)
        if (id >= 0 && static_cast<unsigned>(id) >= u.length())
            id = -1;
    edited(*mesh);
    return status;
}

KStatus KFnMesh::assignUVs(const KIntArray& counts, const KIntArray& ids, const KString* uvSet)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::assignUVs");
    if (entered.error())
        return entered;
    UVSet* set = findUVSet(*mesh, uvSet);
    if (!set)
        return KStatus::kNotFound;
    if (counts.length() != mesh->faceCount())
        return KStatus::kInvalidParameter;
    PodVector<int32_t> fresh;
    if (ids.length() == mesh->faceVertexCount() &&
        std::equal(counts.data(), counts.data() + counts.length(), mesh->faceCounts.begin())) {
        fresh.assign(ids.data(), ids.data() + ids.length());
    } else {
        fresh.reserve(mesh->faceVertexCount());
        unsigned at = 0;
        for (unsigned f = 0; f < counts.length(); ++f) {
            const int corners = mesh->faceCounts[f];
            if ((counts[f] != 0 && counts[f] != corners) ||
                static_cast<unsigned>(counts[f]) > ids.length() - at)
                return KStatus::kInvalidParameter;
            for (int k = 0; k < corners; ++k)
                fresh.push_back(counts[f] == 0 ? -1 : ids[at + static_cast<unsigned>(k)]);
            at += static_cast<unsigned>(counts[f]);
        }
        if (at != ids.length())
            return KStatus::kInvalidParameter;
    }
    if (!idsInRange(fresh, -1, set->u.size()))
        return KStatus::kIndexOutOfRange;
    set->ids = std::move(fresh);
    edited(*mesh);
    return status;
}

KStatus KFnMesh::getAssignedUVs(KIntArray& counts, KIntArray& ids, const KString* uvSet) const
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const UVSet* set = findUVSet(*mesh, uvSet);
    if (!set)
        return KStatus::kNotFound;
    counts.setLength(0);
    ids.clear();
    size_t at = 0;
    for (int32_t corners : mesh->faceCounts) {
        // A face has UVs when all of its corners have.
        bool whole = !set->ids.empty();
        for (int k = 0; whole && k < corners; ++k)
            whole = set->ids[at + static_cast<size_t>(k)] >= 0;
        for (int k = 0; whole && k < corners; ++k)
            ids.append(set->ids[at + static_cast<size_t>(k)]);
        counts.append(whole ? corners : 0);
        at += static_cast<size_t>(corners);
    }
    return status;
}

KStatus KFnMesh::createUVSet(const KString& name)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    if (name.length() == 0 || findUVSet(*mesh, &name))
        return KStatus::kInvalidParameter;
    mesh->uvSets.emplace_back();
    mesh->uvSets.back().name = name.str();
    edited(*mesh);
    return status;
}

KStatus KFnMesh::renameUVSet(const KString& from, const KString& to)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    UVSet* set = findUVSet(*mesh, &from);
    if (!set)
        return KStatus::kNotFound;
    if (to.length() == 0 || (from != to && findUVSet(*mesh, &to)))
        return KStatus::kInvalidParameter;
    set->name = to.str();
    edited(*mesh);
    return status;
}

KStatus KFnMesh::deleteUVSet(const KString& name)
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const UVSet* set = findUVSet(*mesh, &name);
    if (!set)
        return KStatus::kNotFound;
    mesh->uvSets.erase(mesh->uvSets.begin() + (set - mesh->uvSets.data()));
    edited(*mesh);
    return status;
}

// -- The surface ----------------------------------------------------------------------------------

KStatus KFnMesh::updateSurface()
{
    KStatus status;
    MeshData* mesh = dataOf(_object, &status);
    if (!mesh)
        return status;
    const KStatus entered = enter("KFnMesh::updateSurface");
    if (!entered.error())
        edited(*mesh);
    return entered;
}
