#include <zyUtils/zyFile.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

// -- Taking names apart -----------------------------------------------------------------------

struct NameRow {
    const char* name;
    const char* path;
    const char* fileName;
    const char* baseName;
    const char* extension;
};

static const NameRow nameRows[] = {
    {"car.kb", ".", "car.kb", "car", "kb"},
    {"/data/scenes/car.kb", "/data/scenes", "car.kb", "car", "kb"},
    {"D:/scenes/car.kb", "D:/scenes", "car.kb", "car", "kb"},
    {"D:\\scenes\\car.kb", "D:\\scenes", "car.kb", "car", "kb"},
    {"D:\\scenes/car.v2.KB", "D:\\scenes", "car.v2.KB", "car.v2", "KB"},
    {"scenes/old\\car.ka", "scenes/old", "car.ka", "car", "ka"},
    {"/car.kb", "/", "car.kb", "car", "kb"},
    {"\\car.kb", "\\", "car.kb", "car", "kb"},
    {"D:\\car.kb", "D:\\", "car.kb", "car", "kb"},
    {"d:/car.kb", "d:/", "car.kb", "car", "kb"},
    {"a:b.kb", ".", "a:b.kb", "a:b", "kb"},
    {"scenes.old/car", "scenes.old", "car", "car", ""},
    {"scenes//car.kb", "scenes", "car.kb", "car", "kb"},
    {"//car.kb", "/", "car.kb", "car", "kb"},
    {"D:\\\\car.kb", "D:\\", "car.kb", "car", "kb"},
    {"\\\\server\\share\\car.kb", "\\\\server\\share", "car.kb", "car", "kb"},
    {"scenes/", "scenes", "", "", ""},
    {"/", "/", "", "", ""},
    {"", ".", "", "", ""},
    {"car.", ".", "car.", "car", ""},
    {"car..kb", ".", "car..kb", "car.", "kb"},
    {".profile", ".", ".profile", ".profile", ""},
    {".profile.kb", ".", ".profile.kb", ".profile", "kb"},
    {"..", ".", "..", "..", ""},
    {"../car.kb", "..", "car.kb", "car", "kb"},
    {"./car.kb", ".", "car.kb", "car", "kb"},
    {"m\xc3\xb6wen scene/b\xc3\xa4r.kb", "m\xc3\xb6wen scene", "b\xc3\xa4r.kb", "b\xc3\xa4r", "kb"},
};

TEST(ZyFile, takesNamesApartAtEitherSeparator)
{
    for (const NameRow& row : nameRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.path, zyFile::getFilePath(row.name));
        EXPECT_EQ(row.fileName, zyFile::getFileName(row.name));
        EXPECT_EQ(row.baseName, zyFile::getBaseName(row.name));
        EXPECT_EQ(row.extension, zyFile::getExtension(row.name));
    }
}

TEST(ZyFile, convertsSeparatorsBothWays)
{
    EXPECT_EQ("a\\b\\c.png", zyFile::convertSeparators("a/b\\c.png"));
    EXPECT_EQ("a/b/c.png", zyFile::convertToUnixSeparators("a/b\\c.png"));
    EXPECT_EQ("c.png", zyFile::convertSeparators("c.png"));
}

// -- File system ------------------------------------------------------------------------------

// A folder of its own for each test; the current directory is restored behind it.
class ZyFileOnDisk : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        _former = fs::current_path();
        _dir = fs::canonical(fs::temp_directory_path()) / (std::string("zyFileTest.") + info->name());
        fs::remove_all(_dir);
        fs::create_directories(_dir);
    }

    void TearDown() override
    {
        fs::current_path(_former);
        fs::remove_all(_dir);
    }

    std::string in(const std::string& name) const { return _dir.string() + name; }

    void writeFile(const std::string& name, const std::string& content = "x") const
    {
        std::ofstream(in(name)) << content;
    }

    fs::path _dir;

private:
    fs::path _former;
};

TEST_F(ZyFileOnDisk, findsFilesAndDirectoriesWithEitherSeparator)
{
    fs::create_directories(_dir / "maps" / "wood");
    writeFile("/maps/wood/oak.png");
    EXPECT_TRUE(zyFile::exists(in("/maps/wood/oak.png"), false, false));
    EXPECT_TRUE(zyFile::exists(in("\\maps\\wood\\oak.png"), false, false));
    EXPECT_TRUE(zyFile::exists(zyFile::convertSeparators(in("/maps/wood/oak.png"))));
    EXPECT_TRUE(zyFile::exists(in("\\maps")));
    EXPECT_FALSE(zyFile::exists(in("\\maps\\oak.png")));
    EXPECT_FALSE(zyFile::exists(""));
    EXPECT_FALSE(zyFile::exists(std::string(100000, '\\')));
}

