// Scene graphs of any kind through both scene forms: what is drawn comes back as it was.

#include "Materials.h"
#include "RoundTrip.h"

#include "LossReport.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGeoPropIndices.h>
#include <OpenSG/OSGGeoPropNormals.h>
#include <OpenSG/OSGGeoPropPLengths.h>
#include <OpenSG/OSGGeoPropPTypes.h>
#include <OpenSG/OSGGeoPropPositions.h>
#include <OpenSG/OSGGeoPropTexCoords.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>

#include <gmock/gmock.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace
{

// -- Plans of graphs -----------------------------------------------------------------------------------

enum class Kind { Group, MaterialGroup, Matrix, Components, Transform3D, Switch, Geometry };
const int kindCount = 7;

struct NodePlan {
    Kind kind;
    unsigned parent; ///< among the nodes before it that may have children
    unsigned name;   ///< of the list below
    unsigned shape;  ///< of a geometry: which core; of a material group: which material
    bool inactive;
    int choice;
    std::vector<int> numbers; ///< what transforms are made of
};

struct ShapePlan {
    unsigned primitives; ///< kind of primitives and indices
    unsigned corners;
    bool uvs;
    bool ownTransform;
    unsigned material; ///< 0: none, otherwise which
    std::vector<int> numbers;
};

/// A material of which nothing is lost.
struct MaterialPlan {
    unsigned name; ///< of the list below
    unsigned kind; ///< of chunks, simple, measured, chosen of several
    unsigned alpha;
    bool blended;
    unsigned image; ///< of those below; beyond: none
    std::vector<int> numbers;
};

struct GraphPlan {
    std::vector<NodePlan> nodes;
    std::vector<ShapePlan> shapes;
    std::vector<MaterialPlan> materials;
};

const char* const names[] = {"door",  "",         "3rd",        "left door.1", "\xc3\xbcn\xc3\xaf",
                             "door1", "lambert1", "transform1", "a|b",         "x#",
                             "_",     "world",    "door",       "Door",        "0123456789"};

// No node is called like a material: the modeller would number one of them.
const char* const materialNames[] = {"red", "blue metal", "", "2 tone", "red", "lambert1", "gl\xc3\xa4ss"};

struct ImagePlan {
    const char* name;
    osg::UInt32 format;
};
const ImagePlan images[] = {{"wood.jpg", osg::Image::OSG_RGB_PF},
                            {"C:/maps/iron.v2.png", osg::Image::OSG_RGBA_PF},
                            {"deep\\rust.tga", osg::Image::OSG_L_PF},
                            {"", osg::Image::OSG_LA_PF},
                            {"plain", osg::Image::OSG_BGR_PF}};

std::ostream& operator<<(std::ostream& out, const NodePlan& plan)
{
    return out << "{kind " << static_cast<int>(plan.kind) << " parent " << plan.parent << " name "
               << plan.name << " shape " << plan.shape << (plan.inactive ? " inactive" : "") << " choice "
               << plan.choice << " numbers " << rc::toString(plan.numbers) << "}";
}

std::ostream& operator<<(std::ostream& out, const ShapePlan& plan)
{
    return out << "{primitives " << plan.primitives << " corners " << plan.corners << (plan.uvs ? " uvs" : "")
               << (plan.ownTransform ? " own" : "") << " material " << plan.material << " numbers "
               << rc::toString(plan.numbers) << "}";
}

std::ostream& operator<<(std::ostream& out, const MaterialPlan& plan)
{
    return out << "{name " << plan.name << " kind " << plan.kind << " alpha " << plan.alpha
               << (plan.blended ? " blended" : "") << " image " << plan.image << " numbers "
               << rc::toString(plan.numbers) << "}";
}

std::ostream& operator<<(std::ostream& out, const GraphPlan& plan)
{
    return out << rc::toString(plan.nodes) << "\n"
               << rc::toString(plan.shapes) << "\n"
               << rc::toString(plan.materials);
}

// From one number, which is not shrunk: what goes wrong seldom depends on them, and each attempt is a trip.
rc::Gen<std::vector<int>> numbersGen()
{
    return rc::gen::noShrink(rc::gen::map(rc::gen::arbitrary<unsigned>(), [](unsigned seed) {
        std::mt19937 random(seed);
        std::vector<int> numbers;
        for (int i = 0; i < 16; ++i)
            numbers.push_back(static_cast<int>(random() % 41) - 20);
        return numbers;
    }));
}

rc::Gen<NodePlan> nodeGen()
{
    return rc::gen::build<NodePlan>(
        rc::gen::set(&NodePlan::kind,
                     rc::gen::map(rc::gen::inRange(0, kindCount + 3),
                                  [](int i) { return static_cast<Kind>(std::min(i, kindCount - 1)); })),
        rc::gen::set(&NodePlan::parent, rc::gen::inRange(0u, 1000u)),
        rc::gen::set(&NodePlan::name, rc::gen::inRange(0u, static_cast<unsigned>(std::size(names)))),
        rc::gen::set(&NodePlan::shape, rc::gen::inRange(0u, 1000u)),
        rc::gen::set(&NodePlan::inactive,
                     rc::gen::map(rc::gen::inRange(0, 12), [](int i) { return i == 11; })),
        rc::gen::set(&NodePlan::choice, rc::gen::inRange(-2, 4)),
        rc::gen::set(&NodePlan::numbers, numbersGen()));
}

rc::Gen<ShapePlan> shapeGen()
{
    return rc::gen::build<ShapePlan>(
        rc::gen::set(&ShapePlan::primitives, rc::gen::inRange(0u, 24u)),
        rc::gen::set(&ShapePlan::corners, rc::gen::inRange(4u, 12u)), rc::gen::set(&ShapePlan::uvs),
        rc::gen::set(&ShapePlan::ownTransform,
                     rc::gen::map(rc::gen::inRange(0, 4), [](int i) { return i == 3; })),
        rc::gen::set(&ShapePlan::material, rc::gen::inRange(0u, 8u)),
        rc::gen::set(&ShapePlan::numbers, numbersGen()));
}

rc::Gen<MaterialPlan> materialGen()
{
    return rc::gen::build<MaterialPlan>(
        rc::gen::set(&MaterialPlan::name,
                     rc::gen::inRange(0u, static_cast<unsigned>(std::size(materialNames)))),
        rc::gen::set(&MaterialPlan::kind, rc::gen::inRange(0u, 8u)),
        rc::gen::set(&MaterialPlan::alpha, rc::gen::inRange(0u, 5u)), rc::gen::set(&MaterialPlan::blended),
        rc::gen::set(&MaterialPlan::image,
                     rc::gen::inRange(0u, 2 * static_cast<unsigned>(std::size(images)))),
        rc::gen::set(&MaterialPlan::numbers, numbersGen()));
}

rc::Gen<GraphPlan> graphGen()
{
    return rc::gen::build<GraphPlan>(
        rc::gen::set(&GraphPlan::nodes, rc::gen::container<std::vector<NodePlan>>(nodeGen())),
        rc::gen::set(&GraphPlan::shapes,
                     rc::gen::nonEmpty(rc::gen::container<std::vector<ShapePlan>>(shapeGen()))),
        rc::gen::set(&GraphPlan::materials,
                     rc::gen::nonEmpty(rc::gen::container<std::vector<MaterialPlan>>(materialGen()))));
}

// -- From plans to graphs ------------------------------------------------------------------------------

float numberOf(const std::vector<int>& numbers, std::size_t i, float factor)
{
    return static_cast<float>(numbers[i % numbers.size()]) * factor;
}

// Not of tiny angles: an export takes the angle from the cosine of its half, which cannot tell them from
// none.
osg::Quaternion rotationOf(const std::vector<int>& numbers)
{
    osg::Vec3f axis(numberOf(numbers, 3, 1), numberOf(numbers, 4, 1), numberOf(numbers, 5, 1));
    if (axis.length() == 0)
        return osg::Quaternion();
    axis.normalize();
    return osg::Quaternion(axis, 0.25f + 0.1f * static_cast<float>(numbers[6] + 20) / 2);
}

osg::Vec3f scaleOf(const std::vector<int>& numbers)
{
    static const float scales[] = {1, 1, 0.5f, 2, -1, 1.25f};
    const auto scale = [&](std::size_t i) { return scales[static_cast<std::size_t>(numbers[i] + 20) % 6]; };
    return osg::Vec3f(scale(7), scale(8), scale(9));
}

osg::Vec3f moveOf(const std::vector<int>& numbers)
{
    return osg::Vec3f(numberOf(numbers, 0, 0.75f), numberOf(numbers, 1, 1.1f), numberOf(numbers, 2, 0.3f));
}

osg::NodeCorePtr makeMatrixTransform(const NodePlan& plan)
{
    osg::Matrix matrix;
    matrix.setTransform(moveOf(plan.numbers), rotationOf(plan.numbers), scaleOf(plan.numbers));
    const osg::TransformPtr core = osg::Transform::create();
    const osg::CPEditor edit(core);
    core->setMatrix(matrix);
    return core;
}

osg::NodeCorePtr makeComponentTransform(const NodePlan& plan)
{
    const osg::ComponentTransformPtr core = osg::ComponentTransform::create();
    const osg::CPEditor edit(core);
    core->setTranslation(moveOf(plan.numbers));
    core->setRotation(rotationOf(plan.numbers));
    core->setScale(scaleOf(plan.numbers));
    core->setCenter(osg::Vec3f(numberOf(plan.numbers, 10, 0.5f), 0, numberOf(plan.numbers, 11, 0.5f)));
    return core;
}

osg::Transform3DPtr makeTransform3D(const std::vector<int>& n)
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    const osg::CPEditor edit(core);
    core->setTranslation(moveOf(n));
    core->setRotationAsQuaternion(rotationOf(n));
    core->setScale(scaleOf(n));
    core->setShear(osg::Vec3f(numberOf(n, 10, 0.05f), numberOf(n, 11, 0.05f), numberOf(n, 12, 0.02f)));
    core->setRotatePivot(osg::Vec3f(numberOf(n, 13, 0.5f), numberOf(n, 14, 0.25f), 1));
    core->setScalePivot(osg::Vec3f(2, numberOf(n, 15, 0.5f), numberOf(n, 0, 0.125f)));
    core->setRotatePivotTranslation(osg::Vec3f(numberOf(n, 1, 0.1f), 0, numberOf(n, 2, 0.2f)));
    core->setScalePivotTranslation(osg::Vec3f(0, numberOf(n, 3, 0.3f), numberOf(n, 4, 0.1f)));
    return core;
}

