#include "CompareTree.h"

#include "Text.h"

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGTransform3D.h>
#include <zyOpenSGUtils/zyNodeUtils.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zyscene
{

namespace
{

// -- The tree that counts --------------------------------------------------------------------------------

/// A node as it counts: a place that holds others, or a geometry without anything below it.
struct TreeNode {
    osg::NodePtr node;
    std::string name;
    osg::Matrix matrix;
    DrawnShape* shape = nullptr; ///< null: not a geometry
    bool shown = true;           ///< itself; those above it are not looked at
    bool isNumbered = false;     ///< by an export: siblings share the name ("g", "g1", "g2"), or it is taken
    std::vector<TreeNode*> children;
};

bool isIdentity(const osg::Matrix& matrix)
{
    return matrix.equals(osg::Matrix::identity(), 1e-6f); // as an import folds transforms
}

class TreeBuilder
{
public:
    TreeBuilder(DrawnScene& scene, bool ignoreInactive) : _scene(scene), _ignoreInactive(ignoreInactive) {}

    /// Null for an empty scene. The nodes live as long as the builder.
    TreeNode* build(const osg::NodePtr& root);

private:
    struct Open {
        osg::NodePtr node;
        TreeNode* parent;
        bool shownByParent;
    };

    TreeNode* add(TreeNode* parent, const osg::NodePtr& node, std::string name, bool shown);
    void addLeaf(TreeNode* parent, const osg::NodePtr& node, DrawnShape* shape, bool shown);
    TreeNode* enter(const Open& open);
    void markNumberedNames();
    TreeNode* fold();

    DrawnScene& _scene;
    const bool _ignoreInactive;
    std::deque<TreeNode> _nodes; ///< parents before their children
};

TreeNode* TreeBuilder::add(TreeNode* parent, const osg::NodePtr& node, std::string name, bool shown)
{
    _nodes.emplace_back();
    TreeNode& added = _nodes.back();
    added.node = node;
    added.name = std::move(name);
    added.shown = shown;
    if (parent != nullptr)
        parent->children.push_back(&added);
    return &added;
}

void TreeBuilder::addLeaf(TreeNode* parent, const osg::NodePtr& node, DrawnShape* shape, bool shown)
{
    add(parent, node, _scene.nameOf(*shape), shown)->shape = shape;
}

// The node to which those below are added; null when they do not count.
TreeNode* TreeBuilder::enter(const Open& open)
{
    const osg::NodeCorePtr core = open.node->getCore();
    const bool active = open.node->getActive();
    if (core == osg::NullFC || (_ignoreInactive && !active))
        return nullptr;

    const bool shown = active && open.shownByParent;
    DrawnShape* const shape = _scene.shapeOf(core);
    const osg::Transform3DPtr own =
        shape != nullptr ? shape->geometry()->getTransform() : osg::Transform3DPtr();
    if (shape != nullptr && own == osg::NullFC && open.node->getNChildren() == 0) {
        addLeaf(open.parent, open.node, shape, shown);
        return nullptr;
    }
    const bool isGroup = osg::GroupPtr::dcast(core) != osg::NullFC;
    const bool isGeometry = osg::GeometryPtr::dcast(core) != osg::NullFC;
    if (open.parent != nullptr && shown && !isGroup && !isGeometry)
        return open.parent;

    TreeNode* const place = add(open.parent, open.node, plainName(zyNodeUtils::getName(open.node)), shown);
    place->matrix = matrixOf(core);
    if (own != osg::NullFC && open.node->getNChildren() == 0) {
        place->matrix = own->getMatrix();
        addLeaf(place, open.node, shape, true);
    } else if (own != osg::NullFC) {
        // The geometry's own transform is not that of what is below its node.
        TreeNode* const inner = add(place, open.node, place->name, true);
        inner->matrix = own->getMatrix();
        addLeaf(inner, open.node, shape, true);
    } else if (shape != nullptr) {
        addLeaf(place, open.node, shape, true);
    }
    return place;
}

TreeNode* TreeBuilder::build(const osg::NodePtr& root)
{
    std::vector<Open> stack;
    if (root != osg::NullFC)
        stack.push_back({root, nullptr, true});
    while (!stack.empty()) {
        const Open open = stack.back();
        stack.pop_back();
        TreeNode* const place = enter(open);
        if (place == nullptr)
            continue;
        for (osg::UInt32 i = open.node->getNChildren(); i > 0; --i)
            stack.push_back({open.node->getChild(i - 1), place, isShownByParent(open.node, i - 1)});
    }
    markNumberedNames();
    return fold();
}

// Before levels are taken out: those have names, too, when an export numbers them.
void TreeBuilder::markNumberedNames()
{
    for (const TreeNode& node : _nodes) {
        std::unordered_map<std::string, unsigned int> counts;
        for (const TreeNode* child : node.children) {
            // A geometry has the name of its shape here; the transform that an export puts above it has the
            // node's.
            const std::string own = plainName(zyNodeUtils::getName(child->node));
            ++counts[own];
            if (own != child->name)
                ++counts[child->name];
        }
        std::unordered_set<std::string> shared;
        for (const auto& count : counts) {
            if (count.second > 1)
                shared.insert(withoutNumber(count.first));
        }
        for (TreeNode* child : node.children) {
            child->isNumbered = _scene.takenNames().count(child->name) != 0 ||
                                (!shared.empty() && shared.count(withoutNumber(child->name)) != 0);
        }
    }
}

// Takes out the levels that count as nothing, from below. What stands in a level's place is kept in its only
// child entry until its parent takes it over.
TreeNode* TreeBuilder::fold()
{
    std::unordered_map<TreeNode*, TreeNode*> standIn;
    for (auto at = _nodes.rbegin(); at != _nodes.rend(); ++at) {
        TreeNode& node = *at;
        for (TreeNode*& child : node.children) {
            const auto found = standIn.find(child);
            if (found != standIn.end())
                child = found->second;
        }
        if (node.shape == nullptr && node.children.size() == 1 && isIdentity(node.matrix)) {
            node.children[0]->shown = node.children[0]->shown && node.shown;
            standIn.emplace(&node, node.children[0]);
        }
    }
    if (_nodes.empty())
        return nullptr;
    const auto root = standIn.find(&_nodes.front());
    return root != standIn.end() ? root->second : &_nodes.front();
}

// -- Comparison ------------------------------------------------------------------------------------------

class TreeComparison
{
public:
    TreeComparison(const CompareOptions& options, double tolerance, double size,
                   std::vector<Difference>& result)
        : _options(options), _tolerance(tolerance), _relative(size > 0 ? tolerance / size : defaultTolerance),
          _result(result)
    {
    }

    void run(TreeNode* first, TreeNode* second);

private:
    struct Pair {
        TreeNode* first;
        TreeNode* second;
        bool reportNames; ///< they differ
    };

    void comparePair(const Pair& pair);
    void pairChildren(const TreeNode& first, const TreeNode& second);
    void pairByName(std::vector<TreeNode*>& first, std::vector<TreeNode*>& second);
    void report(const TreeNode* first, const TreeNode* second, std::string text)
    {
        _result.push_back({Difference::Structure, first != nullptr ? first->node : osg::NodePtr(),
                           second != nullptr ? second->node : osg::NodePtr(), std::move(text)});
    }
    bool agree(const osg::Matrix& first, const osg::Matrix& second) const;

    const CompareOptions& _options;
    const double _tolerance; ///< of places
    const double _relative;  ///< of factors
    std::vector<Difference>& _result;
    std::vector<Pair> _open;
};

bool TreeComparison::agree(const osg::Matrix& first, const osg::Matrix& second) const
{
    double largest = 1;
    for (const osg::Matrix* matrix : {&first, &second}) {
        for (unsigned int i = 0; i < 16; ++i) {
            if (std::isfinite(matrix->getValues()[i]))
                largest = std::max<double>(largest, std::fabs(matrix->getValues()[i]));
        }
    }
    for (unsigned int i = 0; i < 16; ++i) {
        const double a = first.getValues()[i];
        const double b = second.getValues()[i];
        // The fourth column is a place, the others are factors.
        const double factor = _relative * largest;
        const double tolerance = i < 12 ? factor : std::max(_tolerance, factor);
        if (a != b && !(std::fabs(a - b) <= tolerance) && !(std::isnan(a) && std::isnan(b)))
            return false;
    }
    return true;
}

void TreeComparison::run(TreeNode* first, TreeNode* second)
{
    if (first == nullptr || second == nullptr) {
        if (first != second)
            report(first, second,
                   first != nullptr ? "the second scene is empty" : "the first scene is empty");
        return;
    }
    // A root bears the name of its file.
    _open.push_back({first, second, false});
    while (!_open.empty()) {
        const Pair pair = _open.back();
        _open.pop_back();
        comparePair(pair);
    }
}

void TreeComparison::comparePair(const Pair& pair)
{
    const TreeNode& first = *pair.first;
    const TreeNode& second = *pair.second;
    if (pair.reportNames)
        report(&first, &second, "named '" + first.name + "' and '" + second.name + "'");
    if ((first.shape != nullptr) != (second.shape != nullptr)) {
        report(&first, &second, first.shape != nullptr ? "a geometry and a group" : "a group and a geometry");
        return;
    }
    if (first.shown != second.shown)
        report(&first, &second, first.shown ? "active and inactive" : "inactive and active");
    if (!agree(first.matrix, second.matrix))
        report(&first, &second, "other matrix");
    pairChildren(first, second);
}

// Equal, or made different by the numbering of siblings.
bool namesAgree(const TreeNode& a, const TreeNode& b)
{
    return a.name == b.name ||
           ((a.isNumbered || b.isNumbered) && withoutNumber(a.name) == withoutNumber(b.name));
}

void TreeComparison::pairChildren(const TreeNode& first, const TreeNode& second)
{
    const std::size_t begin = _open.size();
    const auto pair = [this](TreeNode* a, TreeNode* b) {
        _open.push_back({a, b, _options.names && !namesAgree(*a, *b)});
    };

    // Those at the same place among their siblings, then those of the same name, then what is left.
    std::vector<TreeNode*> firstRest;
    std::vector<TreeNode*> secondRest;
    for (std::size_t i = 0; i < std::max(first.children.size(), second.children.size()); ++i) {
        TreeNode* const a = i < first.children.size() ? first.children[i] : nullptr;
        TreeNode* const b = i < second.children.size() ? second.children[i] : nullptr;
        if (a != nullptr && b != nullptr && (!_options.names || namesAgree(*a, *b))) {
            pair(a, b);
            continue;
        }
        if (a != nullptr)
            firstRest.push_back(a);
        if (b != nullptr)
            secondRest.push_back(b);
    }
    if (_options.names)
        pairByName(firstRest, secondRest);
    const std::size_t common = std::min(firstRest.size(), secondRest.size());
    for (std::size_t i = 0; i < common; ++i)
        pair(firstRest[i], secondRest[i]);

    // The last one is looked at first: reports follow the order of the first scene.
    std::reverse(_open.begin() + static_cast<std::ptrdiff_t>(begin), _open.end());
    for (std::size_t i = common; i < firstRest.size(); ++i)
        report(firstRest[i], nullptr,
               "in the first only, with " + plural(firstRest[i]->children.size(), "child node"));
    for (std::size_t i = common; i < secondRest.size(); ++i)
        report(nullptr, secondRest[i],
               "in the second only, with " + plural(secondRest[i]->children.size(), "child node"));
}

// Takes out of both rows what has a partner of the same name in the other.
void TreeComparison::pairByName(std::vector<TreeNode*>& first, std::vector<TreeNode*>& second)
{
    std::unordered_map<std::string, std::deque<std::size_t>> places;
    for (std::size_t i = 0; i < second.size(); ++i)
        places[second[i]->name].push_back(i);
    const auto isPaired = [&](TreeNode* child) {
        const auto found = places.find(child->name);
        if (found == places.end() || found->second.empty())
            return false;
        TreeNode*& partner = second[found->second.front()];
        found->second.pop_front();
        _open.push_back({child, partner, false});
        partner = nullptr;
        return true;
    };
    first.erase(std::remove_if(first.begin(), first.end(), isPaired), first.end());
    second.erase(std::remove(second.begin(), second.end(), nullptr), second.end());
}

} // namespace

void compareTrees(DrawnScene& firstScene, const osg::NodePtr& first, DrawnScene& secondScene,
                  const osg::NodePtr& second, const CompareOptions& options, double tolerance,
                  std::vector<Difference>& result)
{
    TreeBuilder firstTree(firstScene, options.ignoreInactive);
    TreeBuilder secondTree(secondScene, false);
    TreeNode* const firstRoot = firstTree.build(first);
    TreeNode* const secondRoot = secondTree.build(second);
    const double size = std::max(firstScene.size(), secondScene.size());
    TreeComparison(options, tolerance, size, result).run(firstRoot, secondRoot);
}

} // namespace zyscene
