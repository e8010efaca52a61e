#include "zyKeldaLoader.h"

#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSwitch.h>

#include <kelda/KCommandResult.h>
#include <kelda/KDagPathArray.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatVectorArray.h>
#include <kelda/KFn.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnSet.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KItDag.h>
#include <kelda/KItMeshPolygon.h>
#include <kelda/KMatrix.h>
#include <kelda/KObjectArray.h>
#include <kelda/KPlug.h>
#include <kelda/KPoint.h>
#include <kelda/KPointArray.h>
#include <kelda/KQuaternion.h>
#include <kelda/KStringArray.h>
#include <kelda/KVector.h>

#include <zyInterfaces/zyInterfaceFactory.h>
#include <zyInterfaces/zyReferenceInterface.h>
#include <zyOpenSGExt/zyValuePair.h>
#include <zyOpenSGUtils/zyGeoOptimizer.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyOpenSGUtils/zyOptimize.h>
#include <zyUtils/zyFile.h>
#include <zyUtils/zyLog.h>
#include <zyUtils/zyString.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <typeindex>

// -- Options and members ---------------------------------------------------------------------------

namespace
{
// Each switch is recognised by the text that sets its non-default value, and by that text alone.
struct SwitchOption {
    const char* text;
    bool zyKeldaLoader::*member;
    bool value;
};

const char unitsKey[] = "importunits=";
} // namespace

// Multiply and fold: each step spreads eight bytes over the whole word.
std::size_t zyKeldaLoader::NameHash::operator()(const std::string& name) const
{
    const std::uint64_t factor = 0x9e3779b97f4a7c15u;
    std::uint64_t hash = name.size() * factor;
    const char* bytes = name.data();
    std::size_t left = name.size();
    for (; left >= sizeof(std::uint64_t); left -= sizeof(std::uint64_t), bytes += sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof(word));
        hash = (hash ^ word) * factor;
        hash ^= hash >> 32;
    }
    std::uint64_t rest = 0;
    std::memcpy(&rest, bytes, left);
    hash = (hash ^ rest) * factor;
    return static_cast<std::size_t>(hash ^ (hash >> 32));
}

zyKeldaLoader::zyKeldaLoader(const std::string& fileName, const std::string& options)
    : _fullFileName(fileName), _fileName(zyFile::getFileName(fileName)), _options(options),
      _filePath(zyFile::getFilePath(fileName)), _baseName(zyFile::getBaseName(fileName)),
      _materialLibraryFile(_filePath + "\\" + _baseName + "_material_library.osb"),
      _multitextureEnvCombiner(false), _forceGrayscaleShadowTexture(true), _autoLoadShadowGeometry(true),
      _shadowGeometry(false), _shadowMerge(true), _useLocalMaterialLibrary(false), _unitScale(1.0f)
{
    static const SwitchOption switches[] = {
        {"multitextureEnvCombiner=true", &zyKeldaLoader::_multitextureEnvCombiner, true},
        {"forceGrayscaleShadowTexture=false", &zyKeldaLoader::_forceGrayscaleShadowTexture, false},
        {"autoLoadShadowGeometry=false", &zyKeldaLoader::_autoLoadShadowGeometry, false},
        {"shadowGeometry=true", &zyKeldaLoader::_shadowGeometry, true},
        {"shadowMerge=false", &zyKeldaLoader::_shadowMerge, false},
        {"useLocalMaterialLibrary=true", &zyKeldaLoader::_useLocalMaterialLibrary, true},
    };

    if (_options.empty())
        return;
    for (const SwitchOption& option : switches) {
        if (_options.find(option.text) != std::string::npos)
            this->*option.member = option.value;
    }

    const std::string::size_type key = _options.find(unitsKey);
    if (key != std::string::npos) {
        _importUnits.clear();
        for (std::string::size_type i = key + sizeof(unitsKey) - 1; i < _options.size(); ++i) {
            if (!std::isalpha(static_cast<unsigned char>(_options[i])))
                break;
            _importUnits += _options[i];
        }
    }
}

zyKeldaLoader::zyKeldaLoader(const zyKeldaLoader& other) = default;
zyKeldaLoader& zyKeldaLoader::operator=(const zyKeldaLoader& other) = default;
zyKeldaLoader::~zyKeldaLoader() = default;

// -- Import driver ---------------------------------------------------------------------------------

namespace
{
// Makes a directory the process's current one and restores the former one on every way out.
class ScopedCurrentDir
{
public:
    explicit ScopedCurrentDir(const std::string& dir)
        : _former(zyFile::getCurrentDir()), _entered(zyFile::setCurrentDir(dir))
    {
    }
    ~ScopedCurrentDir() { zyFile::setCurrentDir(_former); }
    ScopedCurrentDir(const ScopedCurrentDir&) = delete;
    ScopedCurrentDir& operator=(const ScopedCurrentDir&) = delete;

