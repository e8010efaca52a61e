#include "graph/NodeTypes.h"
#include "kelda_test.h"

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
            }
}

TEST(NodeTypeTable, numbersThatProgramsKnowAreFixed)
{
    const std::pair<const char*, int> known[] = {
        {"transform", 110},        {"camera", 250},     {"mesh", 296},     {"light", 302},
        {"directionalLight", 308}, {"pointLight", 309}, {"spotLight", 310}};
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
                                 "lambert"};
    for (unsigned i = 0; i < sizeof names / sizeof *names; ++i)
        EXPECT_STREQ(findNodeType(i + 1)->name(), names[i]);
}
