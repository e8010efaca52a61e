#include <zyOpenSGUtils/zyNodeUtils.h>

#include "zyForEachNode.h"
#include "zyGeometryRepair.h"

#include <zyUtils/zyLog.h>

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <unordered_set>
#include <utility>

// -- Names ------------------------------------------------------------------------------------

static std::string makeUnique(const osg::NodePtr& node, const std::string& name, const osg::NodePtr& below)
{
    std::unordered_set<std::string> taken;
    zyForEachNode(below, [&](const osg::NodePtr& other) {
        if (other != node)
            taken.insert(zyNodeUtils::getName(other));
    });
    std::string result = name;
    for (unsigned int number = 1; taken.count(result) != 0; ++number)
        result = name + "_" + std::to_string(number);
    return result;
}

void zyNodeUtils::setName(const osg::NodePtr& node, const std::string& name, bool overwrite,
                          const osg::NodePtr& uniqueBelow)
{
    if (node == osg::NullFC || (!overwrite && !getName(node).empty()))
        return;
    osg::setName(node, uniqueBelow == osg::NullFC ? name : makeUnique(node, name, uniqueBelow));
}

std::string zyNodeUtils::getName(const osg::NodePtr& node)
{
    const osg::Char8* const name = node == osg::NullFC ? nullptr : osg::getName(node);
    return name == nullptr ? std::string() : std::string(name);
}

// -- Materials --------------------------------------------------------------------------------

osg::MaterialPtr zyNodeUtils::getMaterial(const osg::NodePtr& node)
{
    if (node == osg::NullFC)
        return osg::NullFC;
    const osg::NodeCorePtr core = node->getCore();
    if (const auto drawable = osg::MaterialDrawablePtr::dcast(core))
        return drawable->getMaterial();
    if (const auto group = osg::MaterialGroupPtr::dcast(core))
        return group->getMaterial();
    return osg::NullFC;
}

// -- Structure --------------------------------------------------------------------------------

static bool isAtOrAbove(const osg::NodePtr& upper, osg::NodePtr node)
{
    while (node != osg::NullFC && node != upper)
        node = node->getParent();
    return node == upper;
}

bool zyNodeUtils::insertParentNode(const osg::NodePtr& node, const osg::NodePtr& parent)
{
    if (node == osg::NullFC || parent == osg::NullFC)
        return false;
    // The arguments may refer to entries of the very child lists that change here.
    osg::NodePtr child = node;
    osg::NodePtr inserted = parent;
    osg::NodePtr grandparent = child->getParent();
    if (grandparent == inserted)
        return true;
    if (isAtOrAbove(child, inserted) || isAtOrAbove(inserted, child))
        return false;

    if (grandparent != osg::NullFC) {
        osg::addRefCP(child); // outlives the moment without a parent
        osg::NodePtr formerParent = inserted->getParent();
        if (formerParent != osg::NullFC) {
            osg::addRefCP(inserted);
            const osg::CPEditor edit(formerParent, osg::Node::ChildrenFieldMask);
            formerParent->subChild(inserted);
        }
        {
            const osg::CPEditor edit(grandparent, osg::Node::ChildrenFieldMask);
            grandparent->replaceChild(static_cast<osg::UInt32>(grandparent->findChild(child)), inserted);
        }
        if (formerParent != osg::NullFC)
            osg::subRefCP(inserted);
    }
    {
        const osg::CPEditor edit(inserted, osg::Node::ChildrenFieldMask);
        inserted->addChild(child);
    }
    if (grandparent != osg::NullFC)
        osg::subRefCP(child);
    return true;
}

// -- Geometry repair --------------------------------------------------------------------------

static zyNodeUtils::RepairObserver& repairObserver()
{
    static zyNodeUtils::RepairObserver observer;
    return observer;
}

unsigned int zyNodeUtils::repairGeometry(const osg::NodePtr& root)
{
    unsigned int repairs = 0;
    std::unordered_set<const void*> shared; // cores with several parents that were looked at
    zyForEachNode(root, [&](const osg::NodePtr& node) {
        const osg::GeometryPtr geo = osg::GeometryPtr::dcast(node->getCore());
        if (geo == osg::NullFC || (geo->getParents().size() > 1 && !shared.insert(geo.getCPtr()).second))
            return;
        zyGeometryDamage damage;
        if (!zyRepairGeometry(geo, damage))
            return;
        repairs += damage.repairs();
        const Repair report = {getName(node), damage.description(), damage.droppedPrimitives(),
                               damage.triangles};
        zyLog::warning("Geometry of '%s' repaired: %s.", report.nodeName.c_str(), report.what.c_str());
        if (repairObserver())
            repairObserver()(report);
    });
    return repairs;
}

zyNodeUtils::RepairObserver zyNodeUtils::setRepairObserver(RepairObserver observer)
{
    std::swap(observer, repairObserver());
    return observer;
}