    bool entered() const { return _entered; }

private:
    std::string _former;
    bool _entered;
};

// The host's reference interface, looked up once per process. The host always provides one.
zyReferenceInterface* referenceInterface()
{
    static zyReferenceInterface* const found = static_cast<zyReferenceInterface*>(
        zyInterfaceFactory::the()->get(std::type_index(typeid(zyReferenceInterface))));
    return found;
}
} // namespace

osg::NodePtr zyKeldaLoader::read(const std::string& fileName, const std::string& options)
{
    if (fileName.empty())
        return osg::NullFC;
    zyKeldaLoader loader(fileName, options);
    return loader.read();
}

osg::NodePtr zyKeldaLoader::read()
{
    KFileIO::newFile(true);
    osg::SceneFileHandler::the()->updateReadProgress(0);

    {
        const ScopedCurrentDir inSceneDir(_filePath); // the SDK is given the bare file name
        if (!openScene(inSceneDir.entered()))
            return osg::NullFC;
        if (_autoLoadShadowGeometry)
            addShadowScene();
    }

    calcUnit();
    stripHistory();
    loadMaterialLibrary();
    createRoot();
    walkScenegraph();
    postProcessAddUnitScale();
    unloadMaterialLibrary();

    // Deliberate order: the scene is emptied first, the history command runs on the empty scene.
    KFileIO::newFile(true);
    KGlobal::executeCommand("delete -ch", false, false);

    zyLog::info("Kelda import: validating geometry ...");
    zyNodeUtils::repairGeometry(_root);

    zyLog::info("Kelda import: optimizing geometry ...");
    zyGeoOptimizer optimizer(true);
    optimizer.setUnifyVertices(true);
    optimizer.run(_root);

    _root = referenceInterface()->processImportRoot(_root, _fullFileName);
    if (zyNodeUtils::getName(_root) == "RootNode")
        zyNodeUtils::setName(_root, _baseName, true, osg::NullFC);

    osg::SceneFileHandler::the()->updateReadProgress(100);
    return _root;
}

// A directory that is not there fails like a file that is not: the bare name must not be found somewhere
// else.
bool zyKeldaLoader::openScene(bool inSceneDir)
{
    zyLog::info("Kelda import: reading '%s' ...", _fileName.c_str());

    const std::string suffix = zyString::toLower(zyFile::getExtension(_fileName));
    KStatus status;
    if (!inSceneDir)
        status = KStatus::kFailure;
    else if (suffix == "kb" || suffix == "ka")
        status = KFileIO::open(_fileName.c_str(), nullptr, true, KFileIO::kLoadDefault, false);
    else
        status = KFileIO::import(_fileName.c_str(), nullptr, false, nullptr);
    if (status.error()) {
        zyLog::error("zyKeldaLoader::read : KFileIO::open failed to open '%s'!", _fileName.c_str());
        return false;
    }

    zyLog::info("Kelda import: reading '%s' ready.", _fileName.c_str());
    return true;
}

void zyKeldaLoader::addShadowScene()
{
    // Before the companion is added, so that only the main scene's meshes are listed.
    createNoShadowMeshList();

    const std::string shadowName =
        zyFile::getBaseName(_fileName) + "_shadow." + zyFile::getExtension(_fileName);
    if (!zyFile::exists(shadowName, false, false)) {
        _autoLoadShadowGeometry = false;
        return;
    }

    std::printf("zyKeldaLoader::read : loading shadow file '%s'\n", shadowName.c_str());
    if (KFileIO::import(shadowName.c_str(), nullptr, false, nullptr).error()) {
        std::fprintf(stderr, "zyKeldaLoader::read : Couldn't add shadow file '%s'\n", shadowName.c_str());
        _autoLoadShadowGeometry = false;
    }
}

void zyKeldaLoader::createNoShadowMeshList()
{
    KStatus status;
    KItDag it(KItDag::kDepthFirst, KFn::kInvalid, &status);
    if (status.error())
        return;
    for (; !it.isDone(); it.next()) {
        KDagPath path;
        if (it.getPath(path).error())
            continue;
        if (path.node().hasFn(KFn::kMesh))
            _noShadowMeshes.insert(path.fullPathName().asUTF8());
    }
}