TEST_F(ZyFileOnDisk, existsTellsAnObserverWhatWasAskedFor)
{
    fs::create_directory(_dir / "maps");
    std::vector<std::pair<std::string, bool>> told;
    const auto former = zyFile::setExistsObserver(
        [&told](const std::string& name, bool there) { told.emplace_back(name, there); });
    EXPECT_FALSE(former);
    zyFile::exists(in("\\maps"));
    zyFile::exists("nowhere\\oak.png");
    EXPECT_TRUE(zyFile::setExistsObserver(nullptr));
    zyFile::exists("");
    EXPECT_EQ((std::vector<std::pair<std::string, bool>>{{in("\\maps"), true}, {"nowhere\\oak.png", false}}),
              told);
}

TEST_F(ZyFileOnDisk, existsCanAskForDirectoriesAndForContent)
{
    fs::create_directory(_dir / "maps");
    writeFile("/empty.png", "");
    writeFile("/full.png");
    EXPECT_TRUE(zyFile::exists(in("/maps"), true));
    EXPECT_FALSE(zyFile::exists(in("/full.png"), true));
    EXPECT_FALSE(zyFile::exists(in("/maps"), false, true));
    EXPECT_FALSE(zyFile::exists(in("/empty.png"), false, true));
    EXPECT_TRUE(zyFile::exists(in("/full.png"), false, true));
    EXPECT_TRUE(zyFile::exists(in(""), true, true));
}

#if !defined(_WIN32)

TEST_F(ZyFileOnDisk, aBackslashInARealNameStaysALetter)
{
    fs::create_directory(_dir / "we\\ird");
    writeFile("/back\\slash.png");
    writeFile("/we\\ird/oak.png");
    EXPECT_TRUE(zyFile::exists(in("/back\\slash.png")));
    EXPECT_EQ(in("/back\\slash.png"), zyFile::toSystemPath(in("/back\\slash.png")));
    EXPECT_EQ(in("/we\\ird/oak.png"), zyFile::toSystemPath(in("/we\\ird\\oak.png")));
    EXPECT_TRUE(zyFile::setCurrentDir(in("/we\\ird")));
    EXPECT_EQ(in("/we\\ird"), zyFile::getCurrentDir());
}

TEST_F(ZyFileOnDisk, namesOfFilesToComeGoIntoTheDirectoryThatExists)
{
    fs::create_directory(_dir / "we\\ird");
    EXPECT_EQ(in("/we\\ird/new.png"), zyFile::toSystemPath(in("/we\\ird\\new.png")));
    EXPECT_EQ(in("/new.png"), zyFile::toSystemPath(in("\\new.png")));
    EXPECT_EQ(in("/no/such/new.png"), zyFile::toSystemPath(in("\\no\\such/new.png")));
    EXPECT_EQ("/new.png", zyFile::toSystemPath("\\new.png"));
    EXPECT_EQ("plain.png", zyFile::toSystemPath("plain.png"));
}

#endif

TEST_F(ZyFileOnDisk, theCurrentDirectoryFollowsAndAnEmptyNameChangesNothing)
{
    fs::create_directory(_dir / "scenes");
    ASSERT_TRUE(zyFile::setCurrentDir(in("\\scenes")));
    EXPECT_EQ(in("/scenes"), zyFile::getCurrentDir());
    EXPECT_TRUE(zyFile::setCurrentDir(""));
    EXPECT_FALSE(zyFile::setCurrentDir(in("/missing")));
    EXPECT_EQ(in("/scenes"), zyFile::getCurrentDir());
    EXPECT_TRUE(zyFile::setCurrentDir(zyFile::getFilePath("bare.kb")));
    EXPECT_EQ(in("/scenes"), zyFile::getCurrentDir());
}

TEST_F(ZyFileOnDisk, createsOneDirectoryButNoParents)
{
    EXPECT_TRUE(zyFile::createDir(in("\\textures")));
    EXPECT_TRUE(fs::is_directory(_dir / "textures"));
    EXPECT_TRUE(zyFile::createDir(in("/textures")));
    EXPECT_FALSE(zyFile::createDir(in("\\a\\b")));
    EXPECT_FALSE(fs::exists(_dir / "a"));
    writeFile("/taken");
    EXPECT_FALSE(zyFile::createDir(in("/taken")));
    EXPECT_FALSE(zyFile::createDir(""));
}
