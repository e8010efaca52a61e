#include "graph/Scene.h"

#include <algorithm>
#include <unordered_set>

namespace kelda
{

// -- Face sets ------------------------------------------------------------------------------------

namespace
{

using Ranges = std::vector<FaceRange>;

Ranges unite(const Ranges& a, const Ranges& b)
{
    Ranges all;
    all.reserve(a.size() + b.size());
    std::merge(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(all),
               [](const FaceRange& x, const FaceRange& y) { return x.first < y.first; });
    Ranges out;
    for (const FaceRange& r : all) {
        if (!out.empty() && int64_t(r.first) <= int64_t(out.back().last) + 1)
            out.back().last = std::max(out.back().last, r.last);
        else
            out.push_back(r);
    }
    return out;
}

Ranges subtract(const Ranges& from, const Ranges& what)
{
    Ranges out;
    size_t w = 0;
    for (FaceRange r : from) {
        while (w < what.size() && what[w].last < r.first)
            ++w;
        for (size_t i = w; i < what.size() && what[i].first <= r.last && r.first <= r.last; ++i) {
            if (what[i].first > r.first)
                out.push_back({r.first, what[i].first - 1});
            if (what[i].last >= r.last) {
                r.first = r.last; // nothing is left of it
                r.last = r.first - 1;
                break;
            }
            r.first = what[i].last + 1;
        }
        if (r.first <= r.last)
            out.push_back(r);
    }
    return out;
}

bool isWellFormed(const Ranges& ranges, size_t faceCount)
{
    int64_t next = 0;
    for (const FaceRange& r : ranges) {
        if (r.first < next || r.last < r.first || static_cast<size_t>(r.last) >= faceCount)
            return false;
        next = int64_t(r.last) + 2;
    }
    return !ranges.empty();
}

const InstanceSets kNoSets;

} // namespace

// -- Membership -----------------------------------------------------------------------------------

Outcome Scene::addMember(SetNode& set, DagNode& node, uint32_t instance, std::shared_ptr<const FaceSet> faces)
{
    if (node.id == kWorld || instance >= pathCount(node))
        return Outcome(KStatus::kInvalidParameter,
                       "\"" + name(node) + "\" has no instance " + std::to_string(instance));
    if (faces) {
        const MeshNode* mesh = node.isA(KFn::kMesh) ? static_cast<const MeshNode*>(&node) : nullptr;
        if (!mesh || !isWellFormed(faces->ranges, mesh->mesh.faceCount()))
            return Outcome(KStatus::kInvalidParameter, "\"" + name(node) + "\" has no such faces");
    }
    if (!node.memberships)
        node.memberships.reset(new std::vector<InstanceSets>);
    if (node.memberships->size() <= instance)
        node.memberships->resize(instance + 1);
    InstanceSets& sets = (*node.memberships)[instance];
    const auto at = std::lower_bound(sets.begin(), sets.end(), set.id,
                                     [](const Membership& m, NodeId id) { return m.set < id; });
    if (at == sets.end() || at->set != set.id) {
        sets.insert(at, Membership{set.id, std::move(faces)});
        set.members.push_back(node.id);
        ++_membershipCount;
    } else if (!faces) {
        at->faces.reset();
    } else if (at->faces) {
        const auto both = std::make_shared<FaceSet>();
        both->ranges = unite(at->faces->ranges, faces->ranges);
        at->faces = both;
    }
    return Outcome();
}

Outcome Scene::removeMember(SetNode& set, DagNode& node, uint32_t instance)
{
    if (node.memberships && instance < node.memberships->size()) {
        InstanceSets& sets = (*node.memberships)[instance];
        const auto at =
            std::find_if(sets.begin(), sets.end(), [&](const Membership& m) { return m.set == set.id; });
        if (at != sets.end()) {
            sets.erase(at);
            set.members.erase(std::find(set.members.begin(), set.members.end(), node.id));
            --_membershipCount;
            return Outcome();
        }
    }
    return Outcome(KStatus::kNotFound, "\"" + name(node) + "\" is not in the set \"" + name(set) + "\"");
}

void Scene::leaveRenderableSets(DagNode& node, uint32_t instance, const FaceSet* faces, NodeId except)
{
    const InstanceSets sets = setsOf(node, instance);
    for (const Membership& m : sets) {
        SetNode& set = static_cast<SetNode&>(*this->node(m.set));
        if (m.set == except || !set.renderable)
            continue;
        const auto left = std::make_shared<FaceSet>();
        if (faces && node.isA(KFn::kMesh)) {
            const int32_t count = static_cast<int32_t>(static_cast<MeshNode&>(node).mesh.faceCount());
            left->ranges = subtract(m.faces ? m.faces->ranges : Ranges{{0, count - 1}}, faces->ranges);
        }
        removeMember(set, node, instance);
        if (!left->ranges.empty())
            addMember(set, node, instance, left);
    }
}

const InstanceSets& Scene::setsOf(const DagNode& node, uint32_t instance) const
{
    if (!node.memberships || instance >= node.memberships->size())
        return kNoSets;
    return (*node.memberships)[instance];
}

std::vector<SetMember> Scene::setMembers(const SetNode& set) const
{
    std::vector<SetMember> out;
    out.reserve(set.members.size());
    std::unordered_set<NodeId> seen;
    for (NodeId id : set.members) {
        const DagNode* member = dag(id);
        if (!member || !member->memberships || !seen.insert(id).second)
            continue;
        for (size_t i = 0; i < member->memberships->size(); ++i)
            for (const Membership& m : (*member->memberships)[i])
                if (m.set == set.id)
                    out.push_back({id, static_cast<uint32_t>(i), m.faces});
    }
    return out;
}

} // namespace kelda
