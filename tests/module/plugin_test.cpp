// The module as the host meets it: a shared library that is loaded, registers its file type and does nothing
// else.

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSceneFileType.h>
#include <kelda/KLibrary.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace
{
std::vector<std::string> symbols(const char* which)
{
    const std::string command = std::string("nm -D -C ") + which + " '" MODULE_FILE "'";
    std::vector<std::string> result;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return result;
    char line[4096];
    while (std::fgets(line, sizeof(line), pipe) != nullptr) {
        // "address type name" or "type name"
        std::string text(line);
        text.erase(text.find_last_not_of('\n') + 1);
        const std::string::size_type type = text.find_first_not_of(' ', 16);
        if (type != std::string::npos && type + 2 < text.size())
            result.push_back(text.substr(type + 2));
    }
    ::pclose(pipe);
    return result;
}

// "KFnMesh::getPoints" of a demangled function, "" for what is no call of the SDK.
std::string sdkCall(const std::string& symbol)
{
    const std::string name = symbol.substr(0, symbol.find('('));
    if (name.size() < 3 || name[0] != 'K' || name.find("::") == std::string::npos)
        return "";
    return name;
}

TEST(Plugin, loadingRegistersTheFileTypeAndStartsNoSdk)
{
    osg::SceneFileHandler& handler = osg::SceneFileHandler::the();
    ASSERT_EQ(nullptr, handler.getFileType("kb"));
    ASSERT_EQ(nullptr, handler.getFileType("ka"));

    void* module = ::dlopen(MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, module) << ::dlerror();
    osg::SceneFileType* type = handler.getFileType("scene.kb");
    ASSERT_NE(nullptr, type);
    EXPECT_EQ(type, handler.getFileType("scene.ka"));
    EXPECT_STREQ("Kelda Scene", type->getName());
    EXPECT_TRUE(type->doOverride());
    EXPECT_EQ(10u, type->getOverridePriority());
    EXPECT_EQ(3u, type->getFlags());
    EXPECT_FALSE(KLibrary::isInitialized());
    EXPECT_EQ(nullptr, handler.getOptions("kb"));
}

TEST(Plugin, exportsItsClassesAndNoSymbolOfItsInsides)
{
    const std::vector<std::string> exported = symbols("--defined-only");
    ASSERT_FALSE(exported.empty());
    std::set<std::string> classes;
    for (const std::string& symbol : exported) {
        std::string name = symbol;
        for (const char* prefix : {"vtable for ", "typeinfo for ", "typeinfo name for "}) {
            if (name.rfind(prefix, 0) == 0)
                name = name.substr(std::string(prefix).size()) + "::";
        }
        const std::string owner = name.substr(0, name.find("::"));
        EXPECT_TRUE(owner == "zyKeldaSceneFileType" || owner == "zyKeldaLoader" || owner == "zyKeldaWriter")
            << symbol;
        classes.insert(owner);
    }
    EXPECT_THAT(classes, testing::ElementsAre("zyKeldaLoader", "zyKeldaSceneFileType", "zyKeldaWriter"));
}

TEST(Plugin, usesNoSdkCallBeyondItsList)
{
    std::set<std::string> allowed;
    std::set<std::string> unused; // of those above the list's last part
    bool behindInline = false;
    std::ifstream list(ALLOWED_SDK_CALLS);
    for (std::string line; std::getline(list, line);) {
        behindInline = behindInline || line.find("# behind inline functions") == 0;
        if (line.empty() || line[0] == '#')
            continue;
        allowed.insert(line);
        if (!behindInline)
            unused.insert(line);
    }
    ASSERT_FALSE(allowed.empty());
    for (const std::string& symbol : symbols("--undefined-only")) {
        const std::string call = sdkCall(symbol);
        if (call.empty())
            continue;
        EXPECT_EQ(1u, allowed.count(call)) << call;
        unused.erase(call);
    }
    EXPECT_THAT(unused, testing::IsEmpty()) << "the list names calls that the module does not make";
}
} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    osg::osgInit(argc, argv);
    return RUN_ALL_TESTS();
}
