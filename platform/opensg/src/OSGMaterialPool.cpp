#include <OpenSG/OSGMaterialPool.h>

#include <OpenSG/OSGAction.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMaterialDrawable.h>
#include <OpenSG/OSGMaterialGroup.h>

#include <algorithm>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(MaterialPool, nullptr)

/// Calls \a use for every material used below \a root, in the order of the nodes; null ones and repetitions
/// included.
template <class UseT>
static void forEachMaterial(const NodePtr& root, const UseT& use)
{
    traverse(root, [&use](NodePtr& node) {
        const NodeCorePtr core = node->getCore();
        if (const MaterialGroupPtr group = MaterialGroupPtr::dcast(core)) {
            use(group->getMaterial());
        } else if (const MaterialDrawablePtr drawable = MaterialDrawablePtr::dcast(core)) {
            use(drawable->getMaterial());
        } else if (const MaterialPoolPtr pool = MaterialPoolPtr::dcast(core)) {
            for (UInt32 i = 0; i < pool->getCount(); ++i) {
                use(pool->get(i));
            }
        }
        return Action::Continue;
    });
}

void MaterialPool::add(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    if (material && _materials.insert(material).second) {
        acquire(material, false);
        _mfMaterials.push_back(material);
    }
}

void MaterialPool::add(const NodePtr& root)
{
    std::vector<MaterialPtr> used; // collected first: this pool itself may stand below the root
    forEachMaterial(root, [&used](const MaterialPtr& material) { used.push_back(material); });
    for (const MaterialPtr& material : used) {
        add(material);
    }
}

void MaterialPool::add(const MaterialPoolPtr& pool)
{
    if (pool && pool.getCPtr() != this) {
        for (UInt32 i = 0; i < pool->getCount(); ++i) {
            add(pool->get(i));
        }
    }
}

void MaterialPool::sub(const MaterialPtr& material)
{
    const Int32 i = find(material);
    if (i < 0) {
        SWARNING << "MaterialPool::sub: the material is not in this pool" << std::endl;
        return;
    }
    sub(UInt32(i));
}

void MaterialPool::sub(UInt32 index)
{
    checkEdit(MaterialsFieldMask);
    const MaterialPtr removed = _mfMaterials[index];
    _mfMaterials.erase(_mfMaterials.begin() + index);
    _materials.erase(removed);
    release(removed, false);
}

void MaterialPool::subAll(const std::set<MaterialPtr>& materials)
{
    checkEdit(MaterialsFieldMask);
    const auto kept = std::stable_partition(
        _mfMaterials.begin(), _mfMaterials.end(),
        [&materials](const MaterialPtr& material) { return materials.count(material) == 0; });
    const std::vector<MaterialPtr> removed(kept, _mfMaterials.end());
    _mfMaterials.erase(kept, _mfMaterials.end());
    for (const MaterialPtr& material : removed) {
        _materials.erase(material);
        release(material, false);
    }
}

void MaterialPool::sub(const NodePtr& root)
{
    std::set<MaterialPtr> used;
    forEachMaterial(root, [&used](const MaterialPtr& material) { used.insert(material); });
    subAll(used);
}

void MaterialPool::sub(const MaterialPoolPtr& pool)
{
    if (pool) {
        subAll(std::set<MaterialPtr>(pool->_mfMaterials.begin(), pool->_mfMaterials.end()));
    }
}

void MaterialPool::clear()
{
    checkEdit(MaterialsFieldMask);
    MFMaterialPtr removed;
    removed.swap(_mfMaterials);
    _materials.clear();
    for (const MaterialPtr& material : removed) {
        release(material, false);
    }
}

Int32 MaterialPool::find(const MaterialPtr& material) const
{
    const auto found = _mfMaterials.find(material);
    return found == _mfMaterials.end() ? -1 : Int32(found - _mfMaterials.begin());
}

void MaterialPool::get(std::vector<MaterialPtr>& materials) const
{
    materials.assign(_mfMaterials.begin(), _mfMaterials.end());
}

void MaterialPool::sync()
{
    if (_materials.size() != _mfMaterials.size()) {
        _materials = std::set<MaterialPtr>(_mfMaterials.begin(), _mfMaterials.end());
    }
}

void MaterialPool::changed(BitVector mask, UInt32 origin)
{
    if (mask & MaterialsFieldMask) {
        sync();
    }
    Inherited::changed(mask, origin);
}

OSG_END_NAMESPACE
