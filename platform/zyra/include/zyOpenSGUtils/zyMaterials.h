#ifndef ZYMATERIALS_H
#define ZYMATERIALS_H

#include <zyOpenSGUtils/zyNodePtr.h>
#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGNode.h>

#include <string>
#include <vector>

/// Operations on materials and on the materials of a scene. Null materials and nodes are accepted everywhere.
class ZYOPENSGUTILS_API zyMaterials
{
public:
    /// @name Names
    /// @{

    /// The material's name; "" when it has none.
    static std::string getName(const osg::MaterialPtr& material);

    /// Names the material.
    /// @param overwrite  whether a name that is there already, and is not empty, is replaced.
    static void setName(const osg::MaterialPtr& material, const std::string& name, bool overwrite);

    /// @}
    /// @name The materials of a scene
    /// @{

    /// Which pool findMaterialPool() takes.
    enum PoolOption {
        FirstPool = 0,        ///< the first one, with or without materials
        FirstNonEmptyPool = 1 ///< the first one that holds a material
    };

    /// Looks for a node with an `osg::MaterialPool` core, depth first from `root` on.
    /// @param createIfMissing  adds a pool named "MaterialPool" as the last child of `root` when none is
    ///                         found.
    /// @param searchSubtree    looks at everything below `root`, otherwise only at `root` and its children.
    /// @param option           a PoolOption; any other value is taken as FirstPool.
    /// @return the pool's node, or a null node.
    static osg::NodePtr findMaterialPool(const osg::NodePtr& root, bool createIfMissing, bool searchSubtree,
                                         int option);

    /// Appends every material that is used at or below `root` (by material groups, in pools, on drawables) to
    /// `materials`, each one once and in the order of its first use, depth first. What is in the list already
    /// is not appended again.
    static void getMaterials(const osg::NodePtr& root, std::vector<osg::MaterialPtr>& materials);

    /// Appends the materials that `material` is made of: those that it wraps, the ones that these wrap, and
    /// so on, depth first, each wrapper before what it wraps and each material once.
    /// @param includeSelf  whether `material` itself is appended too, in front.
    static void getRecursiveMaterials(const osg::MaterialPtr& material,
                                      std::vector<osg::MaterialPtr>& materials, bool includeSelf);

    /// The material that carries the look: `material` itself, or, of one that is made of others, the chosen
    /// one of a switch and the first one of all other kinds, and so on down to one that is made of none.
    /// @return null when `material` is null, or a material on the way lists or chooses none.
    static osg::MaterialPtr getRealMaterial(const osg::MaterialPtr& material);

    /// The nodes at and below `root` that give this material to what they draw: drawables and material groups
    /// that have it, alone or as one of those that their material is made of, depth first. None for a null
    /// material.
    static std::vector<zyNodePtr> getNodesWithMaterial(const osg::MaterialPtr& material,
                                                       const osg::NodePtr& root);

    /// @}
};

#endif