void zyKeldaLoader::calcUnit()
{
    // Single-precision factors from centimetres. Each name is known in two letter forms: the lower-case one
    // is what the SDK answers, the capitalised one what a user writes.
    struct Unit {
        const char* capitalised;
        const char* lowerCase;
        float scale;
    };
    static const Unit units[] = {
        {"Inch", "inch", 0.393700778f},      {"Foot", "foot", 0.0328084007f},
        {"Yard", "yard", 0.0109361326f},     {"Mile", "mile", 6.214e-6f},
        {"Meter", "meter", 0.01f},           {"Kilometer", "kilometer", 1e-05f},
        {"Millimeter", "millimeter", 10.0f}, {"Centimeter", "centimeter", 1.0f},
    };

    std::string name = "Centimeter";
    if (_importUnits == "KeldaUnits") {
        KCommandResult result;
        if (KGlobal::executeCommand("currentUnit -query -f", result, false, false).error()) {
            std::printf("Couldn't set working linear unit!\n");
        } else {
            name = result.stringResult().asUTF8();
            std::printf("Current kelda unit is '%s'.\n", name.c_str());
        }
    } else if (_importUnits != "Ignore") {
        name = _importUnits;
    }

    for (const Unit& unit : units) {
        if (name == unit.capitalised || name == unit.lowerCase) {
            _unitScale = unit.scale;
            break;
        }
    }
    std::printf("Unit scale = %f\n", _unitScale);
}

void zyKeldaLoader::stripHistory()
{
    static const char* const commands[] = {"DeleteAllHistory", "delete -all -constructionHistory",
                                           "delete -ch"};
    for (const char* command : commands)
        KGlobal::executeCommand(command, false, false);
}

void zyKeldaLoader::loadMaterialLibrary()
{
    if (!_useLocalMaterialLibrary || !zyFile::exists(_materialLibraryFile, false, false))
        return;

    _materialLibraryRoot = osg::SceneFileHandler::the()->read(_materialLibraryFile.c_str());
    if (_materialLibraryRoot == osg::NullFC) {
        std::fprintf(stderr, "Reading the material_library %s failed\n", _materialLibraryFile.c_str());
        return;
    }
    osg::addRefCP(_materialLibraryRoot);

    std::vector<osg::MaterialPtr> materials;
    const osg::NodePtr poolNode = zyMaterials::findMaterialPool(_materialLibraryRoot, false, true, 0);
    osg::MaterialPoolPtr pool;
    if (poolNode != osg::NullFC)
        pool = osg::MaterialPoolPtr::dcast(poolNode->getCore());
    if (pool != osg::NullFC)
        pool->get(materials);
    else
        std::printf("Couldn't find material pool in material library file.\n");

    if (materials.empty())
        zyMaterials::getMaterials(_materialLibraryRoot, materials);
    std::printf("found %u materials in local material library file.\n",
                static_cast<unsigned int>(materials.size()));

    for (const osg::MaterialPtr& material : materials) {
        std::vector<osg::MaterialPtr> expanded;
        zyMaterials::getRecursiveMaterials(material, expanded, true);
        for (const osg::MaterialPtr& part : expanded)
            _libraryMaterials.insert(
                std::make_pair(zyMaterials::getName(part), part)); // the first of a name wins
    }
}

void zyKeldaLoader::createRoot()
{
    _root = osg::Node::create();
    {
        const osg::CPEditor edit(_root, osg::Node::CoreFieldMask);
        _root->setCore(osg::Transform3D::create());
    }
    const osg::Transform3DPtr core = osg::Transform3DPtr::dcast(_root->getCore());
    if (core != osg::NullFC) {
        const osg::CPEditor edit(core);
        core->setScale(osg::Vec3f(_unitScale, _unitScale, _unitScale));
    }
    zyNodeUtils::setName(_root, "RootNode", true, osg::NullFC);
}

void zyKeldaLoader::postProcessAddUnitScale()
{
    if (_unitScale != 1.0f) // true for NaN as well
        zyOptimize::flushSelectedTransformationScales(_root);
}

void zyKeldaLoader::unloadMaterialLibrary()
{
    if (_materialLibraryRoot == osg::NullFC)
        return;
    osg::subRefCP(_materialLibraryRoot);
    _materialLibraryRoot = osg::NullFC;
}

// Part of the class's interface; lights need no pass of their own.
void zyKeldaLoader::postProcessLights() {}

// -- Scene walk ------------------------------------------------------------------------------------

namespace
{
const float identityTolerance = 1e-6f;

bool isIdentity(const osg::Matrix& matrix)
{
    const osg::Matrix& identity = osg::Matrix::identity();
    for (osg::UInt32 column = 0; column < 4; ++column) {
        for (osg::UInt32 row = 0; row < 4; ++row) {
            if (!(std::fabs(matrix[column][row] - identity[column][row]) <= identityTolerance))
                return false;
        }
    }
    return true;
}
} // namespace