// Values whose every bit has to be kept, among others.
float valueOf(const ShapePlan& plan, unsigned i)
{
    static const float odd[] = {-0.0f, 1e-40f, 0.1f, -3.4028235e38f, 1.17549435e-38f, 0.333333343f};
    const int n = plan.numbers[i % plan.numbers.size()] + static_cast<int>(i % 5);
    return n % 7 == 0 ? odd[i % std::size(odd)] : static_cast<float>(n) / 7;
}

osg::Pnt3f pointOf(const ShapePlan& plan, unsigned i)
{
    return osg::Pnt3f(numberOf(plan.numbers, i, 0.31f) + static_cast<float>(i),
                      numberOf(plan.numbers, i + 5, 0.17f), numberOf(plan.numbers, 3 * i + 1, 0.41f));
}

// Points and lines are drawn, but no scene holds them: behind the triangles, so that they are passed over.
osg::GeometryPtr makeShape(const ShapePlan& plan)
{
    static const osg::UInt8 kinds[] = {GL_TRIANGLES,  GL_TRIANGLE_STRIP, GL_TRIANGLE_FAN, GL_QUADS,
                                       GL_QUAD_STRIP, GL_POLYGON,        GL_TRIANGLES,    GL_TRIANGLE_STRIP};
    const bool mixed = plan.primitives % 8 > 5;
    const unsigned indexing = plan.primitives / 8; // none, one for all, one each

    const osg::GeoPTypesUI8Ptr types = osg::GeoPTypesUI8::create();
    const osg::GeoPLengthsUI32Ptr lengths = osg::GeoPLengthsUI32::create();
    const osg::GeoPositions3fPtr positions = osg::GeoPositions3f::create();
    const osg::GeoNormals3fPtr normals = osg::GeoNormals3f::create();
    const osg::GeoTexCoords2fPtr texCoords = osg::GeoTexCoords2f::create();
    const osg::GeoIndicesUI32Ptr indices = osg::GeoIndicesUI32::create();
    {
        const osg::CPEditor editTypes(types);
        const osg::CPEditor editLengths(lengths);
        const osg::CPEditor editPositions(positions);
        const osg::CPEditor editNormals(normals);
        const osg::CPEditor editTexCoords(texCoords);
        const osg::CPEditor editIndices(indices);

        unsigned corners = 0;
        const auto addPrimitive = [&](osg::UInt8 type, unsigned length) {
            types->addValue(type);
            lengths->addValue(length);
            corners += length;
        };
        addPrimitive(kinds[plan.primitives % 8], plan.corners);
        if (mixed) {
            addPrimitive(GL_LINE_STRIP, 3);
            addPrimitive(GL_POLYGON, 5);
            addPrimitive(GL_POINTS, 2);
            addPrimitive(GL_TRIANGLE_STRIP, 6);
        }

        const unsigned values = indexing == 0 ? corners : 7;
        for (unsigned i = 0; i < values; ++i) {
            positions->addValue(pointOf(plan, i));
            normals->addValue(osg::Vec3f(valueOf(plan, i), valueOf(plan, i + 1), valueOf(plan, 2 * i)));
            texCoords->addValue(osg::Vec2f(valueOf(plan, 3 * i), valueOf(plan, i + 7)));
        }
        for (unsigned i = 0; i < corners; ++i) {
            indices->addValue((i * 3 + plan.corners) % values);
            if (indexing == 2) {
                indices->addValue((i * 2) % values);
                if (plan.uvs)
                    indices->addValue((i * 5 + 1) % values);
            }
        }
    }

    const osg::GeometryPtr geometry = osg::Geometry::create();
    const osg::CPEditor edit(geometry);
    geometry->setTypes(types);
    geometry->setLengths(lengths);
    geometry->setPositions(positions);
    geometry->setNormals(normals);
    if (plan.uvs)
        geometry->setTexCoords(texCoords);
    else
        osg::subRefCP(osg::GeoTexCoordsPtr(texCoords));
    if (indexing > 0)
        geometry->setIndices(indices);
    else
        osg::subRefCP(osg::GeoIndicesPtr(indices));
    if (indexing == 2) {
        geometry->getIndexMapping().push_back(osg::Geometry::MapPosition);
        geometry->getIndexMapping().push_back(osg::Geometry::MapNormal);
        if (plan.uvs)
            geometry->getIndexMapping().push_back(osg::Geometry::MapTexCoords);
    }
    if (plan.ownTransform)
        geometry->setTransform(makeTransform3D(plan.numbers));
    return geometry;
}

