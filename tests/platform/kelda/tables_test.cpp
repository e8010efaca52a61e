#include "graph/NodeTypes.h"
#include "io/SceneSink.h"
#include "kelda_test.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <set>

using namespace kelda;

TEST(NodeTypeTable, idsAndNamesAreUniqueAndBasesStandBefore)
{
    std::set<unsigned> ids;
    std::set<std::string> names, defaults;
    std::set<int> fns;
    std::set<const NodeType*> before;
    for (const NodeType& type : nodeTypes()) {
        EXPECT_TRUE(ids.insert(type.id()).second) << type.name();
        EXPECT_TRUE(names.insert(type.name()).second) << type.name();
        EXPECT_TRUE(fns.insert(type.fn()).second) << type.name();
        EXPECT_TRUE(before.empty() ? !type.base() : before.count(type.base()) == 1) << type.name();
        EXPECT_EQ(type.isAbstract(), type.defaultName() == nullptr) << type.name();
        if (!type.isAbstract()) {
            EXPECT_TRUE(defaults.insert(type.defaultName()).second) << type.name();
        }
        EXPECT_EQ(findNodeType(std::string_view(type.name())), &type);
        EXPECT_EQ(findNodeType(type.id()), &type);
        before.insert(&type);
    }
}

TEST(NodeTypeTable, attributeNamesAreUniqueWithinAType)
{
    for (const NodeType& type : nodeTypes()) {
        std::set<std::string> names;
        for (const Attr& attr : type.attrs()) {
            EXPECT_TRUE(names.insert(attr.name).second) << type.name() << "." << attr.name;
            EXPECT_EQ(&type.attr(type.findAttr(attr.name)), &attr) << type.name() << "." << attr.name;
        }
    }
}

TEST(NodeTypeTable, everyNumberAndTextHasAPlace)
{
    for (const NodeType& type : nodeTypes())
        for (const Attr& attr : type.attrs())
            if ((attr.isNumeric() || attr.kind == AttrKind::Text) && attr.childCount == 0) {
                EXPECT_TRUE(attr.slot >= 0 || attr.access || attr.readOnly())
                    << type.name() << "." << attr.name;
                // The generic values have arrays of texts only.
                EXPECT_TRUE(!attr.isArray() || attr.isTextArray() || attr.access || attr.readOnly())
                    << type.name() << "." << attr.name;
            }
}

namespace
{

std::string defaultOf(const Attr& attr)
{
    char text[32];
    char* const end = text + sizeof text;
    const std::to_chars_result r = attr.kind == AttrKind::Float
                                       ? std::to_chars(text, end, static_cast<float>(attr.value))
                                       : std::to_chars(text, end, attr.value);
    return std::string(text, r.ptr);
}

} // namespace

// One line of the page for each type that has attributes in files: name, base, attributes with their kind,
// number of components and default.
TEST(NodeTypeTable, everyAttributeOfFilesStandsOnTheirPage)
{
    static const char* const kinds[] = {"bool", "int", "enum", "float", "double", "angle", "text"};
    std::ifstream file(ZY_DOCS_DIR "/scene-forms.md");
    const std::string page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    for (const NodeType& type : nodeTypes()) {
        if (type.fn() == KFn::kWorld)
            continue;
        std::string attributes;
        for (size_t i = type.base() ? type.base()->attrs().size() : 0; i < type.attrs().size(); ++i) {
            const Attr& attr = type.attrs()[i];
            if (!isStored(type, static_cast<int>(i)))
                continue;
            attributes += (attributes.empty() ? "" : ", ") + attr.name + (attr.isArray() ? "[n] " : " ") +
                          kinds[static_cast<size_t>(attr.kind)] +
                          (attr.childCount > 0 ? std::to_string(attr.childCount) : "") +
                          (attr.isNumeric() ? " " + defaultOf(attr) : "");
        }
        const std::string line = std::string("| ") + type.name() + (type.isAbstract() ? " (base only)" : "") +
                                 " | " + (type.base() ? type.base()->name() : "") + " | " + attributes +
                                 " |\n";
        EXPECT_NE(page.find(line), std::string::npos) << line;
    }
}

TEST(NodeTypeTable, numbersThatProgramsKnowAreFixed)
{
    const std::pair<const char*, int> known[] = {
        {"animCurve", 7},    {"transform", 110},    {"camera", 250},         {"mesh", 296},
        {"nurbsCurve", 267}, {"nurbsSurface", 294}, {"light", 302},          {"directionalLight", 308},
        {"pointLight", 309}, {"spotLight", 310},    {"place2dTexture", 451}, {"place3dTexture", 452},
        {"projection", 459}, {"file", 494},         {"uvChooser", 790}};
    for (const auto& k : known)
        EXPECT_EQ(findNodeType(std::string_view(k.first))->fn(), k.second) << k.first;
}

TEST(NodeTypeTable, idsInFilesNeverChange)
{
    const char* const names[] = {"node",
                                 "dagNode",
                                 "world",
                                 "transform",
                                 "shape",
                                 "mesh",
                                 "camera",
                                 "locator",
                                 "light",
                                 "ambientLight",
                                 "directionalLight",
                                 "pointLight",
                                 "spotLight",
                                 "areaLight",
                                 "objectSet",
                                 "shadingEngine",
                                 "lambert",
                                 "reflect",
                                 "phong",
                                 "blinn",
                                 "texture",
                                 "file",
                                 "projection",
                                 "place2dTexture",
                                 "place3dTexture",
                                 "uvChooser",
                                 "nurbsSurface",
                                 "nurbsCurve",
                                 "animCurve"};
    for (unsigned i = 0; i < sizeof names / sizeof *names; ++i)
        EXPECT_STREQ(findNodeType(i + 1)->name(), names[i]);
}
