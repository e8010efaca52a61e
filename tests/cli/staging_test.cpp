// Files in the making: a scene and its textures are either the new ones or the old ones, whatever fails.

#include "Faults.h"
#include "Program.h"

#include "Staging.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using zyscene::StagedScene;

namespace fs = std::filesystem;

namespace
{

class StagedSceneTest : public ::testing::Test
{
protected:
    void write(const std::string& name, const std::string& content)
    {
        fs::create_directories(fs::path(folder / name).parent_path());
        writeFile(folder / name, content);
    }
    std::string read(const std::string& name) { return readFile(folder / name); }
    std::vector<std::string> textures()
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder / "car"))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    /// A scene and textures in place, of which "rim.png" is written by nobody.
    void writeOld()
    {
        write("car.kb", "old scene");
        write("car/wood.png", "old wood");
        write("car/paint.png", "old paint");
        write("car/rim.png", "rim");
    }
    static void stageNew(const StagedScene& staged)
    {
        writeFile(staged.path(), "new scene");
        // No step of the save itself, so nothing that is made to fail.
        ::syscall(SYS_mkdirat, AT_FDCWD, (staged.folder() + "/car").c_str(), 0755);
        writeFile(staged.folder() + "/car/wood.png", "new wood");
        writeFile(staged.folder() + "/car/paint.png", "new paint");
        writeFile(staged.folder() + "/car/glass.png", "new glass");
    }
    std::string saveNew(bool replace = true)
    {
        StagedScene staged(folder / "car.kb");
        std::string problem = staged.open();
        if (!problem.empty())
            return problem;
        stageNew(staged);
        return staged.commit(replace);
    }
    void expectOld()
    {
        EXPECT_EQ("old scene", read("car.kb"));
        EXPECT_EQ("old wood", read("car/wood.png"));
        EXPECT_EQ("old paint", read("car/paint.png"));
        EXPECT_EQ("rim", read("car/rim.png"));
        EXPECT_THAT(textures(), ElementsAre("paint.png", "rim.png", "wood.png"));
        EXPECT_THAT(folder.names(), ElementsAre("car", "car.kb"));
    }
    void expectNew()
    {
        EXPECT_EQ("new scene", read("car.kb"));
        EXPECT_EQ("new wood", read("car/wood.png"));
        EXPECT_EQ("new paint", read("car/paint.png"));
        EXPECT_EQ("new glass", read("car/glass.png"));
    }
    /// A folder whose process was killed goes soon, not at once.
    void waitForStagingToGo()
    {
        for (int i = 0; i < 500; ++i) {
            bool there = false;
            for (const std::string& name : folder.names())
                there = there || name.compare(0, 8, ".zyscene") == 0;
            if (!there)
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ADD_FAILURE() << "the staging folder stays";
    }

    const TemporaryFolder folder;
};

/// Exit status of `run` in a process of its own; minus the number of the signal that ended it.
int inChild(const std::function<bool()>& run)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(run() ? 0 : 1);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// -- The scene file ----------------------------------------------------------------------------------

TEST_F(StagedSceneTest, isInPlaceOnlyAfterCommit)
{
    write("car.kb", "old scene");
    StagedScene staged(folder / "car.kb");
    ASSERT_EQ("", staged.open());
    writeFile(staged.path(), "new scene");
    EXPECT_EQ("old scene", read("car.kb"));
    EXPECT_EQ("", staged.commit(true));
    EXPECT_EQ("new scene", read("car.kb"));
}

TEST_F(StagedSceneTest, isWrittenUnderItsFinalName)
{
    StagedScene staged(folder / "car.kb");
    ASSERT_EQ("", staged.open());
    EXPECT_EQ("car.kb", fs::path(staged.path()).filename());
    EXPECT_EQ(staged.folder(), fs::path(staged.path()).parent_path());
}

TEST_F(StagedSceneTest, refusesWhatWasNotWritten)
{
    write("car.kb", "old scene");
    {
        StagedScene staged(folder / "car.kb");
        ASSERT_EQ("", staged.open());
        EXPECT_EQ("was not written: No such file or directory", staged.commit(true));
        writeFile(staged.path(), "");
        EXPECT_EQ("was written empty", staged.commit(true));
    }
    EXPECT_EQ("old scene", read("car.kb"));
    EXPECT_THAT(folder.names(), ElementsAre("car.kb"));
}