osg::UInt32 zyKeldaLoader::countNodes()
{
    KStatus status;
    KItDag it(KItDag::kDepthFirst, KFn::kInvalid, &status);
    if (status.error())
        return 0;
    osg::UInt32 count = 0;
    for (; !it.isDone(); it.next())
        ++count;
    return count;
}

void zyKeldaLoader::walkScenegraph()
{
    const osg::UInt64 total = countNodes();
    KStatus status;
    KItDag it(KItDag::kDepthFirst, KFn::kInvalid, &status);
    if (status.error())
        return;

    _nodes.reserve(static_cast<std::size_t>(total));
    bool rememberedFlag = false;
    KDagPath rememberedPath;
    for (osg::UInt64 i = 0; !it.isDone(); ++i, it.next()) {
        if (total != 0)
            osg::SceneFileHandler::the()->updateReadProgress(static_cast<osg::UInt32>(i * 100 / total));
        KDagPath path;
        if (!it.getPath(path).error())
            walkPath(path, rememberedFlag, rememberedPath);
    }
}

// Converts one visited path. Transforms with a mesh or NURBS shape are left to the visit of the shape.
void zyKeldaLoader::walkPath(const KDagPath& visited, bool& rememberedFlag, KDagPath& rememberedPath)
{
    const KFnDagNode fn(visited);
    const bool visible = isVisible(fn);
    const bool isTransform = visited.hasFn(KFn::kTransform);

    if (fn.isInstanced(true)) {
        KDagPathArray paths;
        fn.getAllPaths(paths);
        const osg::NodePtr first = paths.length() > 0 ? getOSGNode(paths[0]) : osg::NodePtr();
        if (first != osg::NullFC) {
            if (isTransform)
                return; // instanced transforms are converted once
            const KDagPath path = foldTransform(visited, fn, visible, rememberedFlag, rememberedPath);
            const osg::NodePtr instance = osg::Node::create();
            {
                const osg::CPEditor edit(instance, osg::Node::CoreFieldMask);
                instance->setCore(first->getCore());
            }
            addNode(path, fn, instance, visible, true, true, rememberedFlag, rememberedPath);
            return;
        }
    }

    if (visited.hasFn(KFn::kMesh)) {
        if (isTransform)
            return;
        const KDagPath path = foldTransform(visited, fn, visible, rememberedFlag, rememberedPath);
        // The mesh is read along its own path even where it takes its transform's place: a transform may hold
        // several meshes, and instance number and shadow list belong to the mesh.
        addNode(path, fn, convertMesh(visited), visible, true, true, rememberedFlag, rememberedPath);
    } else if (visited.hasFn(KFn::kNurbsSurface)) {
        if (isTransform)
            return;
        const KDagPath path = foldTransform(visited, fn, visible, rememberedFlag, rememberedPath);
        addNode(path, fn, osg::NullFC, visible, true, true, rememberedFlag, rememberedPath);
    } else if (visited.hasFn(KFn::kCamera)) {
        addNode(visited, fn, osg::NullFC, visible, false, false, rememberedFlag, rememberedPath);
    } else if (isTransform) {
        addNode(visited, fn, convertTransform(visited), visible, false, true, rememberedFlag, rememberedPath);
    } else {
        const bool isLight = visited.hasFn(KFn::kLight);
        addNode(visited, fn, osg::NullFC, visible, false, isLight, rememberedFlag, rememberedPath);
    }
}

// Decides where a shape is registered, and makes the transform node above it where one is needed.
//
// Returns the shape's own path when its transform's local matrix is not exactly the identity, else the path
// of the transform, whose place in the tree the shape then takes.
KDagPath zyKeldaLoader::foldTransform(const KDagPath& shape, const KFnDagNode& fn, bool visible,
                                      bool& rememberedFlag, KDagPath& rememberedPath)
{
    KDagPath parent(shape);
    parent.pop(1);
    const KFnTransform transform(parent);
    if (transform.transformationMatrix() != KMatrix::identity) {
        // Deliberate: the transform node gets the name and the visibility of the shape, not its own.
        addNode(parent, fn, convertTransform(parent), visible, false, true, rememberedFlag, rememberedPath);
        return shape;
    }
    return parent;
}

// Only the node's own plug counts: inactive parents hide what is below them in the scene graph as well.
bool zyKeldaLoader::isVisible(const KFnDagNode& fn)
{
    if (fn.isIntermediateObject())
        return false;
    KStatus status;
    const KPlug plug = fn.findPlug("visibility", &status);
    if (status.error()) {
        KGlobal::displayError("KPlug::findPlug");
        return false;
    }
    bool visible = false;
    if (plug.getValue(visible).error()) {
        KGlobal::displayError("KPlug::getValue");
        return false;
    }
    return visible;
}

