#pragma once

#include <OpenSG/OSGMaterial.h>

#include <string>
#include <vector>

/// A material that an export does not carry whole, and the codes that tell why.
struct LossyMaterial {
    std::string name; ///< of the material; legal
    osg::MaterialPtr material;
    std::vector<std::string> codes; ///< in the order of reports; notes, too
};

/// One for each kind of loss at least. Those with a generator of texture coordinates stand apart: a scene
/// with one comes back moved into the world.
std::vector<LossyMaterial> makeLossyMaterials();
std::vector<LossyMaterial> makeLossyProjections();

/// Materials that are carried whole, but for notes.
std::vector<LossyMaterial> makeSoundMaterials();
