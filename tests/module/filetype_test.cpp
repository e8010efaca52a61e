// The file type: registration, options, and the start of the SDK. Each test runs in a process of its own,
// because the first request of a process is the one that starts the SDK.

#include "LoaderTest.h"

#include <zyKeldaSceneFileType.h>

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>
#include <kelda/KLibrary.h>
#include <kelda/testing/KFaults.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>

namespace
{
const char initializing[] = "Kelda import: initializing kelda ...";
const char initialized[] = "Kelda import: kelda initialized.";

class FileType : public LoaderTest
{
protected:
    osg::NodePtr readByName(const std::string& name)
    {
        std::istringstream stream("untouched");
        return zyKeldaSceneFileType::the().read(stream, name.c_str());
    }
    bool wasSaid(const std::string& channel, const std::string& text) const
    {
        const std::vector<std::string> texts = said(channel);
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }
    /// Saves a quad as scene "quad.<suffix>", with an SDK that is shut down again afterwards.
    std::string quadScene(const std::string& suffix)
    {
        KLibrary::initialize("test", true);
        makeQuad("quadShape", makeMovedTransform("quad", 1, 2, 3));
        const std::string path = saveScene("quad." + suffix);
        KLibrary::cleanup();
        return path;
    }
};

TEST_F(FileType, isNamedKeldaScene)
{
    EXPECT_STREQ("Kelda Scene", zyKeldaSceneFileType::the().getName());
}

TEST_F(FileType, registersKbThenKaWithOverridePriority10ReadAndWrite)
{
    zyKeldaSceneFileType& type = zyKeldaSceneFileType::the();
    std::vector<std::string> suffixes;
    for (const osg::IDString& suffix : type.suffixList())
        suffixes.push_back(suffix.str());
    EXPECT_EQ((std::vector<std::string>{"kb", "ka"}), suffixes);
    EXPECT_TRUE(type.doOverride());
    EXPECT_EQ(10u, type.getOverridePriority());
    EXPECT_EQ(3u, type.getFlags());

    for (const char* name : {"kb", "ka", "a.kb", "a.ka", "A.KB", "a.Ka"})
        EXPECT_EQ(&type, osg::SceneFileHandler::the()->getFileType(name)) << name;
}

TEST_F(FileType, registrationStartsNoSdk)
{
    EXPECT_FALSE(KLibrary::isInitialized());
}

TEST_F(FileType, firstReadStartsTheSdkAndSaysSo)
{
    const ScopedGraph root(readByName(quadScene("kb")));
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_TRUE(KLibrary::isInitialized());
    const std::vector<std::string> info = said("log.info");
    ASSERT_GE(info.size(), 3u);
    EXPECT_EQ(initializing, info[0]);
    EXPECT_EQ(initialized, info[1]);
    EXPECT_EQ("Kelda import: reading 'quad.kb' ...", info[2]);
}

TEST_F(FileType, secondReadDoesNotLogTheInitialisationAgain)
{
    const std::string path = quadScene("kb");
    const ScopedGraph first(readByName(path));
    forgetMessages();
    const ScopedGraph second(readByName(path));
    EXPECT_TRUE(second.get() != osg::NullFC);
    EXPECT_FALSE(wasSaid("log.info", initializing));
    EXPECT_FALSE(wasSaid("log.info", initialized));
}

TEST_F(FileType, failedStartIsReportedAndTriedAgain)
{
    const std::string path = quadScene("kb");
    KFaults::failCall("KLibrary::initialize");
    EXPECT_TRUE(readByName(path) == osg::NullFC);
    EXPECT_TRUE(wasSaid("log.info", initializing));
    EXPECT_FALSE(wasSaid("log.info", initialized));
    EXPECT_EQ("Kelda import: kelda initialisation failed!", said("log.error").at(0));
    EXPECT_EQ("zyKeldaLoader::read : KFileIO::open failed to open 'quad.kb'!", said("log.error").at(1))
        << "the request goes on to the loader, whose SDK calls fail and are reported";

    forgetMessages();
    ::unsetenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS");
    const ScopedGraph root(readByName(path));
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_TRUE(wasSaid("log.info", initializing));
    EXPECT_TRUE(wasSaid("log.info", initialized));
    EXPECT_STREQ("1", ::getenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS")) << "the setting is put again";
}

TEST_F(FileType, keepsTheSdkFromInstallingSignalHandlers)
{
    ::unsetenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS");
    readByName(inFolder("missing.kb"));
    EXPECT_STREQ("1", ::getenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS"));
}

TEST_F(FileType, theSettingIsPutBeforeTheStart)
{
    ::unsetenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS");
    struct sigaction before, after;
    ::sigaction(SIGABRT, nullptr, &before);
    readByName(inFolder("missing.kb"));
    ::sigaction(SIGABRT, nullptr, &after);
    EXPECT_TRUE(KLibrary::isInitialized());
    EXPECT_EQ(before.sa_sigaction, after.sa_sigaction) << "no crash handler was installed";
}

TEST_F(FileType, streamIsLeftUntouched)
{
    const std::string path = quadScene("kb");
    std::istringstream stream("untouched");
    const ScopedGraph root(zyKeldaSceneFileType::the().read(stream, path.c_str()));
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_EQ(0, stream.tellg());
    EXPECT_TRUE(stream.good());
}

TEST_F(FileType, optionsOfKbServeBothForms)
{
    const std::string path = quadScene("ka");
    osg::SceneFileHandler::the()->setOptions("kb", "importunits=Millimeter");
    osg::SceneFileHandler::the()->setOptions("ka", "importunits=Inch");
    const Printed printed = printedBy([&] { const ScopedGraph root(readByName(path)); });
    EXPECT_NE(std::string::npos, printed.out.find("Unit scale = 10.000000\n")) << printed.out;
}

TEST_F(FileType, optionsOfKbServeASuffixOfAnyLetterCase)
{
    const std::string path = quadScene("KA");
    osg::SceneFileHandler::the()->setOptions("kb", "importunits=Meter");
    const Printed printed = printedBy([&] { const ScopedGraph root(readByName(path)); });
    EXPECT_NE(std::string::npos, printed.out.find("Unit scale = 0.010000\n")) << printed.out;
}

TEST_F(FileType, withoutStoredOptionsEveryDefaultHolds)
{
    const std::string path = quadScene("ka");
    osg::SceneFileHandler::the()->setOptions("ka", "importunits=Inch");
    ASSERT_EQ(nullptr, osg::SceneFileHandler::the()->getOptions("kb"));
    const Printed printed = printedBy([&] { const ScopedGraph root(readByName(path)); });
    EXPECT_NE(std::string::npos, printed.out.find("Unit scale = 1.000000\n")) << printed.out;
}

TEST_F(FileType, readByNameThroughTheHandlerArrivesHere)
{
    const std::string path = quadScene("kb");
    const ScopedGraph root(osg::SceneFileHandler::the()->read(path.c_str()));
    ASSERT_TRUE(root.get() != osg::NullFC);
    EXPECT_EQ("quad", nameOf(root.get()));
}

TEST_F(FileType, failedImportShowsOnlyAsANullNode)
{
    EXPECT_TRUE(readByName(inFolder("missing.kb")) == osg::NullFC);
    EXPECT_EQ("zyKeldaLoader::read : KFileIO::open failed to open 'missing.kb'!", said("log.error").at(0));
}
} // namespace