void zyKeldaLoader::addNode(const KDagPath& path, const KFnDagNode& fn, const osg::NodePtr& node,
                            bool visible, bool rememberPath, bool quiet, bool& rememberedFlag,
                            KDagPath& rememberedPath)
{
    if (node == osg::NullFC) {
        if (!quiet)
            zyLog::error("Could not convert '%s', unknown type.\n", fn.name().asUTF8());
    } else {
        if (!visible) {
            const osg::CPEditor edit(node);
            node->setActive(false);
        }
        zyNodeUtils::setName(node, fn.name().asUTF8(), true, osg::NullFC);

        KDagPath parentPath(path);
        if (parentPath.pop(1).error()) {
            zyLog::error("Could not find Kelda parent node for '%s'.\n", path.partialPathName().asUTF8());
        } else {
            osg::NodePtr parent = getOSGNode(parentPath);
            if (parent == osg::NullFC)
                parent = _root;
            const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
            parent->addChild(node);
        }

        const osg::TransformPtr transform = osg::TransformPtr::dcast(node->getCore());
        if (transform != osg::NullFC) {
            if (isIdentity(transform->getMatrix())) {
                const osg::CPEditor edit(node, osg::Node::CoreFieldMask);
                node->setCore(osg::Transform3D::create());
            }
            // The first node of a name is kept.
            _transformsByName.insert(std::make_pair(std::string(path.partialPathName().asUTF8()), node));
        }
        addOSGNode(path, node);
    }

    rememberedFlag = false;
    if (rememberPath && !path.isInstanced()) {
        rememberedFlag = true;
        rememberedPath = path;
    }
}

// A full path name, copied once: it is as long as the path is deep.
static std::string fullNameOf(const KDagPath& path)
{
    const KString name = path.fullPathName();
    return std::string(name.asUTF8(), name.length());
}

osg::NodePtr zyKeldaLoader::getOSGNode(const KDagPath& path)
{
    const auto found = _nodes.find(fullNameOf(path));
    return found != _nodes.end() ? found->second : osg::NodePtr();
}

void zyKeldaLoader::addOSGNode(const KDagPath& path, const osg::NodePtr& node)
{
    const auto added = _nodes.emplace(fullNameOf(path), node);
    osg::NodePtr& entry = added.first->second;
    if (added.second)
        return;
    if (entry != osg::NullFC)
        std::fprintf(stderr, "addOSGNode: '%s' already exists.\n", added.first->first.c_str());
    else
        entry = node;
}

// -- Transforms ------------------------------------------------------------------------------------

namespace
{
osg::Vec3f toVec3f(const KVector& v)
{
    return osg::Vec3f(static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z));
}

osg::Vec3f toVec3f(const KPoint& p)
{
    return osg::Vec3f(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z));
}

osg::Vec3f toVec3f(const double (&v)[3])
{
    return osg::Vec3f(static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2]));
}

// Through axis and angle, so that the result is a unit quaternion; no axis means no rotation.
osg::Quaternion toQuaternion(const KQuaternion& rotation)
{
    KVector axis;
    double angle = 0.0;
    rotation.getAxisAngle(axis, angle);
    const double length = std::sqrt(axis.x * axis.x + axis.y * axis.y + axis.z * axis.z);

    osg::Quaternion result;
    if (length > 1e-6) {
        const double s = std::sin(angle / 2.0) / length;
        result.setValueAsQuat(static_cast<float>(axis.x * s), static_cast<float>(axis.y * s),
                              static_cast<float>(axis.z * s), static_cast<float>(std::cos(angle / 2.0)));
    } else {
        result.setValueAsQuat(0.0f, 0.0f, 0.0f, 1.0f);
    }
    return result;
}
} // namespace

osg::NodePtr zyKeldaLoader::convertTransform(const KDagPath& path)
{
    KStatus status;
    const KFnTransform fn(path, &status);
    if (status.error())
        return osg::NullFC;

    const osg::Transform3DPtr core = osg::Transform3D::create();
    initTransform3D(core, fn);
    const osg::NodePtr node = osg::Node::create();
    {
        const osg::CPEditor edit(node, osg::Node::CoreFieldMask);
        node->setCore(core);
    }
    zyNodeUtils::setName(node, path.partialPathName().asUTF8(), true, osg::NullFC);
    return node;
}