// -- Materials ---------------------------------------------------------------------------------------------

osg::Color3f colorOf(const std::vector<int>& numbers, std::size_t i)
{
    const auto value = [&](std::size_t k) { return 0.5f + numberOf(numbers, i + k, 0.025f); };
    return osg::Color3f(value(0), value(1), value(2));
}

osg::MaterialChunkPtr makeColors(const MaterialPlan& plan)
{
    const auto withAlpha = [&plan](const osg::Color3f& color) {
        return osg::Color4f(color.red(), color.green(), color.blue(), static_cast<float>(plan.alpha) / 4);
    };
    return changed(osg::MaterialChunk::create(), [&](const osg::MaterialChunkPtr& chunk) {
        chunk->setDiffuse(withAlpha(colorOf(plan.numbers, 0)));
        chunk->setAmbient(withAlpha(colorOf(plan.numbers, 3)));
        chunk->setSpecular(withAlpha(colorOf(plan.numbers, 6)));
        chunk->setShininess(20 + numberOf(plan.numbers, 9, 0.9f));
    });
}

osg::MaterialPtr makeChunkMaterial(const MaterialPlan& plan, const std::vector<osg::ImagePtr>& all)
{
    const osg::ImagePtr image = plan.image < all.size() ? all[plan.image] : osg::ImagePtr();
    std::vector<osg::StateChunkPtr> chunks = {makeColors(plan)};
    // An image with alpha comes back blended.
    if (plan.blended || (image != osg::NullFC && image->hasAlphaChannel()))
        chunks.push_back(makeBlending());
    if (image != osg::NullFC)
        chunks.push_back(makeTexture(image));
    return makeMaterial(materialNames[plan.name], chunks);
}

