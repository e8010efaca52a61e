#include <zyOpenSGUtils/zyMaterials.h>

#include "zyForEachNode.h"

#include <zyOpenSGUtils/zyNodeUtils.h>

#include <OpenSG/OSGMaterialDrawable.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSwitchMaterial.h>

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

// -- Names ------------------------------------------------------------------------------------

std::string zyMaterials::getName(const osg::MaterialPtr& material)
{
    const osg::Char8* const name = material == osg::NullFC ? nullptr : osg::getName(material);
    return name == nullptr ? std::string() : std::string(name);
}

void zyMaterials::setName(const osg::MaterialPtr& material, const std::string& name, bool overwrite)
{
    if (material != osg::NullFC && (overwrite || getName(material).empty()))
        osg::setName(material, name);
}

// -- The materials of a scene -----------------------------------------------------------------

static bool isWantedPool(const osg::NodePtr& node, int option)
{
    const osg::MaterialPoolPtr pool = osg::MaterialPoolPtr::dcast(node->getCore());
    return pool != osg::NullFC && (option != zyMaterials::FirstNonEmptyPool || pool->getCount() != 0);
}

osg::NodePtr zyMaterials::findMaterialPool(const osg::NodePtr& root, bool createIfMissing, bool searchSubtree,
                                           int option)
{
    if (root == osg::NullFC)
        return osg::NullFC;
    std::vector<osg::NodePtr> open(1, root);
    while (!open.empty()) {
        const osg::NodePtr node = open.back();
        open.pop_back();
        if (isWantedPool(node, option))
            return node;
        if (!searchSubtree && node != root)
            continue;
        for (osg::UInt32 i = node->getNChildren(); i > 0; --i)
            open.push_back(node->getChild(i - 1));
    }
    if (!createIfMissing)
        return osg::NullFC;

    const osg::NodePtr node = osg::makeNodeFor(osg::MaterialPool::create());
    osg::setName(node, "MaterialPool");
    const osg::CPEditor edit(root, osg::Node::ChildrenFieldMask);
    root->addChild(node);
    return node;
}

namespace
{

// A list of materials that takes each one once.
class MaterialList
{
public:
    explicit MaterialList(std::vector<osg::MaterialPtr>& materials) : _materials(materials)
    {
        for (const osg::MaterialPtr& material : materials)
            _present.insert(material.getCPtr());
    }

    void add(const osg::MaterialPtr& material)
    {
        if (material != osg::NullFC && _present.insert(material.getCPtr()).second)
            _materials.push_back(material);
    }

private:
    std::vector<osg::MaterialPtr>& _materials;
    std::unordered_set<const osg::Material*> _present;
};

} // namespace

void zyMaterials::getMaterials(const osg::NodePtr& root, std::vector<osg::MaterialPtr>& materials)
{
    MaterialList list(materials);
    std::vector<osg::MaterialPtr> pooled;
    zyForEachNode(root, [&](const osg::NodePtr& node) {
        const osg::NodeCorePtr core = node->getCore();
        if (const auto drawable = osg::MaterialDrawablePtr::dcast(core)) {
            list.add(drawable->getMaterial());
        } else if (const auto group = osg::MaterialGroupPtr::dcast(core)) {
            list.add(group->getMaterial());
        } else if (const auto pool = osg::MaterialPoolPtr::dcast(core)) {
            pooled.clear();
            pool->get(pooled);
            for (const osg::MaterialPtr& material : pooled)
                list.add(material);
        }
    });
}

// All wrappers (several passes, a choice, the host's merged materials) list what they wrap in this field.
// Null when the material is none.
static const osg::Field* wrappedBy(const osg::MaterialPtr& material)
{
    return material->getField("materials");
}

void zyMaterials::getRecursiveMaterials(const osg::MaterialPtr& material,
                                        std::vector<osg::MaterialPtr>& materials, bool includeSelf)
{
    if (material == osg::NullFC)
        return;
    std::unordered_set<const osg::Material*> met;
    std::vector<osg::MaterialPtr> open(1, material);
    while (!open.empty()) {
        const osg::MaterialPtr current = open.back();
        open.pop_back();
        if (!met.insert(current.getCPtr()).second)
            continue;
        if (current != material || includeSelf)
            materials.push_back(current);
        const osg::Field* const wrapped = wrappedBy(current);
        if (wrapped == nullptr)
            continue;
        for (osg::UInt32 i = wrapped->getContainerCount(); i > 0; --i) {
            const osg::MaterialPtr inner = osg::MaterialPtr::dcast(wrapped->getContainer(i - 1));
            if (inner != osg::NullFC)
                open.push_back(inner);
        }
    }
}

osg::MaterialPtr zyMaterials::getRealMaterial(const osg::MaterialPtr& material)
{
    osg::MaterialPtr current = material;
    std::unordered_set<const osg::Material*> met; // lists that were filled by hand may go round in circles
    while (current != osg::NullFC && met.insert(current.getCPtr()).second) {
        if (const auto choice = osg::SwitchMaterialPtr::dcast(current)) {
            current = choice->getCurrentMaterial();
            continue;
        }
        const osg::Field* const wrapped = wrappedBy(current);
        if (wrapped == nullptr)
            return current;
        current = osg::MaterialPtr::dcast(wrapped->getContainer(0));
    }
    return osg::NullFC;
}

std::vector<zyNodePtr> zyMaterials::getNodesWithMaterial(const osg::MaterialPtr& material,
                                                         const osg::NodePtr& root)
{
    std::vector<zyNodePtr> nodes;
    if (material == osg::NullFC)
        return nodes;
    std::unordered_map<const osg::Material*, bool> holdsIt; // of each material met
    std::vector<osg::MaterialPtr> parts;
    zyForEachNode(root, [&](const osg::NodePtr& node) {
        const osg::MaterialPtr own = zyNodeUtils::getMaterial(node);
        if (own == osg::NullFC)
            return;
        const auto entry = holdsIt.emplace(own.getCPtr(), false);
        if (entry.second) {
            parts.clear();
            getRecursiveMaterials(own, parts, true);
            entry.first->second = std::find(parts.begin(), parts.end(), material) != parts.end();
        }
        if (entry.first->second)
            nodes.push_back(node);
    });
    return nodes;
}
