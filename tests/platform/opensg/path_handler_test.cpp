#include <OpenSG/OSGPathHandler.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace fs = std::filesystem;
using osg::PathHandler;

namespace
{

class PathHandlerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        _dir = fs::temp_directory_path() / ("zy_paths_" + std::to_string(::getpid()) + "_" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(_dir / "sub");
        touch("a.tt");
        touch("sub/b.tt");
    }
    void TearDown() override { fs::remove_all(_dir); }

    void touch(const std::string& name) { std::ofstream(_dir / name) << "x"; }
    std::string dir() const { return _dir.string(); }

    fs::path _dir;
    PathHandler _handler;
};

} // namespace

TEST_F(PathHandlerTest, AbsoluteNameIsAnsweredUnchanged)
{
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile((dir() + "/a.tt").c_str()));
    EXPECT_EQ("/" + dir() + "/a.tt", _handler.findFile(("/" + dir() + "/a.tt").c_str()));
    EXPECT_EQ("", _handler.findFile((dir() + "/none.tt").c_str()));
}

TEST_F(PathHandlerTest, RelativeNameIsPutBehindTheDirectoryAsItIs)
{
    _handler.push_backPath(dir().c_str());
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("a.tt"));
    EXPECT_EQ(dir() + "/./a.tt", _handler.findFile("./a.tt"));
    EXPECT_EQ("", _handler.findFile("b.tt"));
}

TEST_F(PathHandlerTest, BaseFileComesBeforeTheList)
{
    touch("sub/a.tt");
    _handler.push_backPath(dir().c_str());
    _handler.setBaseFile((dir() + "/sub/b.tt").c_str());
    EXPECT_EQ(dir() + "/sub/", _handler.getBaseFile());
    EXPECT_EQ(dir() + "/sub/a.tt", _handler.findFile("a.tt"));
    _handler.clearBaseFile();
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("a.tt"));
}

TEST_F(PathHandlerTest, BaseFileWithoutDirectoryIsHere)
{
    _handler.setBaseFile("a.tt");
    EXPECT_STREQ("./", _handler.getBaseFile());
    _handler.setBaseFile("");
    EXPECT_STREQ("./", _handler.getBaseFile());
}

TEST_F(PathHandlerTest, ListKeepsItsOrderAndLosesWhatIsTakenOut)
{
    touch("sub/a.tt");
    _handler.push_backPath((dir() + ";" + dir() + "/sub").c_str());
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("a.tt"));
    _handler.subPath(dir().c_str());
    EXPECT_EQ(dir() + "/sub/a.tt", _handler.findFile("a.tt"));
    _handler.push_frontPath(dir().c_str());
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("a.tt"));
    _handler.clearPathList();
    EXPECT_EQ("", _handler.findFile("a.tt"));
}

TEST_F(PathHandlerTest, DirectoriesAreNotFiles)
{
    EXPECT_EQ("", _handler.findFile(dir().c_str()));
    _handler.push_backPath(dir().c_str());
    EXPECT_EQ("", _handler.findFile("sub"));
    EXPECT_EQ("", _handler.findFile(""));
    EXPECT_EQ("", _handler.findFile(nullptr));
}

TEST_F(PathHandlerTest, BackslashesSeparateToo)
{
    EXPECT_EQ(dir() + "/sub/b.tt", _handler.findFile((dir() + "\\sub\\b.tt").c_str()));
    EXPECT_EQ(dir() + "/sub/b.tt", _handler.findFile((dir() + "/sub\\b.tt").c_str()));
    _handler.push_backPath(dir().c_str());
    EXPECT_EQ(dir() + "/sub/b.tt", _handler.findFile("sub\\b.tt"));
    EXPECT_EQ("sub\\", PathHandler::extractPath("sub\\b.tt"));
}

TEST_F(PathHandlerTest, FileWhoseNameHoldsABackslashComesFirst)
{
    touch("sub\\b.tt");
    EXPECT_EQ(dir() + "/sub\\b.tt", _handler.findFile((dir() + "/sub\\b.tt").c_str()));
}

TEST_F(PathHandlerTest, HomeAndVariablesAreExpandedAtTheStart)
{
    ::setenv("ZY_PATH_TEST", dir().c_str(), 1);
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("$ZY_PATH_TEST/a.tt"));
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("${ZY_PATH_TEST}/a.tt"));
    ::unsetenv("ZY_PATH_TEST");
    EXPECT_EQ("", _handler.findFile("$ZY_PATH_TEST/a.tt"));

    const char* const home = std::getenv("HOME");
    const std::string before = home != nullptr ? home : "";
    ::setenv("HOME", dir().c_str(), 1);
    EXPECT_EQ(dir() + "/a.tt", _handler.findFile("~/a.tt"));
    ::setenv("HOME", before.c_str(), 1);
}