osg::MaterialPtr makeAnyMaterial(const MaterialPlan& plan, const std::vector<osg::ImagePtr>& all)
{
    osg::MaterialPtr material;
    if (plan.kind == 5) {
        material = changed(osg::SimpleMaterial::create(), [&plan](const osg::SimpleMaterialPtr& simple) {
            simple->setDiffuse(colorOf(plan.numbers, 0));
            simple->setTransparency(static_cast<float>(plan.alpha) / 5);
        });
    } else if (plan.kind == 6) {
        material = changed(osg::UBRDFMaterial::create(), [&plan](const osg::UBRDFMaterialPtr& measured) {
            measured->setAnalyticDiffuse(colorOf(plan.numbers, 0));
            measured->setAnalyticSpecular(colorOf(plan.numbers, 3));
            measured->setAnalyticTransparency(static_cast<float>(plan.alpha) / 5);
        });
    } else if (plan.kind == 7) {
        material = changed(osg::SwitchMaterial::create(), [&](const osg::SwitchMaterialPtr& choice) {
            choice->addMaterial(makeChunkMaterial(plan, {}));
            choice->addMaterial(makeChunkMaterial(plan, all));
            choice->setChoice(1);
        });
    } else {
        return makeChunkMaterial(plan, all);
    }
    if (materialNames[plan.name][0] != '\0')
        osg::setName(material, materialNames[plan.name]);
    return material;
}

/// The materials of a plan, held so that those that nothing uses go away, too.
class PlannedMaterials
{
public:
    explicit PlannedMaterials(const std::vector<MaterialPlan>& plans)
    {
        for (const ImagePlan& plan : images) {
            _images.push_back(makeImage(plan.name, plan.format, static_cast<unsigned>(_images.size())));
            osg::addRefCP(_images.back());
        }
        for (const MaterialPlan& plan : plans) {
            _materials.push_back(makeAnyMaterial(plan, _images));
            osg::addRefCP(_materials.back());
        }
    }
    ~PlannedMaterials()
    {
        for (osg::MaterialPtr& material : _materials)
            osg::subRefCP(material);
        for (osg::ImagePtr& image : _images)
            osg::subRefCP(image);
    }
    PlannedMaterials(const PlannedMaterials&) = delete;
    PlannedMaterials& operator=(const PlannedMaterials&) = delete;

    /// Null for 0.
    osg::MaterialPtr get(unsigned number) const
    {
        return number == 0 ? osg::MaterialPtr() : _materials[(number - 1) % _materials.size()];
    }

private:
    std::vector<osg::ImagePtr> _images;
    std::vector<osg::MaterialPtr> _materials;
};

osg::NodeCorePtr makeMaterialGroup(const osg::MaterialPtr& material)
{
    return changed(osg::MaterialGroup::create(),
                   [&material](const osg::MaterialGroupPtr& group) { group->setMaterial(material); });
}

osg::NodeCorePtr makeCore(const NodePlan& plan, const std::vector<osg::GeometryPtr>& shapes,
                          const PlannedMaterials& materials)
{
    switch (plan.kind) {
    case Kind::Group:
        return osg::Group::create();
    case Kind::MaterialGroup:
        return makeMaterialGroup(materials.get(plan.shape % 4));
    case Kind::Matrix:
        return makeMatrixTransform(plan);
    case Kind::Components:
        return makeComponentTransform(plan);
    case Kind::Transform3D:
        return makeTransform3D(plan.numbers);
    case Kind::Switch: {
        const osg::SwitchPtr core = osg::Switch::create();
        const osg::CPEditor edit(core);
        core->setChoice(plan.choice);
        return core;
    }
    default:
        return shapes[plan.shape % shapes.size()];
    }
}

