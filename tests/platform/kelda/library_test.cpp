#include "kelda_test.h"

#include <csignal>

namespace
{

void start(bool handlers)
{
    setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", handlers ? "0" : "1", 1);
    ASSERT_EQ(KLibrary::initialize("zebra viewer", true), KStatus::kSuccess);
}

void ownHandler(int)
{
    _exit(7);
}

} // namespace

TEST(Library, everythingFailsBeforeItIsInitialized)
{
    ASSERT_FALSE(KLibrary::isInitialized());
    KStatus status;
    KFnTransform t;
    EXPECT_TRUE(t.create(KObject::kNullObj, &status).isNull());
    EXPECT_EQ(status, KStatus::kNotInitialized);
    EXPECT_EQ(KGlobal::executeCommand("flushUndo"), KStatus::kNotInitialized);
    EXPECT_EQ(KFileIO::newFile(true), KStatus::kNotInitialized);
    KItDag it(KItDag::kDepthFirst, KFn::kInvalid, &status);
    EXPECT_EQ(status, KStatus::kNotInitialized);
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(KDagPath().pop(), KStatus::kNotInitialized);
    KFnMesh mesh(KDagPath(), &status);
    EXPECT_EQ(status, KStatus::kNotInitialized);
    double value = 0;
    EXPECT_EQ(KPlug().getValue(value), KStatus::kNotInitialized);
}

TEST(Library, formatsAreKnownBeforeItIsInitialized)
{
    ASSERT_FALSE(KLibrary::isInitialized());
    EXPECT_TRUE(KFileIO::isImportable("glb"));
    KStringArray suffixes;
    KFileIO::importableSuffixes(suffixes);
    EXPECT_GT(suffixes.length(), 2u);
}

TEST(Library, aStartThatFailsCanBeTriedAgain)
{
    KFaults::failCall("KLibrary::initialize");
    EXPECT_EQ(KLibrary::initialize("app", true), KStatus::kFailure);
    EXPECT_FALSE(KLibrary::isInitialized());
    KFaults::clear();
    start(false);
    EXPECT_TRUE(KLibrary::isInitialized());
    EXPECT_EQ(KLibrary::initialize("again", true), KStatus::kSuccess);
    KLibrary::cleanup();
    EXPECT_FALSE(KLibrary::isInitialized());
}

TEST(Library, cleanupEndsTheScene)
{
    start(false);
    KFnTransform t;
    const KObject node = t.create();
    EXPECT_FALSE(node.isNull());
    KLibrary::cleanup();
    EXPECT_TRUE(node.isNull());
    start(false);
    EXPECT_TRUE(node.isNull());
    EXPECT_TRUE(KItDag().isDone());
    KLibrary::cleanup();
}

TEST(LibraryDeathTest, aCrashNamesTheApplication)
{
    EXPECT_EXIT(
        {
            std::signal(SIGABRT, SIG_DFL);
            start(true);
            std::abort();
        },
        ::testing::KilledBySignal(SIGABRT), "Kelda: fatal signal in \"zebra viewer\"");
}

TEST(LibraryDeathTest, aCrashGoesOnToTheFormerHandler)
{
    EXPECT_EXIT(
        {
            std::signal(SIGFPE, ownHandler);
            start(true);
            std::raise(SIGFPE);
        },
        ::testing::ExitedWithCode(7), "zebra viewer");
}

TEST(LibraryDeathTest, theEnvironmentKeepsCrashHandlersAway)
{
    EXPECT_EXIT(
        {
            std::signal(SIGABRT, SIG_DFL);
            start(false);
            std::abort();
        },
        ::testing::KilledBySignal(SIGABRT), "^$");
}

TEST(Library, cleanupPutsFormerHandlersBack)
{
    std::signal(SIGILL, ownHandler);
    start(true);
    KLibrary::cleanup();
    EXPECT_EQ(std::signal(SIGILL, SIG_DFL), ownHandler);
}

TEST(Library, statusTextsArePlain)
{
    EXPECT_EQ(KStatus(KStatus::kNotInitialized).errorString(), KString("The library is not initialized"));
    EXPECT_TRUE(KStatus());
    EXPECT_TRUE(KStatus(KStatus::kFailure).error());
}