TEST_F(StagedSceneTest, withoutReplacingLosesAgainstAFileThatCameMeanwhile)
{
    {
        StagedScene staged(folder / "car.kb");
        ASSERT_EQ("", staged.open());
        writeFile(staged.path(), "new scene");
        write("car.kb", "came meanwhile");
        EXPECT_THAT(staged.commit(false), HasSubstr("File exists"));
    }
    EXPECT_EQ("came meanwhile", read("car.kb"));
    EXPECT_THAT(folder.names(), ElementsAre("car.kb"));
}

TEST_F(StagedSceneTest, ofAFolderThatIsNotThereIsAProblem)
{
    StagedScene staged(folder / "nosuch/car.kb");
    EXPECT_EQ("cannot make a folder for it: No such file or directory", staged.open());
}

// -- Textures ----------------------------------------------------------------------------------------

TEST_F(StagedSceneTest, bringsItsTextureFolderAlong)
{
    EXPECT_EQ("", saveNew());
    expectNew();
    EXPECT_THAT(textures(), ElementsAre("glass.png", "paint.png", "wood.png"));
    EXPECT_THAT(folder.names(), ElementsAre("car", "car.kb"));
}

TEST_F(StagedSceneTest, neverRemovesWhatWasNotWrittenAnew)
{
    writeOld();
    write("car.txt", "notes");
    ASSERT_EQ(0, ::chmod((folder / "car/wood.png").c_str(), 0640));
    EXPECT_EQ("", saveNew());
    expectNew();
    EXPECT_EQ("rim", read("car/rim.png"));
    EXPECT_EQ("notes", read("car.txt"));
    EXPECT_THAT(textures(), ElementsAre("glass.png", "paint.png", "rim.png", "wood.png"));
    struct stat status;
    ASSERT_EQ(0, ::stat((folder / "car/wood.png").c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 0777u);
}

TEST_F(StagedSceneTest, leavesTheTextureFolderAloneWhenThereAreNoTextures)
{
    writeOld();
    StagedScene staged(folder / "car.kb");
    ASSERT_EQ("", staged.open());
    writeFile(staged.path(), "new scene");
    EXPECT_EQ("", staged.commit(true));
    EXPECT_EQ("old wood", read("car/wood.png"));
    EXPECT_THAT(textures(), ElementsAre("paint.png", "rim.png", "wood.png"));
}

TEST_F(StagedSceneTest, namesTheTextureFolderAsTheFileLessThreeCharacters)
{
    StagedScene staged(folder / "a.b.KA");
    ASSERT_EQ("", staged.open());
    writeFile(staged.path(), "new scene");
    fs::create_directory(staged.folder() + "/a.b");
    writeFile(staged.folder() + "/a.b/wood.png", "new wood");
    EXPECT_EQ("", staged.commit(true));
    EXPECT_EQ("new wood", read("a.b/wood.png"));
}

TEST_F(StagedSceneTest, withoutReplacingKeepsTexturesThatAreThere)
{
    write("car/wood.png", "old wood");
    EXPECT_EQ("texture 'car/wood.png' cannot be moved into place: File exists", saveNew(false));
    EXPECT_EQ("old wood", read("car/wood.png"));
    EXPECT_THAT(textures(), ElementsAre("wood.png"));
    EXPECT_THAT(folder.names(), ElementsAre("car"));
}

TEST_F(StagedSceneTest, refusesAnEmptyTexture)
{
    writeOld();
    {
        StagedScene staged(folder / "car.kb");
        ASSERT_EQ("", staged.open());
        stageNew(staged);
        writeFile(staged.folder() + "/car/paint.png", "");
        EXPECT_EQ("texture 'car/paint.png' was written empty", staged.commit(true));
    }
    expectOld();
}

TEST_F(StagedSceneTest, refusesAFileInThePlaceOfTheTextureFolder)
{
    write("car.kb", "old scene");
    write("car", "no folder");
    EXPECT_EQ("'car' is there already and is no folder for textures", saveNew());
    EXPECT_EQ("old scene", read("car.kb"));
    EXPECT_EQ("no folder", read("car"));
    EXPECT_THAT(folder.names(), ElementsAre("car", "car.kb"));
}

TEST_F(StagedSceneTest, putsTexturesBackWhenOneCannotBeReplaced)
{
    write("car.kb", "old scene");
    write("car/paint.png", "old paint");
    fs::create_directory(folder / "car/wood.png");
    EXPECT_EQ("texture 'car/wood.png' cannot be replaced: Is a directory", saveNew());
    EXPECT_EQ("old scene", read("car.kb"));
    EXPECT_EQ("old paint", read("car/paint.png"));
    EXPECT_THAT(textures(), ElementsAre("paint.png", "wood.png"));
}

TEST_F(StagedSceneTest, putsTexturesBackWhenTheSceneCannotBeReplaced)
{
    write("car/wood.png", "old wood");
    write("car.kb/inside", "a folder, not a scene");
    EXPECT_THAT(saveNew(), HasSubstr("Is a directory"));
    EXPECT_EQ("old wood", read("car/wood.png"));
    EXPECT_THAT(textures(), ElementsAre("wood.png"));

    fs::remove_all(folder / "car");
    EXPECT_THAT(saveNew(), HasSubstr("Is a directory"));
    EXPECT_THAT(folder.names(), ElementsAre("car.kb"));
}

// -- Failures at any moment --------------------------------------------------------------------------

TEST_F(StagedSceneTest, isTheOldOneOrTheNewOneWhicheverStepFails)
{
    writeOld();
    Faults::failStep(0);
    ASSERT_EQ("", saveNew());
    const int steps = Faults::steps();
    EXPECT_GT(steps, 15);

    int failures = 0;
    for (int step = 1; step <= steps; ++step) {
        fs::remove_all(folder / "car");
        writeOld();
        Faults::failStep(step);
        const std::string problem = saveNew();
        Faults::failStep(0);
        if (problem.empty()) {
            expectNew(); // that a folder cannot be flushed, or a file not have a second name, does not matter
            continue;
        }
        ++failures;
        EXPECT_THAT(problem, HasSubstr("No space left on device")) << step;
        expectOld();
    }
    EXPECT_GT(failures, 10);
}

TEST_F(StagedSceneTest, isWholeWhereverTheProcessIsKilled)
{
    int step = 0;
    int exit = 0;
    do {
        fs::remove_all(folder / "car");
        writeOld();
        ++step;
        exit = inChild([&] {
            Faults::killAtStep(step);
            return saveNew().empty();
        });
        waitForStagingToGo();
        if (exit == 0)
            break;
        ASSERT_EQ(-SIGKILL, exit);
        // Each file is the old one or the new one, and the scene is new only when all of them are.
        EXPECT_THAT(read("car/wood.png"), ::testing::AnyOf("old wood", "new wood")) << step;
        EXPECT_THAT(read("car/paint.png"), ::testing::AnyOf("old paint", "new paint")) << step;
        EXPECT_EQ("rim", read("car/rim.png")) << step;
        if (read("car.kb") == "new scene")
            expectNew();
        else
            EXPECT_EQ("old scene", read("car.kb")) << step;
    } while (step < 60);
    EXPECT_GT(step, 10);
    EXPECT_EQ(0, exit);
    expectNew();
}

TEST_F(StagedSceneTest, leavesNothingBehindWhenASignalEndsTheProcess)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        writeOld();
        const int exit = inChild([&] {
            StagedScene staged(folder / "car.kb");
            if (!staged.open().empty())
                return false;
            stageNew(staged);
            ::raise(signal);
            return false;
        });
        EXPECT_EQ(-signal, exit);
        // At once: whoever waited for the process finds the folder gone.
        expectOld();
    }
}