void addTo(const osg::NodePtr& parent, const osg::NodePtr& child)
{
    const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
    parent->addChild(child);
}

osg::NodePtr makeGraph(const GraphPlan& plan)
{
    // Held, so that cores that no node uses go away, too.
    const PlannedMaterials materials(plan.materials);
    std::vector<osg::GeometryPtr> shapes;
    for (const ShapePlan& shape : plan.shapes) {
        shapes.push_back(painted(makeShape(shape), materials.get(shape.material)));
        osg::addRefCP(shapes.back());
    }

    const osg::NodePtr root = makeNode("root", osg::Group::create());
    std::vector<osg::NodePtr> parents = {root};
    for (const NodePlan& nodePlan : plan.nodes) {
        const osg::NodeCorePtr core = makeCore(nodePlan, shapes, materials);
        const osg::NodePtr node = makeNode(names[nodePlan.name], core);
        if (nodePlan.inactive)
            makeInactive(node);
        osg::NodePtr parent = parents[nodePlan.parent % parents.size()];
        const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(core);
        // An import looks at the visibility of the shape, not at that of its transform, which is what hides
        // the geometry that a switch does not choose: see GraphTrip.geometryRightBelowASwitchIsShownAgain.
        if (geometry != osg::NullFC && osg::SwitchPtr::dcast(parent->getCore()) != osg::NullFC) {
            const osg::NodePtr level = makeNode("level", osg::Group::create());
            addTo(parent, level);
            parent = level;
        }
        addTo(parent, node);
        // What is below a geometry with a transform of its own moves with it: see
        // GraphTrip.whatIsBelowAMovedGeometryMovesWithIt.
        if (geometry == osg::NullFC || geometry->getTransform() == osg::NullFC)
            parents.push_back(node);
    }
    for (osg::GeometryPtr& shape : shapes)
        osg::subRefCP(shape);
    return root;
}

// -- What has to hold ----------------------------------------------------------------------------------

bool isLegalCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

std::string legal(std::string name)
{
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (!isLegalCharacter(name[i]) || (i == 0 && name[i] >= '0' && name[i] <= '9'))
            name[i] = '_';
    }
    return name;
}

bool isNumbered(const std::string& name, const std::string& base)
{
    return name.size() > base.size() && name.compare(0, base.size(), base) == 0 &&
           name.find_first_not_of("0123456789", base.size()) == std::string::npos;
}

// `name` is what a use was called in the graph that was written, `back` what it is called now.
bool nameCameBack(const std::string& name, const std::string& back)
{
    const std::string expected = legal(name);
    if (expected.empty())
        return isNumbered(back, "polySurfaceShape");
    if (expected == "lambert1") // taken by the default shader
        return isNumbered(back, "lambert");
    return back == expected;
}

std::string firstNameOf(const std::vector<SeenUse>& uses, const osg::NodeCorePtr& core)
{
    for (const SeenUse& use : uses) {
        if (use.core == core)
            return use.name;
    }
    return std::string();
}

void expectSameUses(const std::vector<SeenUse>& before, const std::vector<SeenUse>& after, double tolerance)
{
    RC_ASSERT(before.size() == after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        RC_ASSERT(before[i].triangles == after[i].triangles);
        RC_ASSERT(before[i].shown == after[i].shown);
        const double distance = distanceOf(before[i], after[i]);
        RC_ASSERT(distance <= tolerance);
    }
}

// Geometry of the import is shared only where the graph shared it, and is shared where the first use did not
// take the place of an identity transform: where the core has a transform of its own.
void expectSharing(const std::vector<SeenUse>& before, const std::vector<SeenUse>& after)
{
    std::map<osg::NodeCorePtr, osg::NodeCorePtr> origin;
    std::map<osg::NodeCorePtr, osg::NodeCorePtr> shared;
    for (std::size_t i = 0; i < before.size(); ++i) {
        RC_ASSERT(origin.emplace(after[i].core, before[i].core).first->second == before[i].core);
        const osg::Transform3DPtr own = osg::GeometryPtr::dcast(before[i].core)->getTransform();
        if (own != osg::NullFC && !(own->getMatrix() == osg::Matrix::identity()))
            RC_ASSERT(shared.emplace(before[i].core, after[i].core).first->second == after[i].core);
    }
}

