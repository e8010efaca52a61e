// Converting scenes: what is written, and that a target is either the new file or what it was.

#include "Program.h"
#include "Scenes.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace
{
const std::string scene = testFolder() + "/good/two_meshes.ka";

nlohmann::json rootOf(const std::string& file)
{
    const Outcome run = runZyscene({"info", "--json", "--arrays", file});
    EXPECT_EQ(0, run.exit) << run.err;
    return nlohmann::json::parse(run.out)["results"][0]["root"];
}

std::string shell(const std::string& text)
{
    return "'" + text + "'";
}

// -- Result ------------------------------------------------------------------------------------------

TEST(Convert, writesTheSceneAsImported)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"convert", scene, folder / "car.osb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ("", run.err);
    EXPECT_THAT(run.out, HasSubstr("two_meshes.ka -> car.osb: "));
    EXPECT_THAT(folder.names(), ElementsAre("car.osb"));
    EXPECT_EQ(rootOf(scene), rootOf(folder / "car.osb"));
}

TEST(Convert, sameInputGivesTheSameBytes)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, runZyscene({"convert", scene, folder / "a.osb"}).exit);
    ASSERT_EQ(0, runZyscene({"convert", scene, folder / "b.osb"}).exit);
    EXPECT_EQ(readFile(folder / "a.osb"), readFile(folder / "b.osb"));
}

TEST(Convert, takesImportOptions)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, runZyscene({"convert", "--import-units", "Millimeter", scene, folder / "car.osb"}).exit);
    EXPECT_EQ(10, rootOf(folder / "car.osb")["children"][0]["core"]["matrix"][3]);
}

TEST(Convert, jsonSaysWhatWasDone)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"convert", "--json", scene, folder / "car.osb"});
    EXPECT_EQ(0, run.exit);
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ("convert", document["command"]);
    EXPECT_EQ("two_meshes.ka", document["results"][0]["in"]);
    EXPECT_EQ("car.osb", document["results"][0]["out"]);
    EXPECT_EQ(true, document["results"][0]["written"]);
    EXPECT_THAT(run.out, Not(HasSubstr(folder.path())));
    EXPECT_THAT(run.out, Not(HasSubstr(".zyscene-")));
}

TEST(Convert, replacesAFileInPlace)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, runZyscene({"convert", scene, folder / "car.osb"}).exit);
    const std::string before = readFile(folder / "car.osb");
    ASSERT_EQ(0, ::chmod((folder / "car.osb").c_str(), 0640));
    EXPECT_EQ(0, runZyscene({"convert", folder / "car.osb", folder / "car.osb"}).exit);
    EXPECT_EQ(before, readFile(folder / "car.osb"));
    struct stat status;
    ASSERT_EQ(0, ::stat((folder / "car.osb").c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 0777u);
    EXPECT_THAT(folder.names(), ElementsAre("car.osb"));
}

TEST(Convert, writesThroughASymbolicLink)
{
    const TemporaryFolder folder;
    writeFile(folder / "real.osb", "old");
    std::filesystem::create_symlink("real.osb", folder / "link.osb");
    EXPECT_EQ(0, runZyscene({"convert", scene, folder / "link.osb"}).exit);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.osb"));
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "real.osb"));
    EXPECT_EQ(rootOf(scene), rootOf(folder / "real.osb"));
}

TEST(Convert, acceptsNamesThatMeanSomethingToASearch)
{
    const TemporaryFolder folder;
    for (const char* name : {"$HOME.osb", "~.osb", "a:b.osb"}) {
        const Outcome run = runZyscene({"convert", scene, name}, folder.path());
        EXPECT_EQ(0, run.exit) << name << ": " << run.err;
        EXPECT_EQ(0, runZyscene({"info", name}, folder.path()).exit) << name;
    }
}

// -- Failures ----------------------------------------------------------------------------------------

TEST(ConvertFailure, leavesTheOldFileWhole)
{
    const TemporaryFolder folder;
    writeFile(folder / "old.osb", "precious");
    const Outcome run = runZyscene({"convert", "bad/cut.ka", folder / "old.osb"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("", run.out);
    EXPECT_EQ("precious", readFile(folder / "old.osb"));
    EXPECT_THAT(folder.names(), ElementsAre("old.osb"));
}

TEST(ConvertFailure, ofAMissingInputTouchesNothing)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"convert", "good/nosuch.ka", folder / "new.osb"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: good/nosuch.ka: no such file\n", run.err);
    EXPECT_TRUE(folder.names().empty());
}

TEST(ConvertFailure, ofAMissingFolderIsOneLine)
{
    const Outcome run = runZyscene({"convert", scene, "good/nosuch/car.osb"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: good/nosuch/car.osb: cannot be written: there is no such folder\n", run.err);
}

TEST(ConvertFailure, noClobberKeepsWhatIsThere)
{
    const TemporaryFolder folder;
    writeFile(folder / "old.osb", "precious");
    const Outcome run = runZyscene({"convert", "--no-clobber", "--json", scene, folder / "old.osb"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("target-exists", nlohmann::json::parse(run.out)["issues"][0]["code"]);
    EXPECT_EQ("precious", readFile(folder / "old.osb"));
    EXPECT_EQ(0, runZyscene({"convert", "--no-clobber", scene, folder / "new.osb"}).exit);
    EXPECT_THAT(folder.names(), ElementsAre("new.osb", "old.osb"));
}

TEST(ConvertFailure, neverReplacesWhatIsNoFile)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, ::mkfifo((folder / "pipe.osb").c_str(), 0600));
    const Outcome run = runZyscene({"convert", scene, folder / "pipe.osb"});
    EXPECT_EQ(1, run.exit);
    EXPECT_THAT(run.err, HasSubstr("no regular file"));
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe.osb"));
}

// A file that may not grow fails in the middle of being written, as on a full disk.
TEST(ConvertFailure, ofAFullDiskLeavesTheOldFileWhole)
{
    const TemporaryFolder folder;
    saveDeepTree(2000, folder / "big.osb"); // some 100 KB
    writeFile(folder / "old.osb", "precious");
    const std::string command = "trap '' XFSZ; ulimit -f 8; exec " + shell(ZYSCENE_PROGRAM) + " convert " +
                                shell(folder / "big.osb") + " " + shell(folder / "old.osb") + " 2>" +
                                shell("/dev/null");
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));
    EXPECT_EQ("precious", readFile(folder / "old.osb"));
    EXPECT_THAT(folder.names(), ElementsAre("big.osb", "old.osb"));
}

TEST(ConvertFailure, ofAFolderThatMayNotBeChangedIsOneLine)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may change every folder";
    const TemporaryFolder folder;
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0500));
    const Outcome run = runZyscene({"convert", scene, folder / "car.osb"});
    ::chmod(folder.path().c_str(), 0700);
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: car.osb: cannot be written: cannot make a folder for it: Permission denied\n",
              run.err);
}
} // namespace
