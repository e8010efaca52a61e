#include "kelda/KItDag.h"

#include "api/Api.h"

using namespace kelda;

KItDag::KItDag(TraversalType type, KFn::Type filter, KStatus* status)
    : _type(type), _filter(filter), _done(true), _pruned(false), _queueAt(0)
{
    if (give(status, enter("KItDag::KItDag")).error())
        return;
    if (type != kDepthFirst && type != kBreadthFirst) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return;
    }
    give(status, reset());
}

KItDag::~KItDag() = default;

KStatus KItDag::reset()
{
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    if (_type == kInvalidType)
        return KStatus::kInvalidParameter;
    _path = KDagPath::adopt(Scene::current().paths().world());
    _levels.assign(1, Level{kWorld, 0});
    _queue.clear();
    _queueAt = 0;
    _pruned = false;
    _done = false;
    next();
    return KStatus::kSuccess;
}

bool KItDag::matches() const
{
    return _filter == KFn::kInvalid || _path.hasFn(_filter);
}

KStatus KItDag::next()
{
    if (_done)
        return KStatus::kFailure;
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    do {
        _done = !_path.isValid() || !step();
    } while (!_done && !matches());
    if (_done)
        _path = KDagPath();
    return KStatus::kSuccess;
}

/// Goes to one more child of the node at this level, when it has one.
bool KItDag::stepDown(unsigned node)
{
    Scene& scene = Scene::current();
    const std::vector<NodeId>& children = scene.dag(node)->children;
    unsigned& at = _levels.back().nextChild;
    if (at >= children.size())
        return false;
    const NodeId child = children[at++];
    _path = KDagPath::adopt(scene.paths().step(_path.cell(), child));
    return true;
}

bool KItDag::step()
{
    if (_type == kBreadthFirst) {
        if (!_pruned)
            _queue.push_back(_path);
        _pruned = false;
        // The children of the first path in the queue, one by one; _levels holds how far it has got.
        while (_queueAt < _queue.size()) {
            _path = _queue[_queueAt];
            if (const DagNode* at = dagOf(_path))
                if (stepDown(at->id))
                    return true;
            _queue[_queueAt++] = KDagPath();
            _levels.back().nextChild = 0;
        }
        return false;
    }
    if (_pruned) {
        _pruned = false;
        _levels.pop_back();
        KDagPathCell* above = _path.cell()->parent;
        ++above->refs;
        _path = KDagPath::adopt(above);
    }
    while (!_levels.empty()) {
        if (stepDown(_levels.back().node)) {
            _levels.push_back(Level{_path.cell()->node, 0});
            return true;
        }
        _levels.pop_back();
        if (_levels.empty())
            return false;
        KDagPathCell* above = _path.cell()->parent;
        ++above->refs;
        _path = KDagPath::adopt(above);
    }
    return false;
}

KStatus KItDag::prune()
{
    if (_done)
        return KStatus::kFailure;
    _pruned = true;
    return KStatus::kSuccess;
}

KStatus KItDag::getPath(KDagPath& path) const
{
    const KStatus entered = enter("KItDag::getPath");
    if (entered.error())
        return entered;
    if (_done || !_path.isValid())
        return KStatus::kFailure;
    path = _path;
    return KStatus::kSuccess;
}

KObject KItDag::currentItem(KStatus* status) const
{
    return _path.node(status);
}

unsigned KItDag::depth(KStatus* status) const
{
    return _path.length(status);
}