void expectTrips(const GraphPlan& plan, const std::string& suffix)
{
    const TripFolder folder;
    const ScopedGraph graph(makeGraph(plan));
    const std::vector<SeenUse> uses = lookAt(graph.get(), false);
    const double tolerance = 1e-5 * sizeOf(uses);

    const ScopedGraph once(folder.trip(graph.get(), suffix));
    RC_ASSERT(once.get() != osg::NullFC);
    const std::vector<SeenUse> usesOnce = lookAt(once.get(), true);
    expectSameUses(uses, usesOnce, tolerance);
    expectSharing(uses, usesOnce);
    for (std::size_t i = 0; i < uses.size(); ++i) {
        const std::string name = firstNameOf(uses, uses[i].core);
        RC_LOG() << "'" << name << "' came back as '" << usesOnce[i].name << "'\n";
        RC_ASSERT(nameCameBack(name, usesOnce[i].name));
    }
    // Geometry has its own material before that of a group, and all uses that of the first.
    zyscene::applyMaterialLosses(graph.get());
    const std::string differencesOnce = differencesBetween(graph.get(), once.get());
    RC_LOG() << differencesOnce;
    RC_ASSERT(differencesOnce.empty());

    // The second trip adds its level at the top and changes nothing else.
    const ScopedGraph twice(folder.trip(once.get(), suffix));
    RC_ASSERT(twice.get() != osg::NullFC);
    const std::vector<SeenUse> shownOnce = lookAt(once.get(), false);
    const std::vector<SeenUse> usesTwice = lookAt(twice.get(), true);
    expectSameUses(shownOnce, usesTwice, tolerance / 10);
    for (std::size_t i = 0; i < usesTwice.size(); ++i)
        RC_ASSERT(shownOnce[i].name == usesTwice[i].name);
    const std::string differencesTwice =
        differencesBetween(once.get(), twice.get(), Inactive::GoneInSecond, tolerance / 10);
    RC_LOG() << differencesTwice;
    RC_ASSERT(differencesTwice.empty());
}

// Materials of a plan lose nothing by themselves, so that nothing is excused above.
TEST(AnyGraph, hasMaterialsThatAreCarriedWhole)
{
    using zyscene::Loss;
    EXPECT_TRUE(rc::check([] {
        const ScopedGraph graph(makeGraph(*graphGen()));
        const zyscene::LossReport report(graph.get());
        for (std::size_t i = 0; i < zyscene::lossCount; ++i) {
            if (zyscene::lossKinds[i].subject == zyscene::LossKind::Materials &&
                zyscene::lossKinds[i].severity == zyscene::Issue::Warning)
                RC_ASSERT(report[static_cast<Loss>(i)].count == 0u);
        }
    }));
}

TEST(AnyGraph, throughTheTextFormKeepsWhatIsDrawn)
{
    EXPECT_TRUE(rc::check([] { expectTrips(*graphGen(), "ka"); }));
}

TEST(AnyGraph, throughTheBinaryFormKeepsWhatIsDrawn)
{
    EXPECT_TRUE(rc::check([] { expectTrips(*graphGen(), "kb"); }));
}

TEST(AnyGraph, bothFormsBringBackTheSame)
{
    EXPECT_TRUE(rc::check([] {
        const TripFolder folder;
        const ScopedGraph graph(makeGraph(*graphGen()));
        const ScopedGraph text(folder.trip(graph.get(), "ka"));
        const ScopedGraph binary(folder.trip(graph.get(), "kb"));
        RC_ASSERT(text.get() != osg::NullFC);
        RC_ASSERT(differencesBetween(text.get(), binary.get(), Inactive::Kept, 0) == "");
    }));
}

// -- What a trip does, by example ----------------------------------------------------------------------

class GraphTrip : public testing::TestWithParam<const char*>
{
protected:
    osg::NodePtr trip(const osg::NodePtr& root)
    {
        _graphs.emplace_back(new ScopedGraph(folder.trip(root, GetParam())));
        return _graphs.back()->get();
    }