TEST_F(StagedSceneTest, leavesNothingBehindWhenTheProcessCrashes)
{
    for (const int signal : {SIGKILL, SIGABRT, SIGXFSZ}) {
        writeOld();
        const int exit = inChild([&] {
            StagedScene staged(folder / "car.kb");
            if (!staged.open().empty())
                return false;
            stageNew(staged);
            ::signal(signal, SIG_DFL);
            ::raise(signal);
            return false;
        });
        EXPECT_EQ(-signal, exit);
        waitForStagingToGo();
        expectOld();
    }
}

TEST_F(StagedSceneTest, survivesTheEndOfItsGroupOfProcesses)
{
    writeOld();
    const int exit = inChild([&] {
        ::setpgid(0, 0);
        StagedScene staged(folder / "car.kb");
        if (!staged.open().empty())
            return false;
        stageNew(staged);
        ::kill(0, SIGKILL);
        return false;
    });
    EXPECT_EQ(-SIGKILL, exit);
    waitForStagingToGo();
    expectOld();
}

TEST_F(StagedSceneTest, holdsNobodysOutputOpen)
{
    int ends[2];
    ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
    StagedScene staged(folder / "car.kb");
    ASSERT_EQ("", staged.open());
    ::close(ends[1]);
    char byte = 0;
    EXPECT_EQ(0, ::read(ends[0], &byte, 1)); // the watch would have kept it open
    ::close(ends[0]);
}
} // namespace