void zyKeldaLoader::initTransform3D(const osg::Transform3DPtr& core, const KFnTransform& fn)
{
    if (core == osg::NullFC)
        return;

    double shear[3] = {0.0, 0.0, 0.0};
    double scale[3] = {1.0, 1.0, 1.0};
    fn.getShear(shear);
    fn.getScale(scale);
    const KVector translation = fn.translation(KSpace::kTransform);
    const KPoint scalePivot = fn.scalePivot(KSpace::kTransform);
    const KVector scalePivotTranslation = fn.scalePivotTranslation(KSpace::kTransform);
    const KPoint rotatePivot = fn.rotatePivot(KSpace::kTransform);
    const KVector rotatePivotTranslation = fn.rotatePivotTranslation(KSpace::kTransform);
    KQuaternion rotation;
    fn.getRotation(rotation, KSpace::kTransform); // includes the rotate order
    const KQuaternion orientation = fn.rotateOrientation(KSpace::kTransform);

    const osg::CPEditor edit(core);
    core->setShear(toVec3f(shear));
    core->setRotationAsQuaternion(toQuaternion(rotation));
    core->setRotationOrientationAsQuaternion(toQuaternion(orientation));
    core->setRotatePivot(toVec3f(rotatePivot));
    core->setRotatePivotTranslation(toVec3f(rotatePivotTranslation));
    core->setScale(toVec3f(scale));
    core->setScalePivot(toVec3f(scalePivot));
    core->setScalePivotTranslation(toVec3f(scalePivotTranslation));
    core->setTranslation(toVec3f(translation));
}

osg::NodePtr zyKeldaLoader::convertSwitch(const KDagPath& path)
{
    osg::NodePtr transformNode = convertTransform(path);
    KStatus status;
    const KFnTransform fn(path, &status);
    if (status.error()) {
        osg::subRefCP(transformNode);
        return osg::NullFC;
    }

    const osg::NodePtr switchNode = osg::Node::create();
    {
        const osg::CPEditor edit(switchNode, osg::Node::CoreFieldMask);
        switchNode->setCore(osg::Switch::create());
    }
    _switches.push_back(SwitchRecord{switchNode, transformNode});
    return switchNode;
}

void zyKeldaLoader::deleteKeldaNode(const std::string& name)
{
    const std::string command = "delete (\"" + name + "\")";
    if (KGlobal::executeCommand(command.c_str(), false, false).error())
        return;
    if (KGlobal::executeCommand("flushUndo", false, false).error())
        std::printf("Couldn't flush undo buffer\n");
}

// -- Mesh import -----------------------------------------------------------------------------------

namespace
{
const osg::UInt8 polygonType = 9;

// UV sets of one mesh: what the SDK lists, and how many of them, counted from set 0, are used.
struct MeshUVSets {
    KStringArray names;
    std::vector<KFloatArray> u;
    std::vector<KFloatArray> v;
    unsigned int used = 0;
};

// Holds a reference on the properties that all geometries of one mesh share, for as long as the mesh is
// converted: a shading group that yields no geometry can then never take away what an earlier one uses, and
// what nobody uses dies.
class SharedProperties
{
public:
    SharedProperties() = default;
    ~SharedProperties()
    {
        for (osg::FieldContainerPtr& property : _held)
            osg::subRefCP(property);
    }
    SharedProperties(const SharedProperties&) = delete;
    SharedProperties& operator=(const SharedProperties&) = delete;

    template <class PropertyPtr>
    PropertyPtr hold(const PropertyPtr& property)
    {
        osg::addRefCP(property);
        _held.push_back(property);
        return property;
    }

    osg::GeoPositions3fPtr positions;
    osg::GeoNormals3fPtr normals;
    std::vector<osg::GeoTexCoords2fPtr> texCoords; ///< one for each used UV set

private:
    std::vector<osg::FieldContainerPtr> _held;
};

void fillPositions(const osg::GeoPositions3fPtr& property, const KPointArray& points)
{
    const osg::CPEditor edit(property);
    auto& field = property->getField();
    field.resize(points.length());
    for (unsigned int i = 0; i < points.length(); ++i) {
        const KPoint& p = points[i];
        field[i].setValues(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z));
    }
}

void fillNormals(const osg::GeoNormals3fPtr& property, const KFloatVectorArray& normals)
{
    const osg::CPEditor edit(property);
    auto& field = property->getField();
    field.resize(normals.length());
    for (unsigned int i = 0; i < normals.length(); ++i)
        field[i].setValues(normals[i].x, normals[i].y, normals[i].z);
}