    const TripFolder folder;

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

INSTANTIATE_TEST_SUITE_P(Forms, GraphTrip, testing::Values("ka", "kb"),
                         [](const auto& info) { return std::string(info.param); });

std::string nameOf(const osg::NodePtr& node)
{
    const char* const name = osg::getName(node);
    return name != nullptr ? name : "";
}

std::vector<std::string> childNames(const osg::NodePtr& node)
{
    std::vector<std::string> result;
    for (osg::UInt32 i = 0; node != osg::NullFC && i < node->getNChildren(); ++i)
        result.push_back(nameOf(node->getChild(i)));
    return result;
}

using testing::ElementsAre;

TEST_P(GraphTrip, addsOneLevelAtTheTop)
{
    const ScopedGraph graph(makeNode("scene", osg::Group::create(),
                                     {makeNode("arm", makeMove(1, 2, 3), {makeNode("hand", makeTriangle(0))}),
                                      makeNode("leg", makeTriangle(1))}));
    const osg::NodePtr once = trip(graph.get());
    ASSERT_TRUE(once != osg::NullFC);
    EXPECT_EQ("trip", nameOf(once)) << "named after the file";
    ASSERT_THAT(childNames(once), ElementsAre("scene"));
    ASSERT_THAT(childNames(once->getChild(0)), ElementsAre("arm", "leg"));
    EXPECT_THAT(childNames(once->getChild(0)->getChild(0)), ElementsAre("hand"));

    const osg::NodePtr twice = trip(once);
    ASSERT_THAT(childNames(twice), ElementsAre("trip"));
    ASSERT_THAT(childNames(twice->getChild(0)), ElementsAre("scene"));
    EXPECT_THAT(childNames(twice->getChild(0)->getChild(0)), ElementsAre("arm", "leg"));
}

TEST_P(GraphTrip, furtherUsesOfACoreComeBackBelowANodeOfTheirOwn)
{
    const osg::GeometryPtr shared = makeTriangle(0);
    const ScopedGraph graph(
        makeNode("scene", osg::Group::create(), {makeNode("first", shared), makeNode("second", shared)}));
    const osg::NodePtr once = trip(graph.get());
    ASSERT_THAT(childNames(once), ElementsAre("scene"));
    ASSERT_THAT(childNames(once->getChild(0)), ElementsAre("first", "second"));
    EXPECT_THAT(childNames(once->getChild(0)->getChild(1)), ElementsAre("first")) << "the shape has one name";
}

TEST_P(GraphTrip, coresWithATransformOfTheirOwnStayShared)
{
    const osg::GeometryPtr shared = makeTriangle(0);
    {
        const osg::CPEditor edit(shared);
        shared->setTransform(makeMove(0, 0, 7));
    }
    const ScopedGraph graph(makeNode(
        "scene", osg::Group::create(),
        {makeNode("first", shared), makeNode("place", makeMove(5, 0, 0), {makeNode("second", shared)})}));
    const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
    ASSERT_EQ(2u, uses.size());
    EXPECT_TRUE(uses[0].core == uses[1].core);
    EXPECT_EQ(7, uses[0].place[3][2]);
    EXPECT_EQ(7, uses[1].place[3][2]);
    EXPECT_EQ(5, uses[1].place[3][0]);
}

TEST_P(GraphTrip, inactiveNodesAreGone)
{
    const ScopedGraph graph(makeNode(
        "scene", osg::Group::create(),
        {makeNode("shown", makeTriangle(0)),
         makeInactive(makeNode("hidden", makeMove(1, 0, 0), {makeNode("below", makeTriangle(1))}))}));
    const osg::NodePtr once = trip(graph.get());
    ASSERT_THAT(childNames(once), ElementsAre("scene"));
    EXPECT_THAT(childNames(once->getChild(0)), ElementsAre("shown"));
}

TEST_P(GraphTrip, whatASwitchDoesNotShowComesBackInactive)
{
    const auto child = [](const char* name, int number) {
        return makeNode(name, osg::Group::create(),
                        {makeNode(std::string(name) + "Part", makeTriangle(number)),
                         makeNode("more", osg::Group::create())});
    };
    const std::vector<std::pair<osg::Int32, std::vector<bool>>> cases = {{-2, {true, true}},
                                                                         {-1, {false, false}},
                                                                         {0, {true, false}},
                                                                         {1, {false, true}},
                                                                         {2, {false, false}}};
    for (const auto& expected : cases) {
        const ScopedGraph graph(makeSwitch("choices", expected.first, {child("a", 0), child("b", 1)}));
        const osg::NodePtr once = trip(graph.get());
        ASSERT_THAT(childNames(once), ElementsAre("choices"));
        const osg::NodePtr choices = once->getChild(0);
        ASSERT_THAT(childNames(choices), ElementsAre("a", "b"));
        for (osg::UInt32 i = 0; i < 2; ++i)
            EXPECT_EQ(expected.second[i], choices->getChild(i)->getActive())
                << expected.first << " child " << i;
    }
}

TEST_P(GraphTrip, geometryRightBelowASwitchIsShownAgain)
{
    // Deliberate: it is the transform that is hidden, and an import takes the visibility of the shape for
    // both.
    const ScopedGraph graph(makeSwitch("choices", -1, {makeNode("part", makeTriangle(0))}));
    const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
    ASSERT_EQ(1u, uses.size());
    EXPECT_TRUE(uses[0].shown);
}

TEST_P(GraphTrip, whatIsBelowAMovedGeometryMovesWithIt)
{
    // Deliberate: the geometry's own transform is that of the transform above the shape.
    const osg::GeometryPtr moved = makeTriangle(0);
    {
        const osg::CPEditor edit(moved);
        moved->setTransform(makeMove(0, 0, 7));
    }
    const ScopedGraph graph(makeNode("moved", moved, {makeNode("below", makeTriangle(1))}));
    const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
    ASSERT_EQ(2u, uses.size());
    EXPECT_EQ(7, uses[0].place[3][2]);
    EXPECT_EQ(7, uses[1].place[3][2]);
}

TEST_P(GraphTrip, theOrientationOfRotationAxesIsGivenUp)
{
    // Deliberate: it is set behind the rotation, and in a way that keeps the whole turn. What the modeller
    // then holds is a rotation that undoes the orientation.
    const osg::Transform3DPtr core = makeMove(1, 0, 0);
    const osg::Quaternion rotation(osg::Vec3f(0, 0, 1), 0.75f);
    {
        const osg::CPEditor edit(core);
        core->setRotationAsQuaternion(rotation);
        core->setRotationOrientationAsQuaternion(osg::Quaternion(osg::Vec3f(1, 0, 0), 0.5f));
    }
    const ScopedGraph graph(makeNode("turned", core, {makeNode("part", makeTriangle(0))}));
    const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
    ASSERT_EQ(1u, uses.size());
    osg::Matrix expected;
    expected.setTransform(osg::Vec3f(1, 0, 0), rotation);
    EXPECT_TRUE(expected.equals(uses[0].place, 1e-6f));
}

TEST_P(GraphTrip, verySmallTurnsAreLost)
{
    // Deliberate: the angle is taken from the cosine of its half, which single precision cannot tell from 1.
    const auto turned = [this](float angle) {
        const osg::Transform3DPtr core = osg::Transform3D::create();
        {
            const osg::CPEditor edit(core);
            core->setRotationAsQuaternion(osg::Quaternion(osg::Vec3f(0, 0, 1), angle));
        }
        const ScopedGraph graph(makeNode("turned", core, {makeNode("part", makeTriangle(0))}));
        const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
        return uses.size() == 1 ? uses[0].place[0][1] : -1.f;
    };
    EXPECT_EQ(0, turned(1e-4f));
    EXPECT_NEAR(0.1f, turned(std::asin(0.1f)), 1e-5f);
}

TEST_P(GraphTrip, geometryWithoutNormalsComesBackFlat)
{
    const osg::GeometryPtr bare =
        makeGeometry({{0, 0, 0}, {2, 0, 0}, {0, 3, 0}, {0, 0, 0}, {0, 4, 0}, {0, 0, 5}}, GL_TRIANGLES);
    {
        const osg::CPEditor edit(bare);
        bare->setNormals(osg::NullFC);
    }
    const ScopedGraph graph(makeNode("bare", bare));
    const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
    ASSERT_EQ(1u, uses.size());
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(uses[0].core);
    ASSERT_TRUE(geometry->getNormals() != osg::NullFC);
    std::set<std::vector<float>> normals;
    for (osg::UInt32 i = 0; i < geometry->getNormals()->getSize(); ++i) {
        const osg::Vec3f normal = geometry->getNormals()->getValue(i);
        normals.insert({normal[0], normal[1], normal[2]});
    }
    EXPECT_THAT(normals, ElementsAre(std::vector<float>{0, 0, 1}, std::vector<float>{1, 0, 0}));
}

TEST_P(GraphTrip, pointsAndLinesAreLeftBehind)
{
    const osg::GeometryPtr lines = makeTriangle(0);
    {
        const osg::CPEditor edit(lines->getTypes());
        lines->getTypes()->setValue(GL_LINE_LOOP, 0);
    }
    const ScopedGraph graph(makeNode("lines", lines));
    const osg::NodePtr once = trip(graph.get());
    ASSERT_THAT(childNames(once), ElementsAre("lines")) << "its place stays";
    EXPECT_TRUE(osg::GeometryPtr::dcast(once->getChild(0)->getCore()) == osg::NullFC);
}

TEST_P(GraphTrip, namesComeBackLegal)
{
    const ScopedGraph graph(
        makeNode("my scene", osg::Group::create(),
                 {makeNode("3rd", makeTriangle(0)), makeNode("left door.1", makeTriangle(1)),
                  makeNode("", makeTriangle(2)), makeNode("", makeMove(1, 0, 0)),
                  makeNode("part", osg::Group::create()), makeNode("part", osg::Group::create())}));
    const osg::NodePtr once = trip(graph.get());
    ASSERT_THAT(childNames(once), ElementsAre("my_scene"));
    const std::vector<std::string> children = childNames(once->getChild(0));
    ASSERT_EQ(6u, children.size());
    EXPECT_EQ("_rd", children[0]);
    EXPECT_EQ("left_door_1", children[1]);
    EXPECT_TRUE(isNumbered(children[2], "polySurfaceShape")) << children[2];
    EXPECT_TRUE(isNumbered(children[3], "transform")) << children[3];
    EXPECT_EQ("part", children[4]);
    EXPECT_EQ("part1", children[5]);
}

TEST_P(GraphTrip, tenThousandLevelsComeBack)
{
    osg::NodePtr node = makeNode("end", makeTriangle(0));
    for (int i = 0; i < 10000; ++i)
        node = makeNode("l", makeMove(0.5f, 0, 0), {node});
    const ScopedGraph graph(node);
    const std::vector<SeenUse> uses = lookAt(trip(graph.get()), true);
    ASSERT_EQ(1u, uses.size());
    EXPECT_EQ(5000, uses[0].place[3][0]);
}

TEST_P(GraphTrip, anEmptySceneComesBackEmpty)
{
    const ScopedGraph graph(makeNode("nothing", osg::Group::create()));
    const osg::NodePtr once = trip(graph.get());
    ASSERT_THAT(childNames(once), ElementsAre("nothing"));
    EXPECT_EQ(0u, once->getChild(0)->getNChildren());
}

} // namespace
