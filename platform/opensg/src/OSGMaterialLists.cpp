#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGSwitchMaterial.h>

#include <unordered_set>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(MultiPassMaterial, nullptr)
OSG_FIELD_CONTAINER_INST(SwitchMaterial, nullptr)

// -- What stands at the end -------------------------------------------------------------------

// Materials may be nested to any depth: nothing here recurses.

/// The first material that is no switch on the way of chosen ones.
static MaterialPtr chosenOf(MaterialPtr material)
{
    for (;;) {
        const SwitchMaterialPtr choice = SwitchMaterialPtr::dcast(material);
        if (!choice) {
            return material;
        }
        material = choice->getCurrentMaterial();
    }
}

/// The material that draws the first pass.
static MaterialPtr firstOf(MaterialPtr material)
{
    for (;;) {
        material = chosenOf(material);
        const MultiPassMaterialPtr passes = MultiPassMaterialPtr::dcast(material);
        if (!passes) {
            return material;
        }
        material = passes->getMaterials().empty() ? MaterialPtr() : passes->getMaterials(0);
    }
}

static bool isAnyTransparent(const MaterialPtr& outer)
{
    std::unordered_set<const Material*> met;
    std::vector<MaterialPtr> open(1, outer);
    while (!open.empty()) {
        const MaterialPtr material = open.back();
        open.pop_back();
        if (!material || !met.insert(material.getCPtr()).second) {
            continue;
        }
        const MultiPassMaterialPtr passes = MultiPassMaterialPtr::dcast(material);
        const SwitchMaterialPtr choice = SwitchMaterialPtr::dcast(material);
        if (!passes && !choice) {
            if (material->isTransparent()) {
                return true;
            }
        } else if (material->getTransparencyMode() == Material::TransparencyForceTransparent) {
            return true;
        } else if (material->getTransparencyMode() == Material::TransparencyAutoDetection) {
            if (choice) {
                open.push_back(choice->getCurrentMaterial());
            } else {
                open.insert(open.end(), passes->getMaterials().begin(), passes->getMaterials().end());
            }
        }
    }
    return false;
}

// -- MultiPassMaterial ------------------------------------------------------------------------

void MultiPassMaterial::addMaterial(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    if (!material || holds(material, this)) {
        return;
    }
    acquire(material, false);
    _mfMaterials.push_back(material);
}

void MultiPassMaterial::subMaterial(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    const auto found = _mfMaterials.find(material);
    if (found == _mfMaterials.end()) {
        SWARNING << "MultiPassMaterial::subMaterial: the material is not here" << std::endl;
        return;
    }
    const MaterialPtr removed = *found;
    _mfMaterials.erase(found);
    release(removed, false);
}

bool MultiPassMaterial::hasMaterial(const MaterialPtr& material) const
{
    return _mfMaterials.find(material) != _mfMaterials.end();
}

StatePtr MultiPassMaterial::makeState()
{
    return NullFC;
}

void MultiPassMaterial::rebuildState() {}

StatePtr MultiPassMaterial::getState(UInt32 pass)
{
    const MaterialPtr first = pass < _mfMaterials.size() ? firstOf(_mfMaterials[pass]) : MaterialPtr();
    return first ? first->getState() : StatePtr();
}

UInt32 MultiPassMaterial::getNPasses() const
{
    return _mfMaterials.size();
}

bool MultiPassMaterial::isTransparent() const
{
    return isAnyTransparent(MaterialPtr(*this));
}

// -- SwitchMaterial ---------------------------------------------------------------------------

void SwitchMaterial::addMaterial(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    if (!material || holds(material, this)) {
        return;
    }
    acquire(material, false);
    _mfMaterials.push_back(material);
}

void SwitchMaterial::subMaterial(const MaterialPtr& material)
{
    checkEdit(MaterialsFieldMask);
    const auto found = _mfMaterials.find(material);
    if (found == _mfMaterials.end()) {
        SWARNING << "SwitchMaterial::subMaterial: the material is not here" << std::endl;
        return;
    }
    const MaterialPtr removed = *found;
    _mfMaterials.erase(found);
    release(removed, false);
}

bool SwitchMaterial::hasMaterial(const MaterialPtr& material) const
{
    return _mfMaterials.find(material) != _mfMaterials.end();
}

MaterialPtr SwitchMaterial::getCurrentMaterial() const
{
    return getChoice() < _mfMaterials.size() ? _mfMaterials[getChoice()] : MaterialPtr();
}

StatePtr SwitchMaterial::makeState()
{
    const MaterialPtr chosen = chosenOf(MaterialPtr(*this));
    return chosen ? chosen->makeState() : StatePtr();
}

void SwitchMaterial::rebuildState() {}

StatePtr SwitchMaterial::getState(UInt32 pass)
{
    const MaterialPtr chosen = chosenOf(MaterialPtr(*this));
    return chosen ? chosen->getState(pass) : StatePtr();
}

bool SwitchMaterial::isMultiPass() const
{
    const MaterialPtr chosen = chosenOf(MaterialPtr(*this));
    return chosen && chosen->isMultiPass();
}

UInt32 SwitchMaterial::getNPasses() const
{
    const MaterialPtr chosen = chosenOf(MaterialPtr(*this));
    return chosen ? chosen->getNPasses() : 0;
}

bool SwitchMaterial::isTransparent() const
{
    return isAnyTransparent(MaterialPtr(*this));
}

OSG_END_NAMESPACE