void fillTexCoords(const osg::GeoTexCoords2fPtr& property, const KFloatArray& u, const KFloatArray& v)
{
    const osg::CPEditor edit(property);
    auto& field = property->getField();
    field.resize(u.length());
    for (unsigned int i = 0; i < u.length(); ++i)
        field[i].setValues(u[i], v[i]);
}

// The faces of one shading group as primitives with one index tuple (vertex, normal, UVs) per corner.
struct FaceProperties {
    osg::GeoPTypesUI8Ptr types = osg::GeoPTypesUI8::create();
    osg::GeoPLengthsUI32Ptr lengths = osg::GeoPLengthsUI32::create();
    osg::GeoIndicesUI32Ptr indices = osg::GeoIndicesUI32::create();

    void release()
    {
        osg::subRefCP(types);
        osg::subRefCP(lengths);
        osg::subRefCP(indices);
    }
};

void fillFaces(const FaceProperties& faces, KItMeshPolygon& it, const MeshUVSets& uvSets, osg::UInt32 points)
{
    const osg::CPEditor editTypes(faces.types);
    const osg::CPEditor editLengths(faces.lengths);
    const osg::CPEditor editIndices(faces.indices);
    auto& types = faces.types->getField();
    auto& lengths = faces.lengths->getField();
    auto& indices = faces.indices->getField();

    // Room for a closed mesh of triangles, as long as it is a small one: large arrays grow without copying.
    const osg::UInt32 expected = std::min<osg::UInt32>(points, 4096);
    types.reserve(2 * expected);
    lengths.reserve(2 * expected);
    indices.reserve(6 * expected * (2 + uvSets.used));

    KStatus status;
    for (; !it.isDone(); it.next()) {
        types.push_back(polygonType);
        const int corners = static_cast<int>(it.polygonVertexCount(&status));
        if (status.error())
            continue; // the type stays without a length
        lengths.push_back(static_cast<osg::UInt32>(corners));
        for (int k = 0; k < corners; ++k) {
            const int vertex = it.vertexIndex(k, &status);
            if (status.error())
                continue;
            const int normal = it.normalIndex(k, &status);
            if (status.error())
                continue;
            indices.push_back(static_cast<osg::UInt32>(vertex));
            indices.push_back(static_cast<osg::UInt32>(normal));
            for (unsigned int set = 0; set < uvSets.used; ++set) {
                int uv = 0;
                if (it.getUVIndex(k, uv, &uvSets.names[set]).error())
                    uv = 0;
                indices.push_back(static_cast<osg::UInt32>(uv));
            }
        }
    }
    types.shrink();
    lengths.shrink();
    indices.shrink();
}

void setIndexMapping(const osg::GeometryPtr& geometry, unsigned int usedUVSets)
{
    // A fifth UV set and those after it have no place in the mapping, though their indices are written.
    static const osg::UInt16 texCoords[] = {osg::Geometry::MapTexCoords, osg::Geometry::MapTexCoords1,
                                            osg::Geometry::MapTexCoords2, osg::Geometry::MapTexCoords3};
    auto& mapping = geometry->getIndexMapping();
    mapping.push_back(osg::Geometry::MapPosition);
    mapping.push_back(osg::Geometry::MapNormal);
    for (unsigned int set = 0; set < usedUVSets && set < 4; ++set)
        mapping.push_back(texCoords[set]);
}

void setTexCoords(const osg::GeometryPtr& geometry, const std::vector<osg::GeoTexCoords2fPtr>& texCoords)
{
    if (!texCoords.empty())
        geometry->setTexCoords(texCoords[0]);
    // Deliberate: sets 1 to 3 all go to the second channel, so that it ends up with the highest one that
    // exists. The third and fourth channel stay empty although the index mapping names them; hosts bind their
    // textures accordingly.
    for (std::vector<osg::GeoTexCoords2fPtr>::size_type set = 1; set < texCoords.size() && set < 4; ++set)
        geometry->setTexCoords1(texCoords[set]);
}

void addShadowMark(const osg::NodePtr& node)
{
    const osg::ValuePairPtr mark = osg::ValuePair::create();
    {
        const osg::CPEditor edit(mark);
        mark->set("ShadowMesh", "true");
    }
    const osg::CPEditor edit(node, osg::Node::AttachmentsFieldMask);
    node->addAttachment(mark, 0);
}

osg::NodePtr makeNode(const osg::NodeCorePtr& core)
{
    const osg::NodePtr node = osg::Node::create();
    const osg::CPEditor edit(node, osg::Node::CoreFieldMask);
    node->setCore(core);
    return node;
}
} // namespace

