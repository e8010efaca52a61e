#include "graph/NodeTypes.h"

#include "graph/Node.h"

#include <deque>

namespace kelda
{

// -- Accessors of typed data ----------------------------------------------------------------------

namespace
{

template <class N>
Node* makeNode()
{
    return new N;
}

template <bool DagNode::*flag>
constexpr AttrAccess dagFlag()
{
    AttrAccess a{};
    a.get = [](const Node& n, int, int) { return static_cast<const DagNode&>(n).*flag ? 1.0 : 0.0; };
    a.set = [](Node& n, int, int, double v) { static_cast<DagNode&>(n).*flag = v != 0; };
    return a;
}

template <double (TransformData::*field)[3]>
constexpr AttrAccess transformTriple()
{
    AttrAccess a{};
    a.get = [](const Node& n, int, int c) {
        return (static_cast<const TransformNode&>(n).transform.*field)[c];
    };
    a.set = [](Node& n, int, int c, double v) { (static_cast<TransformNode&>(n).transform.*field)[c] = v; };
    return a;
}

double getRotateOrder(const Node& n, int, int)
{
    return static_cast<double>(static_cast<const TransformNode&>(n).transform.rotateOrder);
}
void setRotateOrder(Node& n, int, int, double v)
{
    const int order = v >= 0 && v <= 5 ? static_cast<int>(v) : 0;
    static_cast<TransformNode&>(n).transform.rotateOrder = static_cast<RotateOrder>(order);
}

int uvSetCount(const Node& n)
{
    return static_cast<int>(static_cast<const MeshNode&>(n).mesh.uvSets.size());
}
std::string getUVSetName(const Node& n, int element)
{
    const std::vector<UVSet>& sets = static_cast<const MeshNode&>(n).mesh.uvSets;
    return element >= 0 && static_cast<size_t>(element) < sets.size()
               ? sets[static_cast<size_t>(element)].name
               : std::string();
}
bool setUVSetName(Node& n, int element, std::string_view text)
{
    std::vector<UVSet>& sets = static_cast<MeshNode&>(n).mesh.uvSets;
    if (element < 0 || static_cast<size_t>(element) >= sets.size() || text.empty())
        return false;
    for (size_t i = 0; i < sets.size(); ++i)
        if (i != static_cast<size_t>(element) && sets[i].name == text)
            return false;
    sets[static_cast<size_t>(element)].name = std::string(text);
    return true;
}

double getRenderable(const Node& n, int, int)
{
    return static_cast<const SetNode&>(n).renderable ? 1 : 0;
}
void setRenderable(Node& n, int, int, double v)
{
    static_cast<SetNode&>(n).renderable = v != 0;
}

constexpr AttrAccess visibilityAccess = dagFlag<&DagNode::visible>();
constexpr AttrAccess intermediateAccess = dagFlag<&DagNode::intermediate>();
constexpr AttrAccess templateAccess = dagFlag<&DagNode::templated>();
constexpr AttrAccess translateAccess = transformTriple<&TransformData::translate>();
constexpr AttrAccess rotateAccess = transformTriple<&TransformData::rotate>();
constexpr AttrAccess rotateAxisAccess = transformTriple<&TransformData::rotateAxis>();
constexpr AttrAccess scaleAccess = transformTriple<&TransformData::scale>();
constexpr AttrAccess shearAccess = transformTriple<&TransformData::shear>();
constexpr AttrAccess rotatePivotAccess = transformTriple<&TransformData::rotatePivot>();
constexpr AttrAccess rotatePivotTranslateAccess = transformTriple<&TransformData::rotatePivotTranslate>();
constexpr AttrAccess scalePivotAccess = transformTriple<&TransformData::scalePivot>();
constexpr AttrAccess scalePivotTranslateAccess = transformTriple<&TransformData::scalePivotTranslate>();
constexpr AttrAccess rotateOrderAccess = {getRotateOrder, setRotateOrder, nullptr, nullptr, nullptr};
constexpr AttrAccess uvSetsAccess = {nullptr, nullptr, nullptr, nullptr, uvSetCount};
constexpr AttrAccess uvSetNameAccess = {nullptr, nullptr, getUVSetName, setUVSetName, uvSetCount};
constexpr AttrAccess renderableAccess = {getRenderable, setRenderable, nullptr, nullptr, nullptr};

} // namespace

// -- Tables ---------------------------------------------------------------------------------------

namespace
{

using K = AttrKind;
constexpr uint8_t kOutput = kAttrReadOnly;
constexpr const char* kXYZ = "X Y Z";
constexpr const char* kRGB = "R G B";
constexpr const char* kUV = "U V";

// clang-format off
const AttrRow nodeAttrs[] = {
    // name                  kind         default children      flags                      access                     parent
    {"message",              K::Message,  0,      nullptr,      kOutput,                   nullptr,                   nullptr},
};
const AttrRow dagNodeAttrs[] = {
    {"visibility",           K::Bool,     1,      nullptr,      0,                         &visibilityAccess,         nullptr},
    {"intermediateObject",   K::Bool,     0,      nullptr,      0,                         &intermediateAccess,       nullptr},
    {"template",             K::Bool,     0,      nullptr,      0,                         &templateAccess,           nullptr},
    {"matrix",               K::Matrix,   0,      nullptr,      kOutput,                   nullptr,                   nullptr},
    {"worldMatrix",          K::Matrix,   0,      nullptr,      kOutput | kAttrArray,      nullptr,                   nullptr},
    {"worldInverseMatrix",   K::Matrix,   0,      nullptr,      kOutput | kAttrArray,      nullptr,                   nullptr},
};
const AttrRow transformAttrs[] = {
    {"translate",            K::Double,   0,      kXYZ,         0,                         &translateAccess,          nullptr},
    {"rotate",               K::Angle,    0,      kXYZ,         0,                         &rotateAccess,             nullptr},
    {"rotateOrder",          K::Enum,     0,      nullptr,      0,                         &rotateOrderAccess,        nullptr},
    {"rotateAxis",           K::Angle,    0,      kXYZ,         0,                         &rotateAxisAccess,         nullptr},
    {"scale",                K::Double,   1,      kXYZ,         0,                         &scaleAccess,              nullptr},
    {"shear",                K::Double,   0,      "XY XZ YZ",   0,                         &shearAccess,              nullptr},
    {"rotatePivot",          K::Double,   0,      kXYZ,         0,                         &rotatePivotAccess,        nullptr},
    {"rotatePivotTranslate", K::Double,   0,      kXYZ,         0,                         &rotatePivotTranslateAccess, nullptr},
    {"scalePivot",           K::Double,   0,      kXYZ,         0,                         &scalePivotAccess,         nullptr},
    {"scalePivotTranslate",  K::Double,   0,      kXYZ,         0,                         &scalePivotTranslateAccess, nullptr},
};
const AttrRow meshAttrs[] = {
    {"doubleSided",          K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
    {"uvSets",               K::Compound, 0,      nullptr,      kAttrArray | kAttrNotStored, &uvSetsAccess,           nullptr},
    {"uvSetName",            K::Text,     0,      nullptr,      kAttrNotStored,            &uvSetNameAccess,          "uvSets"},
};
const AttrRow surfaceAttrs[] = {
    {"doubleSided",          K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow cameraAttrs[] = {
    {"focalLength",          K::Double,   35,     nullptr,      0,                         nullptr,                   nullptr}, // millimetres
    {"horizontalFilmAperture", K::Double, 1.417,  nullptr,      0,                         nullptr,                   nullptr}, // inches
    {"verticalFilmAperture", K::Double,   0.945,  nullptr,      0,                         nullptr,                   nullptr}, // inches
    {"nearClipPlane",        K::Double,   0.1,    nullptr,      0,                         nullptr,                   nullptr},
    {"farClipPlane",         K::Double,   10000,  nullptr,      0,                         nullptr,                   nullptr},
    {"orthographic",         K::Bool,     0,      nullptr,      0,                         nullptr,                   nullptr},
    {"orthographicWidth",    K::Double,   10,     nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow locatorAttrs[] = {
    {"localPosition",        K::Double,   0,      kXYZ,         0,                         nullptr,                   nullptr},
    {"localScale",           K::Double,   1,      kXYZ,         0,                         nullptr,                   nullptr},
};
const AttrRow lightAttrs[] = {
    {"color",                K::Float,    1,      kRGB,         0,                         nullptr,                   nullptr},
    {"intensity",            K::Float,    1,      nullptr,      0,                         nullptr,                   nullptr},
    {"emitDiffuse",          K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
    {"emitSpecular",         K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow ambientLightAttrs[] = {
    {"ambientShade",         K::Float,    0.45,   nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow decayingLightAttrs[] = {
    {"decayRate",            K::Enum,     0,      nullptr,      0,                         nullptr,                   nullptr}, // none, linear, quadratic, cubic
};
const AttrRow spotLightAttrs[] = {
    {"decayRate",            K::Enum,     0,      nullptr,      0,                         nullptr,                   nullptr},
    {"coneAngle",            K::Angle,    0.6981317007977318, nullptr, 0,                  nullptr,                   nullptr}, // full angle; 40 degrees
    {"penumbraAngle",        K::Angle,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"dropoff",              K::Double,   0,      nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow animCurveAttrs[] = {
    {"output",               K::Double,   0,      nullptr,      kOutput,                   nullptr,                   nullptr}, // drives what it is connected to
};
const AttrRow objectSetAttrs[] = {
    {"renderable",           K::Bool,     0,      nullptr,      kAttrNotStored,            &renderableAccess,         nullptr},
};
const AttrRow shadingEngineAttrs[] = {
    {"surfaceShader",        K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
    {"displacementShader",   K::Float,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"volumeShader",         K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
};
const AttrRow lambertAttrs[] = {
    {"color",                K::Float,    0.5,    kRGB,         0,                         nullptr,                   nullptr},
    {"transparency",         K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
    {"ambientColor",         K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
    {"incandescence",        K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
    {"diffuse",              K::Float,    1,      nullptr,      0,                         nullptr,                   nullptr},
    {"translucence",         K::Float,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"outColor",             K::Float,    0,      kRGB,         kOutput,                   nullptr,                   nullptr},
    {"outTransparency",      K::Float,    0,      kRGB,         kOutput,                   nullptr,                   nullptr},
};
const AttrRow reflectAttrs[] = {
    {"specularColor",        K::Float,    0.5,    kRGB,         0,                         nullptr,                   nullptr},
    {"reflectivity",         K::Float,    0.5,    nullptr,      0,                         nullptr,                   nullptr},
    {"reflectedColor",       K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
};
const AttrRow phongAttrs[] = {
    {"cosinePower",          K::Float,    20,     nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow blinnAttrs[] = {
    {"eccentricity",         K::Float,    0.3,    nullptr,      0,                         nullptr,                   nullptr},
    {"specularRollOff",      K::Float,    0.7,    nullptr,      0,                         nullptr,                   nullptr},
};
const AttrRow textureAttrs[] = {
    {"uvCoord",              K::Float,    0,      "=uCoord vCoord", 0,                     nullptr,                   nullptr},
    {"colorGain",            K::Float,    1,      kRGB,         0,                         nullptr,                   nullptr},
    {"colorOffset",          K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
    {"alphaGain",            K::Float,    1,      nullptr,      0,                         nullptr,                   nullptr},
    {"alphaOffset",          K::Float,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"defaultColor",         K::Float,    0.5,    kRGB,         0,                         nullptr,                   nullptr},
    {"invert",               K::Bool,     0,      nullptr,      0,                         nullptr,                   nullptr},
    {"outColor",             K::Float,    0,      kRGB,         kOutput,                   nullptr,                   nullptr},
    {"outAlpha",             K::Float,    0,      nullptr,      kOutput,                   nullptr,                   nullptr},
};
const AttrRow fileAttrs[] = {
    {"fileTextureName",      K::Text,     0,      nullptr,      kAttrFileName,             nullptr,                   nullptr},
    {"repeatUV",             K::Float,    1,      "=repeatU repeatV", 0,                   nullptr,                   nullptr},
    {"offset",               K::Float,    0,      kUV,          0,                         nullptr,                   nullptr},
    {"rotateUV",             K::Angle,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"wrapU",                K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
    {"wrapV",                K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
    {"outTransparency",      K::Float,    0,      kRGB,         kOutput,                   nullptr,                   nullptr},
};
const AttrRow projectionAttrs[] = {
    {"projType",             K::Enum,     1,      nullptr,      0,                         nullptr,                   nullptr}, // off, planar, spherical, cylindrical, ball, cubic, triplanar, concentric, perspective
    {"image",                K::Float,    0,      kRGB,         0,                         nullptr,                   nullptr},
    {"placementMatrix",      K::Matrix,   0,      nullptr,      0,                         nullptr,                   nullptr},
    {"uAngle",               K::Angle,    3.141592653589793, nullptr, 0,                   nullptr,                   nullptr},
    {"vAngle",               K::Angle,    1.5707963267948966, nullptr, 0,                  nullptr,                   nullptr},
};
const AttrRow place2dTextureAttrs[] = {
    {"uvCoord",              K::Float,    0,      "=uCoord vCoord", 0,                     nullptr,                   nullptr},
    {"coverage",             K::Float,    1,      kUV,          0,                         nullptr,                   nullptr},
    {"translateFrame",       K::Float,    0,      kUV,          0,                         nullptr,                   nullptr},
    {"rotateFrame",          K::Angle,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"repeatUV",             K::Float,    1,      "=repeatU repeatV", 0,                   nullptr,                   nullptr},
    {"offset",               K::Float,    0,      kUV,          0,                         nullptr,                   nullptr},
    {"rotateUV",             K::Angle,    0,      nullptr,      0,                         nullptr,                   nullptr},
    {"mirrorU",              K::Bool,     0,      nullptr,      0,                         nullptr,                   nullptr},
    {"mirrorV",              K::Bool,     0,      nullptr,      0,                         nullptr,                   nullptr},
    {"wrapU",                K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
    {"wrapV",                K::Bool,     1,      nullptr,      0,                         nullptr,                   nullptr},
    {"outUV",                K::Float,    0,      "=outU outV", kOutput,                   nullptr,                   nullptr},
};
const AttrRow uvChooserAttrs[] = {
    {"uvSets",               K::Text,     0,      nullptr,      kAttrArray,                nullptr,                   nullptr}, // names; mostly connected to a mesh's uvSets[n].uvSetName
    {"outUV",                K::Float,    0,      "=outU outV", kOutput,                   nullptr,                   nullptr},
};
// clang-format on

template <size_t n>
constexpr int countOf(const AttrRow (&)[n])
{
    return static_cast<int>(n);
}
#define KELDA_ATTRS(table) table, countOf(table)

// Node types. The id is stored in "kb" files: append rows, never renumber. A base stands before what is based
// on it.
// clang-format off
const NodeTypeRow typeRows[] = {
    // id  name                default name         base         function set           made by                   attributes
    {  1, "node",              nullptr,             nullptr,     KFn::kDependencyNode,  nullptr,                  KELDA_ATTRS(nodeAttrs)},
    {  2, "dagNode",           nullptr,             "node",      KFn::kDagNode,         nullptr,                  KELDA_ATTRS(dagNodeAttrs)},
    {  3, "world",             "world",             "dagNode",   KFn::kWorld,           makeNode<DagNode>,        nullptr, 0},
    {  4, "transform",         "transform",         "dagNode",   KFn::kTransform,       makeNode<TransformNode>,  KELDA_ATTRS(transformAttrs)},
    {  5, "shape",             nullptr,             "dagNode",   KFn::kShape,           nullptr,                  nullptr, 0},
    {  6, "mesh",              "polySurfaceShape",  "shape",     KFn::kMesh,            makeNode<MeshNode>,       KELDA_ATTRS(meshAttrs)},
    {  7, "camera",            "cameraShape",       "shape",     KFn::kCamera,          makeNode<DagNode>,        KELDA_ATTRS(cameraAttrs)},
    {  8, "locator",           "locatorShape",      "shape",     KFn::kLocator,         makeNode<DagNode>,        KELDA_ATTRS(locatorAttrs)},
    {  9, "light",             nullptr,             "shape",     KFn::kLight,           nullptr,                  KELDA_ATTRS(lightAttrs)},
    { 10, "ambientLight",      "ambientLightShape", "light",     KFn::kAmbientLight,    makeNode<DagNode>,        KELDA_ATTRS(ambientLightAttrs)},
    { 11, "directionalLight",  "directionalLightShape", "light", KFn::kDirectionalLight, makeNode<DagNode>,       nullptr, 0},
    { 12, "pointLight",        "pointLightShape",   "light",     KFn::kPointLight,      makeNode<DagNode>,        KELDA_ATTRS(decayingLightAttrs)},
    { 13, "spotLight",         "spotLightShape",    "light",     KFn::kSpotLight,       makeNode<DagNode>,        KELDA_ATTRS(spotLightAttrs)},
    { 14, "areaLight",         "areaLightShape",    "light",     KFn::kAreaLight,       makeNode<DagNode>,        KELDA_ATTRS(decayingLightAttrs)},
    { 15, "objectSet",         "set",               "node",      KFn::kSet,             makeNode<SetNode>,        KELDA_ATTRS(objectSetAttrs)},
    { 16, "shadingEngine",     "shadingEngine",     "objectSet", KFn::kShadingEngine,   makeNode<SetNode>,        KELDA_ATTRS(shadingEngineAttrs)},
    { 17, "lambert",           "lambert",           "node",      KFn::kLambert,         makeNode<Node>,           KELDA_ATTRS(lambertAttrs)},
    { 18, "reflect",           nullptr,             "lambert",   KFn::kReflect,         nullptr,                  KELDA_ATTRS(reflectAttrs)},
    { 19, "phong",             "phong",             "reflect",   KFn::kPhong,           makeNode<Node>,           KELDA_ATTRS(phongAttrs)},
    { 20, "blinn",             "blinn",             "reflect",   KFn::kBlinn,           makeNode<Node>,           KELDA_ATTRS(blinnAttrs)},
    { 21, "texture",           nullptr,             "node",      KFn::kTexture,         nullptr,                  KELDA_ATTRS(textureAttrs)},
    { 22, "file",              "file",              "texture",   KFn::kFileTexture,     makeNode<Node>,           KELDA_ATTRS(fileAttrs)},
    { 23, "projection",        "projection",        "texture",   KFn::kProjection,      makeNode<Node>,           KELDA_ATTRS(projectionAttrs)},
    { 24, "place2dTexture",    "place2dTexture",    "node",      KFn::kPlace2dTexture,  makeNode<Node>,           KELDA_ATTRS(place2dTextureAttrs)},
    { 25, "place3dTexture",    "place3dTexture",    "transform", KFn::kPlace3dTexture,  makeNode<TransformNode>,  nullptr, 0},
    { 26, "uvChooser",         "uvChooser",         "node",      KFn::kUvChooser,       makeNode<Node>,           KELDA_ATTRS(uvChooserAttrs)},
    { 27, "nurbsSurface",      "nurbsSurfaceShape", "shape",     KFn::kNurbsSurface,    makeNode<SurfaceNode>,    KELDA_ATTRS(surfaceAttrs)},
    { 28, "nurbsCurve",        "curveShape",        "shape",     KFn::kNurbsCurve,      makeNode<CurveNode>,      nullptr, 0},
    { 29, "animCurve",         "animCurve",         "node",      KFn::kAnimCurve,       makeNode<AnimCurveNode>,  KELDA_ATTRS(animCurveAttrs)},
};
// clang-format on
#undef KELDA_ATTRS

} // namespace

// -- Node types ready for use ---------------------------------------------------------------------

NodeType::NodeType(const NodeTypeRow& row, const NodeType* base) : _row(row), _base(base)
{
    if (base) {
        _attrs = base->_attrs;
        _byName = base->_byName;
        _numberSlots = base->_numberSlots;
        _textSlots = base->_textSlots;
        _arraySlots = base->_arraySlots;
    }
    for (int i = 0; i < row.attrCount; ++i)
        add(row.attrs[i]);
}

void NodeType::add(const AttrRow& row)
{
    Attr attr;
    attr.name = row.name;
    attr.kind = row.kind;
    attr.flags = row.flags;
    attr.value = row.value;
    attr.access = row.access;
    attr.parent = row.parent ? static_cast<int16_t>(findAttr(row.parent)) : int16_t(-1);

    std::vector<std::string> endings;
    const bool wholeNames = row.children && row.children[0] == '=';
    if (row.children) {
        const std::string all = wholeNames ? row.children + 1 : row.children;
        for (size_t from = 0; from < all.size();) {
            const size_t to = std::min(all.find(' ', from), all.size());
            endings.push_back(all.substr(from, to - from));
            from = to + 1;
        }
    }
    const bool generic = !row.access && !(row.flags & kAttrReadOnly);
    if (generic && attr.isTextArray()) {
        attr.slot = static_cast<int16_t>(_arraySlots++);
    } else if (generic && attr.isNumeric()) {
        attr.slot = static_cast<int16_t>(_numberSlots);
        _numberSlots += endings.empty() ? 1 : static_cast<int>(endings.size());
    } else if (generic && attr.kind == AttrKind::Text) {
        attr.slot = static_cast<int16_t>(_textSlots++);
    }
    attr.childCount = static_cast<int16_t>(endings.size());

    const int16_t index = static_cast<int16_t>(_attrs.size());
    _byName[attr.name] = index;
    _attrs.push_back(attr);
    for (size_t c = 0; c < endings.size(); ++c) {
        Attr child = attr;
        child.name = wholeNames ? endings[c] : attr.name + endings[c];
        child.parent = index;
        child.childCount = 0;
        child.component = static_cast<int16_t>(c);
        child.ownRow = false;
        if (attr.slot >= 0)
            child.slot = static_cast<int16_t>(attr.slot + static_cast<int16_t>(c));
        _byName[child.name] = static_cast<int>(_attrs.size());
        _attrs.push_back(std::move(child));
    }
}

int NodeType::findAttr(std::string_view name) const
{
    const auto it = _byName.find(std::string(name));
    return it == _byName.end() ? -1 : it->second;
}

const std::vector<NodeType>& nodeTypes()
{
    static const std::vector<NodeType> types = [] {
        std::vector<NodeType> all;
        all.reserve(sizeof typeRows / sizeof *typeRows); // types point to their bases
        for (const NodeTypeRow& row : typeRows) {
            const NodeType* base = nullptr;
            for (const NodeType& t : all)
                if (row.base && std::string_view(t.name()) == row.base)
                    base = &t;
            all.emplace_back(row, base);
        }
        return all;
    }();
    return types;
}

const NodeType* findNodeType(std::string_view name)
{
    static const std::unordered_map<std::string_view, const NodeType*> byName = [] {
        std::unordered_map<std::string_view, const NodeType*> map;
        for (const NodeType& type : nodeTypes())
            map.emplace(type.name(), &type);
        return map;
    }();
    const auto it = byName.find(name);
    return it == byName.end() ? nullptr : it->second;
}

const NodeType* findNodeType(unsigned id)
{
    for (const NodeType& type : nodeTypes())
        if (type.id() == id)
            return &type;
    return nullptr;
}

} // namespace kelda
