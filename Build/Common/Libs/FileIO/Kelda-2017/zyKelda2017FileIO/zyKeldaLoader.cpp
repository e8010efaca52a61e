#include "zyKeldaLoader.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>

#include <kelda/KColor.h>
#include <kelda/KCommandResult.h>
#include <kelda/KDagPathArray.h>
#include <kelda/KDoubleArray.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatVectorArray.h>
#include <kelda/KFn.h>
#include <kelda/KFnAnimCurve.h>
#include <kelda/KFnBlinnShader.h>
#include <kelda/KFnDirectionalLight.h>
#include <kelda/KFnLambertShader.h>
#include <kelda/KFnLight.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnNurbsCurve.h>
#include <kelda/KFnNurbsSurface.h>
#include <kelda/KFnPhongShader.h>
#include <kelda/KFnPointLight.h>
#include <kelda/KFnReflectShader.h>
#include <kelda/KFnSet.h>
#include <kelda/KFnSpotLight.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KItDag.h>
#include <kelda/KItDependencyGraph.h>
#include <kelda/KItMeshPolygon.h>
#include <kelda/KMatrix.h>
#include <kelda/KObjectArray.h>
#include <kelda/KPlug.h>
#include <kelda/KPlugArray.h>
#include <kelda/KPoint.h>
#include <kelda/KPointArray.h>
#include <kelda/KQuaternion.h>
#include <kelda/KStringArray.h>
#include <kelda/KTime.h>
#include <kelda/KTrimBoundaryArray.h>
#include <kelda/KVector.h>

#include <zyInterfaces/zyInterfaceFactory.h>
#include <zyInterfaces/zyReferenceInterface.h>
#include <zyOpenSGExt/zyMergeMaterial.h>
#include <zyOpenSGExt/zyValuePair.h>
#include <zyOpenSGUtils/zyGeoOptimizer.h>
#include <zyOpenSGUtils/zyImage.h>
#include <zyOpenSGUtils/zyLights.h>
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

// Image files by path, so that one which several materials use is decoded once. Keeps a reference on each.
class zyKeldaLoader::Images
{
public:
    Images() = default;
    ~Images();
    Images(const Images&) = delete;
    Images& operator=(const Images&) = delete;

    /// Null when the file cannot be read; it is tried again the next time then.
    /// @param own the image will be changed: a copy that nobody else uses, without references
    osg::ImagePtr read(const std::string& path, bool own);

private:
    std::map<std::string, osg::ImagePtr> _read;
};

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
      _shadowGeometry(false), _shadowMerge(true), _useLocalMaterialLibrary(false), _unitScale(1.0f),
      _images(std::make_shared<Images>())
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
// Keeps what it is given alive for a scope.
class References
{
public:
    References() = default;
    ~References()
    {
        for (osg::FieldContainerPtr& container : _held)
            osg::subRefCP(container);
    }
    References(const References&) = delete;
    References& operator=(const References&) = delete;

    template <class ContainerPtr>
    ContainerPtr hold(const ContainerPtr& container)
    {
        osg::addRefCP(container);
        _held.push_back(container);
        return container;
    }

private:
    std::vector<osg::FieldContainerPtr> _held;
};

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
    postProcessSwitches();
    postProcessTexGens();
    postProcessAddUnitScale();
    if (_autoLoadShadowGeometry)
        postProcessShadow();
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
        addNode(path, fn, convertNurbsSurface(visited), visible, true, true, rememberedFlag, rememberedPath);
    } else if (visited.hasFn(KFn::kCamera)) {
        addNode(visited, fn, osg::NullFC, visible, false, false, rememberedFlag, rememberedPath);
    } else if (isTransform) {
        const osg::NodePtr node = convertTransform(visited);
        convertAnimCurve(visited.node(), "translateX");
        addNode(visited, fn, node, visible, false, true, rememberedFlag, rememberedPath);
    } else if (visited.hasFn(KFn::kLight)) {
        addNode(visited, fn, convertLight(visited), visible, false, true, rememberedFlag, rememberedPath);
    } else {
        addNode(visited, fn, osg::NullFC, visible, false, false, rememberedFlag, rememberedPath);
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
        const osg::NodePtr node = convertTransform(parent);
        convertAnimCurve(parent.node(), "translateX");
        // Deliberate: the transform node gets the name and the visibility of the shape, not its own.
        addNode(parent, fn, node, visible, false, true, rememberedFlag, rememberedPath);
        return shape;
    }
    return parent;
}