osg::NodePtr zyKeldaLoader::convertMesh(const KDagPath& path)
{
    KStatus status;
    const KFnMesh mesh(path, &status);
    if (status.error())
        return osg::NullFC;

    KPointArray points;
    if (mesh.getPoints(points, KSpace::kObject).error())
        return osg::NullFC;
    KFloatVectorArray normals;
    if (mesh.getNormals(normals, KSpace::kObject).error())
        return osg::NullFC;

    MeshUVSets uvSets;
    mesh.getUVSetNames(uvSets.names);
    const int setCount = std::min(mesh.numUVSets(), static_cast<int>(uvSets.names.length()));
    uvSets.u.resize(static_cast<std::size_t>(setCount));
    uvSets.v.resize(static_cast<std::size_t>(setCount));
    for (int i = 0; i < setCount; ++i) {
        const KString& name = uvSets.names[i];
        _uvSetIndices.insert(std::make_pair(std::string(name.asUTF8()), static_cast<unsigned int>(i)));
        if (!mesh.getUVs(uvSets.u[i], uvSets.v[i], &name).error() && uvSets.u[i].length() > 0)
            ++uvSets.used;
    }
    // The used sets are the first ones by number, whether or not it is they that hold UVs.
    if (uvSets.used > 0 && uvSets.u[0].length() == 0)
        uvSets.used = 0;

    const unsigned int instance = path.isInstanced() ? path.instanceNumber() : 0;
    KObjectArray sets;
    KObjectArray components;
    if (mesh.getConnectedSetsAndMembers(instance, sets, components, true).error() || sets.length() == 0)
        return osg::NullFC;

    SharedProperties shared;
    shared.positions = shared.hold(osg::GeoPositions3f::create());
    fillPositions(shared.positions, points);
    points.clear();
    shared.normals = shared.hold(osg::GeoNormals3f::create());
    fillNormals(shared.normals, normals);
    normals.clear();
    for (unsigned int i = 0; i < uvSets.used; ++i) {
        shared.texCoords.push_back(shared.hold(osg::GeoTexCoords2f::create()));
        fillTexCoords(shared.texCoords.back(), uvSets.u[i], uvSets.v[i]);
        uvSets.u[i].clear();
        uvSets.v[i].clear();
    }

    std::vector<osg::NodePtr> made;
    std::set<std::string> usedSetNames;
    bool wholeMesh = false;
    for (unsigned int s = 0; s < sets.length() && !wholeMesh; ++s) {
        if (s >= components.length())
            continue;
        const KFnSet set(sets[s], &status);
        if (status.error())
            continue;
        const std::string setName = set.name().asUTF8();
        if (!usedSetNames.insert(setName).second) {
            std::printf("ignoring redundant set '%s'\n", setName.c_str());
            continue;
        }

        const KObject component = components[s];
        wholeMesh = component == KObject::kNullObj; // the sets after this one are not looked at
        KItMeshPolygon it(path, component, &status);
        if (status.error())
            continue;
        if (it.reset().error()) {
            std::printf("skipping invalid mesh polygon iterator!\n");
            continue;
        }
        if (it.isDone()) {
            std::printf("skipping done mesh polygon iterator!\n");
            continue;
        }

        FaceProperties faces;
        fillFaces(faces, it, uvSets, shared.positions->size());
        if (faces.indices->size() == 0) {
            std::printf("skipping geometry with no indices.\n");
            faces.release();
            made.push_back(makeNode(osg::Transform3D::create())); // keeps the place of the group
            continue;
        }

        const osg::GeometryPtr geometry = osg::Geometry::create();
        {
            const osg::CPEditor edit(geometry);
            geometry->setTypes(faces.types);
            geometry->setLengths(faces.lengths);
            geometry->setIndices(faces.indices);
            setIndexMapping(geometry, uvSets.used);
            geometry->setPositions(shared.positions);
            geometry->setNormals(shared.normals);
            setTexCoords(geometry, shared.texCoords);
            geometry->setMaterial(osg::getDefaultMaterial());
        }

        const osg::NodePtr node = osg::Node::create();
        if (_noShadowMeshes.find(path.fullPathName().asUTF8()) == _noShadowMeshes.end())
            addShadowMark(node);
        {
            const osg::CPEditor edit(node, osg::Node::CoreFieldMask);
            node->setCore(geometry);
        }
        zyNodeUtils::setName(node, mesh.partialPathName().asUTF8(), true, osg::NullFC);
        made.push_back(node);
        _geometries.push_back(geometry);
    }

    if (made.size() == 1)
        return made.front();
    const osg::NodePtr group = makeNode(osg::Group::create());
    const osg::CPEditor edit(group, osg::Node::ChildrenFieldMask);
    for (const osg::NodePtr& node : made)
        group->addChild(node);
    return group;
}
