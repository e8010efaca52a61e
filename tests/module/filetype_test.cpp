// The file type: registration, options, and the start of the SDK. Each test runs in a process of its own,
// because the first request of a process is the one that starts the SDK.

#include "WriterTest.h"

#include <zyKeldaSceneFileType.h>

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>
#include <kelda/KItDag.h>
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

class FileType : public WriterTest
{
protected:
    osg::NodePtr readByName(const std::string& name)
    {
        std::istringstream stream("untouched");
        return zyKeldaSceneFileType::the().read(stream, name.c_str());
    }
    /// Exports a group named "group".
    bool writeByName(const std::string& name)
    {
        const osg::NodePtr graph = keep(groupNode("group"));
        std::ostringstream stream;
        const bool written = zyKeldaSceneFileType::the().write(graph, stream, name.c_str());
        EXPECT_EQ("", stream.str()) << "the SDK writes the file itself";
        return written;
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

// -- write -----------------------------------------------------------------------------------------

TEST_F(FileType, firstWriteStartsTheSdkAndSavesByName)
{
    const Printed printed = printedBy([&] { EXPECT_TRUE(writeByName(inFolder("out.ka"))); });
    EXPECT_TRUE(KLibrary::isInitialized());
    EXPECT_EQ((std::vector<std::string>{initializing, initialized}), said("log.info"));
    EXPECT_TRUE(said("log.error").empty());
    EXPECT_NE(std::string::npos, contentOf("out.ka").find("group"));
    EXPECT_EQ("writing kelda '" + inFolder("out.ka") + "'\nSetting working linear unit to 'millimeter'.\n",
              printed.out);
}

TEST_F(FileType, aWriteAfterAReadDoesNotLogTheInitialisationAgain)
{
    const ScopedGraph root(readByName(quadScene("kb")));
    forgetMessages();
    printedBy([&] { EXPECT_TRUE(writeByName(inFolder("out.ka"))); });
    EXPECT_TRUE(messages.empty());
}

TEST_F(FileType, afterAFailedStartTheWriteGoesOnAndTheNextOneTriesAgain)
{
    KFaults::failCall("KLibrary::initialize");
    printedBy([&] { EXPECT_TRUE(writeByName(inFolder("out.ka"))) << "the writer's answer, unchanged"; });
    EXPECT_EQ((std::vector<std::string>{"Kelda import: kelda initialisation failed!",
                                        "KFileIO::saveAs: couldn't export kelda file '" + inFolder("out.ka") +
                                            "'!"}),
              said("log.error"));
    forgetMessages();
    printedBy([&] { EXPECT_TRUE(writeByName(inFolder("out.ka"))); });
    EXPECT_TRUE(wasSaid("log.info", initializing));
    EXPECT_TRUE(wasSaid("log.info", initialized));
    EXPECT_NE(std::string::npos, contentOf("out.ka").find("group"));
}

TEST_F(FileType, optionsOfKbServeEveryWrite)
{
    osg::SceneFileHandler::the()->setOptions("kb", "units=Foot");
    osg::SceneFileHandler::the()->setOptions("ka", "units=Mile");
    for (const char* name : {"out.ka", "out.kb", "out.KA"}) {
        const Printed printed = printedBy([&] { writeByName(inFolder(name)); });
        EXPECT_NE(std::string::npos, printed.out.find("unit to 'foot'")) << name;
    }
}

TEST_F(FileType, withOptionsForKaAloneAWriteHasNone)
{
    osg::SceneFileHandler::the()->setOptions("ka", "units=Mile");
    ASSERT_EQ(nullptr, osg::SceneFileHandler::the()->getOptions("kb"));
    const Printed printed = printedBy([&] { writeByName(inFolder("out.ka")); });
    EXPECT_NE(std::string::npos, printed.out.find("unit to 'millimeter'"));
}

TEST_F(FileType, anEmptyFileNameIsNotWrittenAndTouchesNoScene)
{
    KLibrary::initialize("test", true);
    makeTransform("stays");
    const Printed printed = printedBy([&] { EXPECT_FALSE(writeByName("")); });
    EXPECT_EQ("", printed.out);
    EXPECT_TRUE(wasSaid("log.info", initialized)) << "the start comes before";
    EXPECT_TRUE(exists("stays"));
}

TEST_F(FileType, aFailedSaveIsLoggedAndAnswersTrue)
{
    printedBy([&] { EXPECT_TRUE(writeByName(inFolder("missing/out.kb"))); });
    EXPECT_EQ("KFileIO::saveAs: couldn't export kelda file '" + inFolder("missing/out.kb") + "'!",
              said("log.error").at(0));
}

TEST_F(FileType, writeByNameThroughTheHandlerArrivesHere)
{
    const osg::NodePtr graph = keep(groupNode("car", {shapeNode("body", triangle())}));
    for (const char* name : {"out.ka", "out.kb"}) {
        printedBy(
            [&] { EXPECT_TRUE(osg::SceneFileHandler::the()->write(graph, inFolder(name).c_str())) << name; });
        const ScopedGraph back(osg::SceneFileHandler::the()->read(inFolder(name).c_str()));
        ASSERT_TRUE(back.get() != osg::NullFC) << name;
        EXPECT_TRUE(geometryOf(nodeAt(back.get(), {"car", "body"})) != osg::NullFC) << name;
    }
}
} // namespace