// Parents are not asked: in the scene graph, too, an inactive one hides what is below it.
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
        const bool isLight = zyLights::isLight(node);
        if (!isLight) // lights have been named
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
        if (transform != osg::NullFC && !isLight) {
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

// The properties that all geometries of one mesh share, held for as long as the mesh is converted: a shading
// group that yields no geometry can then never take away what an earlier one uses, and what nobody uses dies.
struct SharedProperties : References {
    osg::GeoPositions3fPtr positions;
    osg::GeoNormals3fPtr normals;
    std::vector<osg::GeoTexCoords2fPtr> texCoords; ///< one for each used UV set
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

        const osg::MaterialPtr material = getOSGMaterial(path, sets[s]);
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
            geometry->setMaterial(material);
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

// -- Light import ----------------------------------------------------------------------------------

namespace
{
const double fullCircle = 6.283185307179586; // radians

// Whether a function set of that class can be made on a path.
template <class Fn>
bool attaches(const KDagPath& path)
{
    KStatus status;
    const Fn fn(path, &status);
    return !status.error();
}
} // namespace

// Null for other lights than directional, point and spot lights: the host has none of their kinds.
osg::NodePtr zyKeldaLoader::convertLight(const KDagPath& path)
{
    KStatus status;
    const KFnLight light(path, &status);
    if (status.error())
        return osg::NullFC;

    const std::string name = path.partialPathName().asUTF8();
    osg::NodePtr node;
    if (path.hasFn(KFn::kDirectionalLight)) {
        if (!attaches<KFnDirectionalLight>(path))
            return osg::NullFC;
        std::printf("Converting directional light '%s'\n", name.c_str());
        node = zyLights::createLight("DirectionalLight", name, false);
    } else if (path.hasFn(KFn::kPointLight)) {
        if (!attaches<KFnPointLight>(path))
            return osg::NullFC;
        std::printf("Converting point light '%s'\n", name.c_str());
        node = zyLights::createLight("PointLight", name, false);
    } else if (path.hasFn(KFn::kSpotLight)) {
        const KFnSpotLight spot(path, &status);
        if (status.error())
            return osg::NullFC;
        std::printf("Converting spot light '%s'\n", name.c_str());
        node = zyLights::createLight("SpotLight", name, false);
        const double coneAngle = spot.coneAngle();
        std::printf("coneAngle: %f\n", coneAngle);
        // Deliberate: the SDK's cone angle is the full one, the host's the half of it. The penumbra lies on
        // one side of the rim for both and is not halved.
        zyLights::setConeAngle(node, static_cast<float>(coneAngle / fullCircle * 360.0 * 0.5));
        zyLights::setPenumbraAngle(node, static_cast<float>(spot.penumbraAngle() / fullCircle * 360.0));
    }
    if (node == osg::NullFC)
        return osg::NullFC;

    const KColor color = light.color();
    zyLights::setLightValue(node, light.intensity());
    zyLights::setDiffuse(node, osg::Vec3f(color.r, color.g, color.b));
    zyLights::setGlossy(node, osg::Vec3f(color.r, color.g, color.b));

    // A transform is asked like its light; hosts whose lights are transformations take its components.
    if (path.hasFn(KFn::kTransform)) {
        const KFnTransform transform(path, &status);
        if (!status.error())
            initTransform3D(osg::Transform3DPtr::dcast(node->getCore()), transform);
    }

    _lights.insert(node);
    return node;
}

// -- Animation curves ------------------------------------------------------------------------------

// Tells about the curves that drive an attribute of a node. Nothing of them reaches the scene graph.
void zyKeldaLoader::convertAnimCurve(const KObject& node, const char* attribute)
{
    KStatus status;
    const KPlug plug = KFnDependencyNode(node).findPlug(attribute, &status);
    if (status.error())
        return;
    KPlugArray sources;
    plug.connectedTo(sources, true, false);
    for (unsigned int i = 0; i < sources.length(); ++i) {
        const KObject source = sources[i].node();
        if (source.hasFn(KFn::kAnimCurve))
            outputAnimCurve(source);
    }
}

void zyKeldaLoader::outputAnimCurve(const KObject& curve)
{
    const KFnAnimCurve fn(curve);
    const unsigned int keys = fn.numKeys();
    if (keys == 0)
        return;
    std::printf("AnimCurve: %s keys: NumKeys %u\n", fn.name().asUTF8(), keys);
    std::fflush(stdout);
    for (unsigned int key = 0; key < keys; ++key) {
        // Deliberate: the bare number counts as film frames, whatever unit the scene has. Listings of scenes
        // in other time units are compared with each other, not with a clock.
        const KTime time(fn.time(key).value(), KTime::kFilm);
        std::printf(" time %g value %g\n", time.as(KTime::kSeconds), static_cast<float>(fn.value(key)));
        std::fflush(stdout);
    }
}

// -- NURBS surface import --------------------------------------------------------------------------

namespace
{
// Control points in homogeneous form, v running fastest. What cannot be read becomes the origin.
osg::GeoPositions4fPtr makeControlPoints(const KFnNurbsSurface& surface, int countU, int countV)
{
    const osg::GeoPositions4fPtr points = osg::GeoPositions4f::create();
    const osg::CPEditor edit(points);
    auto& field = points->getField();
    field.resize(static_cast<std::size_t>(countU) * static_cast<std::size_t>(countV));
    auto point = field.begin();
    for (int u = 0; u < countU; ++u) {
        for (int v = 0; v < countV; ++v, ++point) {
            KPoint cv(0.0, 0.0, 0.0, 1.0);
            surface.getCV(static_cast<unsigned int>(u), static_cast<unsigned int>(v), cv, KSpace::kObject);
            point->setValues(static_cast<float>(cv.x * cv.w), static_cast<float>(cv.y * cv.w),
                             static_cast<float>(cv.z * cv.w), static_cast<float>(cv.w));
        }
    }
    return points;
}

// The SDK's knots with one more at either end, which the scene graph counts, too. Neither has any influence
// on the surface within its domain. Deliberate: in a periodic direction both are 1 away from their
// neighbours, whatever the distances of the others are.
void fillKnots(osg::MFReal32& field, const KDoubleArray& knots, KFnNurbsSurface::Form form, bool uniform)
{
    const unsigned int count = knots.length();
    if (count == 0)
        return; // could not be read
    const double first = knots[0];
    const double last = knots[count - 1];
    double before = first;
    double behind = last;
    if (form == KFnNurbsSurface::kPeriodic) {
        before = first - 1.0;
        behind = last + 1.0;
    } else if (uniform && count > 1) {
        before = 2.0 * first - knots[1];
        behind = 2.0 * last - knots[count - 2];
    }
    field.reserve(count + 2);
    field.push_back(static_cast<float>(before));
    for (unsigned int i = 0; i < count; ++i)
        field.push_back(static_cast<float>(knots[i]));
    field.push_back(static_cast<float>(behind));
}

bool isTrimBoundary(KFnNurbsSurface::BoundaryType type)
{
    return type >= KFnNurbsSurface::kOuter && type <= KFnNurbsSurface::kClosedSegment;
}

// Deliberate: unlike the control points of the surface, those of its trimming curves are not multiplied by
// their weights. Hosts know the curves of this import by that.
void addTrimCurve(const osg::SurfacePtr& surface, const KFnNurbsCurve& curve, bool opensLoop)
{
    KPointArray cvs;
    curve.getCVs(cvs, KSpace::kObject);
    const unsigned int cvCount = std::min(cvs.length(), static_cast<unsigned int>(curve.numCVs()));
    std::vector<osg::Pnt3f> points;
    points.reserve(cvCount);
    for (unsigned int i = 0; i < cvCount; ++i)
        points.emplace_back(static_cast<float>(cvs[i].x), static_cast<float>(cvs[i].y),
                            static_cast<float>(cvs[i].w));

    KDoubleArray curveKnots;
    curve.getKnots(curveKnots);
    const unsigned int knotCount = std::min(curveKnots.length(), static_cast<unsigned int>(curve.numKnots()));
    std::vector<osg::Real64> knots;
    knots.reserve(knotCount + 2);
    for (unsigned int i = 0; i < knotCount; ++i) {
        if (i == 0)
            knots.push_back(curveKnots[i]);
        knots.push_back(curveKnots[i]);
    }
    if (!knots.empty())
        knots.push_back(knots.back());

    surface->addCurve(static_cast<osg::UInt32>(curve.degree()), knots, points, opensLoop);
}

// The first curve of a boundary that can be attached opens its loop.
void addTrimBoundary(const osg::SurfacePtr& surface, const KObjectArray& curves)
{
    bool opensLoop = true;
    for (unsigned int i = 0; i < curves.length(); ++i) {
        KStatus status;
        const KFnNurbsCurve curve(curves[i], &status);
        if (status.error())
            continue;
        addTrimCurve(surface, curve, opensLoop);
        opensLoop = false;
    }
}

void addTrimRegion(const osg::SurfacePtr& surface, const KFnNurbsSurface& source, unsigned int region)
{
    KTrimBoundaryArray boundaries;
    source.getTrimBoundaries(boundaries, region, true);
    const unsigned int count =
        std::min(boundaries.length(), static_cast<unsigned int>(source.numBoundaries(region)));

    const osg::CPEditor edit(surface, osg::Surface::CurveFieldMask);
    for (unsigned int boundary = 0; boundary < count; ++boundary) {
        if (isTrimBoundary(source.boundaryType(region, boundary)))
            addTrimBoundary(surface, boundaries[boundary]);
    }
}
} // namespace

// The exact surface; how it is tessellated is left to the scene graph. Reads are not tested one by one.
osg::NodePtr zyKeldaLoader::convertNurbsSurface(const KDagPath& path)
{
    KStatus status;
    const KFnNurbsSurface source(path, &status);
    if (status.error())
        return osg::NullFC;

    const KFnNurbsSurface::Form formU = source.formInU();
    const KFnNurbsSurface::Form formV = source.formInV();
    const int countU = source.numCVsInU();
    const int countV = source.numCVsInV();
    const osg::GeoPositions4fPtr points = makeControlPoints(source, countU, countV);

    // Deliberate: the shape stands in the place of its shading group, so that it gets the material of its own
    // "surfaceShader" plug; a shape without one gets the default material. Groups are not searched.
    const osg::MaterialPtr material = getOSGMaterial(path, source.object());

    const osg::SurfacePtr surface = osg::Surface::create();
    {
        const osg::CPEditor edit(surface);
        surface->setTransform(osg::Transform3D::create());
        surface->setMaterial(material);
        surface->removeCurves();
        surface->setDimU(static_cast<osg::UInt32>(source.degreeU()));
        surface->setDimV(static_cast<osg::UInt32>(source.degreeV()));
        const bool uniform = source.isUniform();
        KDoubleArray knots;
        source.getKnotsInU(knots);
        fillKnots(surface->getKnotsU(), knots, formU, uniform);
        knots.clear();
        source.getKnotsInV(knots);
        fillKnots(surface->getKnotsV(), knots, formV, uniform);
        surface->setControlPoints(points);
    }

    if (source.isTrimmedSurface()) {
        const int regions = source.numRegions();
        for (int region = 0; region < regions; ++region)
            addTrimRegion(surface, source, static_cast<unsigned int>(region));
    }

    const osg::NodePtr node = makeNode(surface);
    zyNodeUtils::setName(node, source.partialPathName().asUTF8(), true, osg::NullFC);
    _geometries.push_back(surface);
    return node;
}

// -- Material import -------------------------------------------------------------------------------

zyKeldaLoader::Images::~Images()
{
    for (auto& entry : _read)
        osg::subRefCP(entry.second);
}

osg::ImagePtr zyKeldaLoader::Images::read(const std::string& path, bool own)
{
    auto found = _read.find(path);
    if (found == _read.end()) {
        osg::ImagePtr image = osg::Image::create();
        if (!image->read(path.c_str())) {
            osg::subRefCP(image);
            return osg::NullFC;
        }
        osg::addRefCP(image);
        found = _read.emplace(path, image).first;
    }
    return own ? osg::ImagePtr::dcast(found->second->shallowCopy()) : found->second;
}

namespace
{
osg::Color4f toColor4f(const KColor& color, float alpha)
{
    return osg::Color4f(color.r, color.g, color.b, alpha);
}

void addChunk(const osg::ChunkMaterialPtr& material, const osg::StateChunkPtr& chunk)
{
    const osg::CPEditor edit(material, osg::ChunkMaterial::ChunksFieldMask);
    material->addChunk(chunk, osg::State::AutoSlotReplace);
}

// The material's first chunk of a class; null when it has none.
template <class Chunk>
auto findChunk(const osg::ChunkMaterialPtr& material) -> decltype(Chunk::create())
{
    typedef decltype(Chunk::create()) ChunkPtr;
    return ChunkPtr::dcast(material->find(Chunk::getClassType()));
}

// The same; made and added when it has none.
template <class Chunk>
auto findOrAddChunk(const osg::ChunkMaterialPtr& material) -> decltype(Chunk::create())
{
    auto chunk = findChunk<Chunk>(material);
    if (chunk == osg::NullFC) {
        chunk = Chunk::create();
        addChunk(material, chunk);
    }
    return chunk;
}

void setBlendFactors(const osg::BlendChunkPtr& blend, osg::UInt32 source, osg::UInt32 destination)
{
    const osg::CPEditor edit(blend,
                             osg::BlendChunk::SrcFactorFieldMask | osg::BlendChunk::DestFactorFieldMask);
    blend->setSrcFactor(source);
    blend->setDestFactor(destination);
}

void setBlendFactors(const osg::ChunkMaterialPtr& material, osg::UInt32 source, osg::UInt32 destination)
{
    setBlendFactors(findOrAddChunk<osg::BlendChunk>(material), source, destination);
}

// Colours and highlight of a shader, all colours with the same opacity.
void addMaterialChunk(const osg::ChunkMaterialPtr& material, const KFnLambertShader& lambert, float opacity)
{
    KStatus status;
    KColor specular(0.0f, 0.0f, 0.0f);
    float shininess = 0.0f;
    const KFnReflectShader reflect(lambert.object(), &status);
    if (!status.error())
        specular = reflect.specularColor();
    const KFnPhongShader phong(lambert.object(), &status);
    if (!status.error())
        shininess = phong.cosPower();
    const KFnBlinnShader blinn(lambert.object(), &status);
    if (!status.error())
        shininess = 100.0f - 98.0f * blinn.eccentricity(); // not clamped: what is out of range stays so

    const KColor color = lambert.color();
    const float d = lambert.diffuseCoeff();
    const osg::MaterialChunkPtr chunk = osg::MaterialChunk::create();
    {
        const osg::CPEditor edit(chunk);
        chunk->setAmbient(toColor4f(lambert.ambientColor(), opacity));
        chunk->setDiffuse(osg::Color4f(d * color.r, d * color.g, d * color.b, opacity));
        chunk->setSpecular(toColor4f(specular, opacity));
        chunk->setEmission(toColor4f(lambert.incandescence(), opacity));
        chunk->setShininess(shininess);
    }
    addChunk(material, chunk);
}

// The nodes of one type that a plug or a node gets its values from, directly or through others; the nearest
// ones first.
template <class Start>
KItDependencyGraph walkUpstream(const Start& start, KFn::Type type, KStatus* status = nullptr)
{
    KItDependencyGraph it(start, type, KItDependencyGraph::kUpstream, KItDependencyGraph::kBreadthFirst,
                          KItDependencyGraph::kNodeLevel, status);
    it.disablePruningOnFilter(); // through networks of any kind of node
    return it;
}

// A number of a node; `value` stays as it is when there is none of that name.
template <class Number>
bool getValue(const KFnDependencyNode& fn, const char* attribute, Number& value)
{
    KStatus status;
    const KPlug plug = fn.findPlug(attribute, &status);
    return !status.error() && !plug.getValue(value).error();
}
} // namespace

// The surface shader of a shading group; the null object when there is none, or not exactly one.
KObject zyKeldaLoader::findShader(const KObject& shadingGroup)
{
    const KFnDependencyNode group(shadingGroup);
    const KPlug plug = group.findPlug("surfaceShader");
    if (plug.isNull())
        return KObject::kNullObj; // a NURBS surface is asked like a group, and has none

    KStatus status;
    KPlugArray shaders;
    plug.connectedTo(shaders, true, false, &status);
    if (status.error()) {
        KGlobal::displayError("KPlug::connectedTo");
        return KObject::kNullObj;
    }
    if (shaders.length() != 1) {
        KGlobal::displayError(group.name() + ": couldn't find surface shader");
        return KObject::kNullObj;
    }
    return shaders[0].node();
}

// Never null: without a usable shader it is the scene graph's default material. The path is not looked at; a
// material is the same wherever it is used.
osg::MaterialPtr zyKeldaLoader::getOSGMaterial(const KDagPath&, const KObject& shadingGroup)
{
    const KObject shader = findShader(shadingGroup);
    if (shader == KObject::kNullObj)
        return osg::getDefaultMaterial();
    KStatus status;
    const KFnLambertShader lambert(shader, &status);
    if (status.error())
        return osg::getDefaultMaterial();

    // Deliberate: by name alone. Materials of the library take the place of the scene's that way, and
    // different shaders of one name share the first one's material.
    const std::string name = lambert.name().asUTF8();
    const auto known = _libraryMaterials.find(name);
    if (known != _libraryMaterials.end())
        return known->second;

    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    zyMaterials::setName(material, name, true);
    _libraryMaterials.insert(std::make_pair(name, osg::MaterialPtr(material)));

    const KColor transparency = lambert.transparency();
    const float opacity = 1.0f - (transparency.r + transparency.g + transparency.b) / 3.0f;
    addMaterialChunk(material, lambert, opacity);
    if (opacity < 1.0f)
        setBlendFactors(material, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);

    const KPlug color = lambert.findPlug("color", &status);
    if (status.error()) {
        std::fprintf(stderr, "KFnDependencyNode::findPlug(color)\n");
    } else if (!color.isNull() && color.isConnected()) {
        const Textures textures = collectTextures(color, material, opacity);
        osg::UInt32 entry = 0;
        for (const auto& texture : textures)
            addTexture(material, texture.second, entry++, static_cast<osg::UInt32>(textures.size()));
        addPlacement(material, color);
    }

    if (_shadowGeometry)
        makeShadowMaterial(material);
    return material;
}

// The file textures of a colour network. Their gains take the place of the shader's colour, which the
// modeller does not look at once a texture is connected; the last one visited wins.
zyKeldaLoader::Textures zyKeldaLoader::collectTextures(const KPlug& color,
                                                       const osg::ChunkMaterialPtr& material, float opacity)
{
    Textures textures;
    KItDependencyGraph it = walkUpstream(color, KFn::kFileTexture);
    for (; !it.isDone(); it.next()) {
        const KObject file = it.thisNode();
        const osg::UInt32 index = textureCoordIndex(file);

        const KFnDependencyNode fn(file);
        KString text;
        if (!getValue(fn, "fileTextureName", text))
            continue;
        std::string name = text.asUTF8();
        name.erase(name.find_last_not_of(' ') + 1);
        textures.insert(std::make_pair(index, name));

        float gain[3];
        if (getValue(fn, "colorGainR", gain[0]) && getValue(fn, "colorGainG", gain[1]) &&
            getValue(fn, "colorGainB", gain[2])) {
            const osg::MaterialChunkPtr chunk = findOrAddChunk<osg::MaterialChunk>(material);
            const osg::CPEditor edit(chunk, osg::MaterialChunk::DiffuseFieldMask);
            chunk->setDiffuse(osg::Color4f(gain[0], gain[1], gain[2], opacity));
        }
    }
    return textures;
}

// Which texture coordinates a file texture is linked to: that of the UV set whose name its UV chooser gets; 0
// without one.
osg::UInt32 zyKeldaLoader::textureCoordIndex(const KObject& file)
{
    osg::UInt32 index = 0;
    KItDependencyGraph it = walkUpstream(file, KFn::kUvChooser);
    for (; !it.isDone(); it.next()) {
        const KPlug uvSets = KFnDependencyNode(it.thisNode()).findPlug("uvSets");
        if (uvSets.isNull() || uvSets.numElements() == 0)
            continue;
        KPlugArray connected;
        uvSets[0].connectedTo(connected, true, true);
        for (unsigned int i = 0; i < connected.length(); ++i) {
            KString name;
            if (!connected[i].getValue(name).error())
                index = _uvSetIndices[name.asUTF8()]; // a name that no mesh has listed is set 0
        }
    }
    return index;
}

// Adds the entry-th of all textures of a material. The order decides how it joins those before it; the unit
// is dealt out by the scene graph.
void zyKeldaLoader::addTexture(const osg::ChunkMaterialPtr& material, const std::string& fileTextureName,
                               osg::UInt32 entry, osg::UInt32 entries)
{
    const bool first = entry == 0;
    const bool combine = _multitextureEnvCombiner && entries >= 2;
    const bool grey = _forceGrayscaleShadowTexture;
    const bool changed = first ? _shadowGeometry && grey : !combine || grey;

    const std::string path = resolveTexture(fileTextureName);
    const osg::ImagePtr image = _images->read(path, changed);
    if (image == osg::NullFC) {
        zyLog::error("Error reading texture image '%s'!\n", path.c_str());
        return;
    }

    const osg::TextureChunkPtr chunk = osg::TextureChunk::create();
    {
        const osg::CPEditor edit(chunk);
        chunk->setImage(image);
        if (first && !combine) {
            chunk->setEnvMode(GL_MODULATE);
        } else if (first) {
            chunk->setEnvMode(GL_COMBINE);
            chunk->setEnvCombineRGB(GL_MODULATE);
            chunk->setEnvSource0RGB(GL_PRIMARY_COLOR);
            chunk->setEnvSource1RGB(GL_TEXTURE);
            chunk->setEnvOperand0RGB(GL_SRC_COLOR);
            chunk->setEnvOperand1RGB(GL_SRC_COLOR);
        } else if (combine) {
            if (grey) {
                const osg::ImagePtr opaque = zyImage::removeAlpha(image);
                if (opaque != osg::NullFC)
                    opaque->reformat(osg::Image::OSG_LA_PF);
            }
            // Deliberate: below * (1 - alpha) + texture * alpha. Textures made grey have their brightness as
            // alpha.
            chunk->setEnvMode(GL_COMBINE);
            chunk->setEnvCombineRGB(GL_INTERPOLATE);
            chunk->setEnvSource0RGB(GL_PREVIOUS);
            chunk->setEnvSource1RGB(GL_TEXTURE);
            chunk->setEnvSource2RGB(GL_TEXTURE);
            chunk->setEnvOperand0RGB(GL_SRC_COLOR);
            chunk->setEnvOperand1RGB(GL_SRC_COLOR);
            chunk->setEnvOperand2RGB(GL_ONE_MINUS_SRC_ALPHA);
        } else {
            const osg::ImagePtr opaque = zyImage::removeAlpha(image);
            if (opaque != osg::NullFC) {
                chunk->setImage(opaque);
                if (grey)
                    opaque->reformat(osg::Image::OSG_L_PF);
            }
            chunk->setEnvMode(GL_MODULATE);
        }
    }
    addChunk(material, chunk);

    const osg::ImagePtr shown = chunk->getImage();
    if (shown != osg::NullFC && shown->hasAlphaChannel())
        setBlendFactors(material, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

// Where a texture file is: as named, beside the scene, in "sourceimages" beside the scene, or in a folder
// beside the scene that is named as the last folder of the name. The last candidate is not tested.
std::string zyKeldaLoader::resolveTexture(const std::string& fileTextureName) const
{
    std::string path = zyFile::convertSeparators(fileTextureName);
    if (zyFile::exists(path))
        return path;
    const std::string file = zyFile::getFileName(path);
    const std::string dir = zyFile::getFilePath(path);

    path = _filePath + "\\" + file;
    if (zyFile::exists(path))
        return path;
    path = _filePath + "\\" + "sourceimages" + "\\" + file;
    if (zyFile::exists(path))
        return path;

    // The separator in front of the folder stays: two in a row count as one.
    const std::string::size_type folder = dir.rfind('\\');
    if (folder != std::string::npos)
        path = _filePath + "\\" + dir.substr(folder) + "\\" + file;
    return path;
}

// What places the texture: a planar projection is kept for when the whole scene is there, everything else is
// placed by its texture coordinates and their repeat.
void zyKeldaLoader::addPlacement(const osg::ChunkMaterialPtr& material, const KPlug& color)
{
    KStatus status;
    const KItDependencyGraph projections = walkUpstream(color, KFn::kProjection, &status);
    if (!status.error() && !projections.isDone()) {
        const int planar = 1;
        const int triplanar = 6;
        int type = 0;
        getValue(KFnDependencyNode(projections.thisNode()), "projType", type);
        if (type == planar) {
            // Without a placement node the name stays empty, and the projection at the origin.
            const KItDependencyGraph placements = walkUpstream(color, KFn::kPlace3dTexture);
            const KFnDependencyNode placement(placements.thisNode());
            _planarProjections.push_back(PlanarProjection{material, placement.name().asUTF8()});
            return;
        }
        if (type == triplanar)
            zyLog::error("Tri planar projection is not supported yet!\n");
        else
            zyLog::error("Projection type (%d) is not supported!\n", type);
    }

    const KItDependencyGraph placements = walkUpstream(color, KFn::kPlace2dTexture, &status);
    if (status.error() || placements.isDone())
        return;
    const KFnDependencyNode placement(placements.thisNode());
    float repeatU = 1.0f;
    float repeatV = 1.0f;
    getValue(placement, "repeatU", repeatU);
    getValue(placement, "repeatV", repeatV);

    osg::Matrix matrix;
    matrix[0][0] = repeatU;
    matrix[1][1] = repeatV;
    const osg::TextureTransformChunkPtr chunk = osg::TextureTransformChunk::create();
    {
        const osg::CPEditor edit(chunk);
        chunk->setMatrix(matrix);
    }
    addChunk(material, chunk);
}

// Behind a shadow surface everything is multiplied by two times the surface's colour, which comes from the
// texture alone.
void zyKeldaLoader::makeShadowMaterial(const osg::ChunkMaterialPtr& material)
{
    setBlendFactors(material, GL_DST_COLOR, GL_SRC_COLOR);
    const osg::MaterialChunkPtr colors = findOrAddChunk<osg::MaterialChunk>(material);
    {
        const osg::CPEditor edit(colors);
        const osg::Color4f black(0.0f, 0.0f, 0.0f, 1.0f);
        colors->setAmbient(black);
        colors->setDiffuse(black);
        colors->setSpecular(black);
        colors->setEmission(osg::Color4f(1.0f, 1.0f, 1.0f, 1.0f));
        colors->setShininess(0.0f);
    }

    const osg::TextureChunkPtr texture = findChunk<osg::TextureChunk>(material);
    if (texture == osg::NullFC || !_forceGrayscaleShadowTexture)
        return;
    const osg::ImagePtr opaque = zyImage::removeAlpha(texture->getImage());
    if (opaque != osg::NullFC)
        opaque->reformat(osg::Image::OSG_LA_PF);
    texture->imageContentChanged(-1, -1, -1, -1, -1, -1);
}

// -- Switches --------------------------------------------------------------------------------------

// What the walk said by inactive children becomes the choice of a switch: its first active child. All of them
// are active afterwards; where none was, the choice stays.
static void chooseActiveChild(const osg::NodePtr& node)
{
    const osg::SwitchPtr core =
        node != osg::NullFC ? osg::SwitchPtr::dcast(node->getCore()) : osg::SwitchPtr();
    if (core == osg::NullFC)
        return;
    bool chosen = false;
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i) {
        const osg::NodePtr child = node->getChild(i);
        if (!child->getActive()) {
            const osg::CPEditor edit(child);
            child->setActive(true);
        } else if (!chosen) {
            const osg::CPEditor edit(core, osg::Switch::ChoiceFieldMask);
            core->setChoice(static_cast<osg::Int32>(i));
            chosen = true;
        }
    }
}

void zyKeldaLoader::postProcessSwitches()
{
    for (std::vector<SwitchRecord>::size_type i = 0; i < _switches.size(); ++i) {
        SwitchRecord& record = _switches[i];
        chooseActiveChild(record.switchNode);

        osg::TransformPtr transform;
        if (record.transformNode != osg::NullFC)
            transform = osg::TransformPtr::dcast(record.transformNode->getCore());
        bool inserted = false;
        if (transform != osg::NullFC && !isIdentity(transform->getMatrix())) {
            zyNodeUtils::setName(record.transformNode, "SwitchTransform", true, osg::NullFC);
            inserted = zyNodeUtils::insertParentNode(record.switchNode, record.transformNode);
        }
        if (!inserted)
            osg::subRefCP(record.transformNode);
    }
}

// -- Texture generators ----------------------------------------------------------------------------

namespace
{
// Texture coordinates of a planar projection from positions. The placement spans -1 to 1 along its axes, the
// texture 0 to 1. Positions come in target units, the placement in centimetres.
osg::TexGenChunkPtr makeProjection(osg::Matrix placement, float unitScale)
{
    osg::Matrix cube;
    cube.setScale(osg::Vec3f(2.0f, 2.0f, 2.0f));
    placement.mult(cube);
    placement.invert(); // the identity when there is no inverse

    osg::Vec4f planes[2];
    for (osg::UInt32 row = 0; row < 2; ++row)
        planes[row].setValues(placement[0][row] / unitScale, placement[1][row] / unitScale,
                              placement[2][row] / unitScale, placement[3][row] + 0.5f);

    const osg::TexGenChunkPtr chunk = osg::TexGenChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setGenFuncS(GL_OBJECT_LINEAR);
    chunk->setGenFuncT(GL_OBJECT_LINEAR);
    chunk->setGenFuncSPlane(planes[0]);
    chunk->setGenFuncTPlane(planes[1]);
    return chunk;
}
} // namespace

void zyKeldaLoader::postProcessTexGens()
{
    // Where transformations are flushed, placements among them lose theirs: all are taken before.
    std::vector<osg::Matrix> placements;
    placements.reserve(_planarProjections.size());
    for (const PlanarProjection& projection : _planarProjections)
        placements.push_back(placementMatrix(projection.placement));

    std::set<osg::NodePtr> flushed;
    for (std::vector<osg::Matrix>::size_type i = 0; i < placements.size(); ++i) {
        const osg::MaterialPtr& material = _planarProjections[i].material;
        const osg::NodePtr users = getLocalRoot(zyMaterials::getNodesWithMaterial(material, _root));
        if (users == osg::NullFC)
            continue;
        // The positions of all users are in the root's system then.
        const osg::NodePtr top = topmostTransform(users);
        if (flushed.insert(top).second)
            zyOptimize::flushTransformations(top);
        const osg::ChunkMaterialPtr chunks = osg::ChunkMaterialPtr::dcast(material);
        if (chunks != osg::NullFC)
            addChunk(chunks, makeProjection(placements[i], _unitScale));
    }
}

// From the system of a placement node to that of the root, whose unit scale is not part of it; the identity
// when the scene graph has no node of that name.
osg::Matrix zyKeldaLoader::placementMatrix(const std::string& placement) const
{
    const auto found = _transformsByName.find(placement);
    osg::NodePtr node = found != _transformsByName.end() ? found->second : osg::NodePtr();
    osg::Matrix result;
    for (; node != osg::NullFC && node != _root; node = node->getParent()) {
        const osg::TransformPtr transform = osg::TransformPtr::dcast(node->getCore());
        if (transform != osg::NullFC)
            result.multLeft(transform->getMatrix());
    }
    return result;
}

// The parent of the lowest node at or above the first one that has all the others at or below it. Deliberate:
// not that node itself, whose own transformation would not be flushed then. The root when there is nothing
// lower; a single node itself; null without nodes.
osg::NodePtr zyKeldaLoader::getLocalRoot(const std::vector<zyNodePtr>& nodes) const
{
    if (nodes.empty())
        return osg::NullFC;
    if (nodes.size() == 1)
        return nodes.front();

    // The way up from the first node. For every node that is known to lead to a place on it: that place.
    std::vector<osg::NodePtr> way;
    std::unordered_map<const osg::Node*, std::size_t> places;
    for (osg::NodePtr node = nodes.front(); node != osg::NullFC && node != _root; node = node->getParent()) {
        places.emplace(node.getCPtr(), way.size());
        way.push_back(node);
    }
    if (way.empty())
        return nodes.front();

    std::size_t lowest = 0;
    std::vector<const osg::Node*> met;
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        met.clear();
        osg::NodePtr node = nodes[i];
        auto found = places.end();
        while (node != osg::NullFC && node != _root) {
            found = places.find(node.getCPtr());
            if (found != places.end())
                break;
            met.push_back(node.getCPtr());
            node = node->getParent();
        }
        if (found == places.end())
            return _root;
        const std::size_t place = found->second;
        for (const osg::Node* below : met)
            places.emplace(below, place);
        lowest = std::max(lowest, place);
    }
    return way[lowest]->getParent();
}

// The highest node with a transformation at or above the given one and below the root; the node itself when
// there is none.
osg::NodePtr zyKeldaLoader::topmostTransform(const osg::NodePtr& node) const
{
    osg::NodePtr topmost = node;
    for (osg::NodePtr on = node; on != osg::NullFC && on != _root; on = on->getParent()) {
        if (osg::TransformPtr::dcast(on->getCore()) != osg::NullFC)
            topmost = on;
    }
    return topmost;
}

// -- Shadow geometry -------------------------------------------------------------------------------

namespace
{
// Where a node of a shared geometry core gets its material from.
struct MaterialSource {
    osg::MaterialGroupPtr group;
    osg::ChunkMaterialPtr material;
};

bool isShadowNode(const osg::NodePtr& node)
{
    return node->findAttachment(osg::ValuePair::getClassType()) != osg::NullFC;
}

// The material group right above a node; both are null when there is none, the material also when it is not
// made of chunks.
MaterialSource materialAbove(osg::NodePtr node)
{
    MaterialSource source;
    const osg::NodePtr parent = node->getParent();
    if (parent != osg::NullFC)
        source.group = osg::MaterialGroupPtr::dcast(parent->getCore());
    if (source.group != osg::NullFC)
        source.material = osg::ChunkMaterialPtr::dcast(source.group->getMaterial());
    return source;
}

// Takes a chunk away from wherever it stands; within an edit of the material. Null is ignored.
void removeChunk(const osg::ChunkMaterialPtr& material, const osg::StateChunkPtr& chunk)
{
    if (chunk == osg::NullFC)
        return;
    const osg::UInt32 place = static_cast<osg::UInt32>(material->find(chunk));
    const auto& slots = material->getSlots();
    const osg::Int32 slot =
        place < slots.size() ? slots[place] : static_cast<osg::Int32>(osg::State::AutoSlotReplace);
    material->subChunk(chunk, slot);
}

// Leaves of a material what multiplies the material that it is merged with: twice its texture in grey.
void reduceToShadow(const osg::ChunkMaterialPtr& material)
{
    const osg::CPEditor edit(material);
    const osg::TextureChunkPtr texture = findChunk<osg::TextureChunk>(material);
    if (texture != osg::NullFC) {
        osg::ImagePtr image = texture->getImage();
        if (image != osg::NullFC) {
            // Whatever else shows the image keeps its colours.
            if (image->getRefCount() > 1) {
                image = osg::ImagePtr::dcast(image->shallowCopy());
                const osg::CPEditor editImage(texture, osg::TextureChunk::ImageFieldMask);
                texture->setImage(image);
            }
            // Deliberate: whatever the option for grey shadow textures says. Colours would tint what is lit.
            image->reformat(osg::Image::OSG_L_PF);
        }
        const osg::CPEditor editTexture(texture, osg::TextureChunk::EnvModeFieldMask |
                                                     osg::TextureChunk::EnvScaleRGBFieldMask);
        texture->setEnvMode(GL_COMBINE);
        texture->setEnvScaleRGB(2.0f);
    }
    removeChunk(material, findChunk<osg::MaterialChunk>(material));
    removeChunk(material, findChunk<osg::BlendChunk>(material));
}
} // namespace

void zyKeldaLoader::postProcessShadow()
{
    _sharedGeometries.clear();
    getSharedGeometries(_root);
    if (_shadowMerge)
        createShadowMergeMaterials();
    else
        correctShadowBlendMode();
    _sharedGeometries.clear();
}

void zyKeldaLoader::getSharedGeometries(const osg::NodePtr& node)
{
    std::vector<osg::NodePtr> open(1, node);
    while (!open.empty()) {
        const osg::NodePtr visited = open.back();
        open.pop_back();
        if (visited == osg::NullFC)
            continue;
        const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(visited->getCore());
        if (geometry != osg::NullFC && geometry->getParents().size() >= 2)
            _sharedGeometries.insert(geometry);
        for (osg::UInt32 i = visited->getNChildren(); i > 0; --i)
            open.push_back(visited->getChild(i - 1));
    }
}

// Draws each pair of a mesh and its shadow copy in one pass: the mesh with both looks, the copy not at all.
// Only cores that exactly one unmarked and one marked node use, each below a material group of its own with a
// material made of chunks, are such a pair; everything else stays as it is.
void zyKeldaLoader::createShadowMergeMaterials()
{
    // A geometry that is still to come may lose its last node with the copies of another, a material its last
    // user.
    References held;
    for (const osg::GeometryPtr& geometry : _sharedGeometries)
        held.hold(geometry);

    std::set<osg::MaterialPtr> mergeMaterials;
    std::set<osg::ChunkMaterialPtr> shadowMaterials;
    for (const osg::GeometryPtr& geometry : _sharedGeometries) {
        if (geometry->getMaterial() != osg::NullFC)
            continue;
        if (geometry->getParents().size() != 2) {
            std::fprintf(stderr, "zyKeldaLoader::createShadowMergeMaterials : parents size != 2 !!!!\n");
            continue;
        }

        MaterialSource main;
        MaterialSource shadow;
        for (const osg::NodePtr& parent : geometry->getParents())
            (isShadowNode(parent) ? shadow : main) = materialAbove(parent);
        if (main.material == osg::NullFC || shadow.material == osg::NullFC || main.group == shadow.group)
            continue;

        held.hold(main.material);
        const osg::MaterialPtr merge = mergeMaterial(main.material, shadow.material);
        if (mergeMaterials.insert(merge).second)
            held.hold(merge);
        if (shadowMaterials.insert(shadow.material).second)
            held.hold(shadow.material);
        {
            const osg::CPEditor edit(main.group, osg::MaterialGroup::MaterialFieldMask);
            main.group->setMaterial(merge);
        }

        const osg::NodePtr copies = shadow.group->getParents()[0];
        const osg::CPEditor edit(copies, osg::Node::ChildrenFieldMask);
        while (copies->getNChildren() > 0)
            copies->subChild(copies->getNChildren() - 1);
    }

    for (const osg::ChunkMaterialPtr& material : shadowMaterials)
        reduceToShadow(material);
    for (const osg::MaterialPtr& material : mergeMaterials)
        material->rebuildState();
}

// Deliberate: found by the name of the shadow material alone. Main materials whose shadows have one material
// share the merge material that the first of them brings.
osg::MaterialPtr zyKeldaLoader::mergeMaterial(const osg::ChunkMaterialPtr& main,
                                              const osg::ChunkMaterialPtr& shadow)
{
    const std::string name = zyMaterials::getName(shadow) + "_merge";
    osg::MaterialPtr& known = _libraryMaterials[name];
    if (known == osg::NullFC) {
        const osg::MergeMaterialPtr merge = osg::MergeMaterial::create();
        zyMaterials::setName(merge, name, true);
        const osg::CPEditor edit(merge, osg::MergeMaterial::MaterialsFieldMask);
        merge->addMaterial(main);
        merge->addMaterial(shadow);
        known = merge;
    }
    return known;
}

// Lets shadow copies that stay a pass of their own multiply what they lie on by twice their colour. Copies
// whose material does not blend are left as they are.
void zyKeldaLoader::correctShadowBlendMode()
{
    for (const osg::GeometryPtr& geometry : _sharedGeometries) {
        if (geometry->getMaterial() != osg::NullFC)
            continue;
        for (const osg::NodePtr& parent : geometry->getParents()) {
            if (!isShadowNode(parent))
                continue;
            const osg::ChunkMaterialPtr material = materialAbove(parent).material;
            const osg::BlendChunkPtr blend =
                material != osg::NullFC ? findChunk<osg::BlendChunk>(material) : osg::BlendChunkPtr();
            if (blend != osg::NullFC)
                setBlendFactors(blend, GL_DST_COLOR, GL_SRC_COLOR);
        }
    }
}

osg::Action::ResultE zyKeldaLoader::getTtransformsCB(osg::NodePtr& node)
{
    if (node == osg::NullFC)
        return osg::Action::Continue;
    const osg::NodeCorePtr core = node->getCore();
    if (const auto transform3D = osg::Transform3DPtr::dcast(core)) {
        const osg::CPEditor edit(transform3D);
        transform3D->setTranslation(transform3D->getTranslation() * _unitScale);
        transform3D->setScalePivot(transform3D->getScalePivot() * _unitScale);
        transform3D->setScalePivotTranslation(transform3D->getScalePivotTranslation() * _unitScale);
        transform3D->setRotatePivot(transform3D->getRotatePivot() * _unitScale);
        transform3D->setRotatePivotTranslation(transform3D->getRotatePivotTranslation() * _unitScale);
    } else if (const auto components = osg::ComponentTransformPtr::dcast(core)) {
        const osg::CPEditor edit(components);
        components->setTranslation(components->getTranslation() * _unitScale);
        components->setCenter(components->getCenter() * _unitScale);
    } else if (const auto transform = osg::TransformPtr::dcast(core)) {
        // The translation is a column of its own: nothing else of the matrix changes.
        osg::Matrix matrix = transform->getMatrix();
        for (osg::UInt32 row = 0; row < 3; ++row)
            matrix[3][row] *= _unitScale;
        const osg::CPEditor edit(transform, osg::Transform::MatrixFieldMask);
        transform->setMatrix(matrix);
    }
    return osg::Action::Continue;
}
