#pragma once

#include "Loss.h"
#include "MaterialLook.h"

#include <OpenSG/OSGColor.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGVector.h>

#include <bitset>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zyscene
{

/// A material as it comes back from an export to a Kelda scene and an import of that.
struct WrittenMaterial {
    osg::MaterialPtr source; ///< made of no others; referenced by the list that this is in
    std::string name;        ///< legal
    bool unmade = false;     ///< the source has no colours: they are those of a new shader
    bool measured = false;   ///< the source is a UBRDFMaterial

    osg::Color3f ambient;
    osg::Color3f diffuse;
    osg::Color3f specular;
    float shininess = 0;
    float opacity = 1;

    osg::ImagePtr image;    ///< null: none
    std::string imageFile;  ///< "wood.png"; empty: no image is written
    bool connected = false; ///< the image is seen
    bool projected = false; ///< along these planes
    bool unplaced = false;  ///< the planes are those of no placement
    osg::Vec4f sPlane;
    osg::Vec4f tPlane;

    std::bitset<lossCount> losses;
    std::string imageOwner; ///< with Loss::ImageName: "wood.png of 'table'"
};

/// The materials of one export, in its order.
class WrittenMaterials
{
public:
    WrittenMaterials() = default;
    ~WrittenMaterials();
    WrittenMaterials(const WrittenMaterials&) = delete;
    WrittenMaterials& operator=(const WrittenMaterials&) = delete;

    /// The material that carries the look of one, as an export resolves it; never null.
    static osg::MaterialPtr resolve(const osg::MaterialPtr& material);

    /// Takes in the material of a mesh that is written, already resolved.
    void add(const osg::MaterialPtr& material);

    /// An import will not find the placement of the material's projection.
    void unplace(const osg::MaterialPtr& material);

    /// Works out what all of them share, and what is lost. Nothing is added afterwards.
    void finish();

    const std::vector<WrittenMaterial>& all() const { return _all; }
    /// Of a material that was added.
    const WrittenMaterial& of(const osg::MaterialPtr& material) const
    {
        return _all[_places.at(material.getBaseCPtr())];
    }

    /// The material that comes back for one that was added; made at the first call.
    osg::MaterialPtr make(const osg::MaterialPtr& material);

    /// The look of any material, looked at once. The material has to stay.
    const MaterialLook& lookOf(const osg::MaterialPtr& material);

private:
    void shareImages();
    void findLosses(WrittenMaterial& written);

    LookReader _reader;
    std::unordered_map<const void*, MaterialLook> _looks;
    std::unordered_map<const void*, std::size_t> _places; ///< in _all, by source
    std::vector<WrittenMaterial> _all;
    std::unordered_map<std::size_t, osg::MaterialPtr> _made; ///< referenced
    std::unordered_set<std::string> _names;
};

} // namespace zyscene
