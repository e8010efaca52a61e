#include "ioTools.h"

#include "kelda/KFnTransform.h"
#include "kelda/KGlobal.h"

#include <csignal>
#include <limits>
#include <sys/stat.h>
#include <sys/wait.h>

namespace
{

namespace fs = std::filesystem;

class FileIO : public FileTest
{
protected:
    std::string golden() { return read(std::string(ZY_GOLDEN_DIR) + "/car.ka"); }
    void openGolden() { ASSERT_EQ(openText(golden()), KStatus::kSuccess) << lastError(); }

    void expectOneError(const std::string& text)
    {
        ASSERT_EQ(errors.size(), 1u);
        EXPECT_EQ(errors[0], text);
        errors.clear();
    }
};

/// Changes the current directory for a while.
class CurrentDirectory
{
public:
    explicit CurrentDirectory(const fs::path& path) : _before(fs::current_path()) { fs::current_path(path); }
    ~CurrentDirectory() { fs::current_path(_before); }

private:
    fs::path _before;
};

} // namespace

// -- Opening --------------------------------------------------------------------------------------

TEST_F(FileIO, relativeNamesStandBelowTheCurrentDirectory)
{
    write(in("car.ka"), golden());
    const CurrentDirectory here(folder);
    EXPECT_EQ(KFileIO::open("car.ka"), KStatus::kSuccess) << lastError();
    EXPECT_EQ(KFileIO::saveAs("copy.kb"), KStatus::kSuccess) << lastError();
    EXPECT_TRUE(fs::exists(folder / "copy.kb"));
}

TEST_F(FileIO, backslashesSeparateFoldersWhenOpening)
{
    fs::create_directory(folder / "sub");
    write(in("sub/car.ka"), golden());
    const CurrentDirectory here(folder);
    EXPECT_EQ(KFileIO::open("sub\\car.ka"), KStatus::kSuccess) << lastError();
    EXPECT_EQ(KFileIO::import(".\\sub\\car.ka"), KStatus::kSuccess) << lastError();
}

TEST_F(FileIO, openThatFailsLeavesAnEmptyScene)
{
    const char* const types[] = {nullptr, "keldaAscii"};
    for (const char* type : types) {
        openGolden();
        EXPECT_EQ(KFileIO::open(in("missing.ka"), type), KStatus::kFailure);
        expectOneError(in("missing.ka") + ": cannot be opened: No such file or directory");
        EXPECT_EQ(sceneText(), emptySceneText());
    }
    EXPECT_EQ(KFileIO::open(folder.string()), KStatus::kFailure);
    expectOneError(folder.string() + ": cannot be opened: it is a directory");
    write(in("notes.ka"), "some notes\n");
    EXPECT_EQ(KFileIO::open(in("notes.ka")), KStatus::kFailure);
    expectOneError(in("notes.ka") + ": is neither an ASCII nor a binary Kelda scene");
    write(in("nothing.kb"), "");
    EXPECT_EQ(KFileIO::open(in("nothing.kb")), KStatus::kFailure);
    expectOneError(in("nothing.kb") + ": is neither an ASCII nor a binary Kelda scene");
    ASSERT_EQ(::mkfifo(in("pipe.ka").c_str(), 0600), 0);
    EXPECT_EQ(KFileIO::open(in("pipe.ka")), KStatus::kFailure);
    expectOneError(in("pipe.ka") + ": cannot be opened: it is not a regular file");
    EXPECT_EQ(KFileIO::open(in("notes.ka"), "keldaCubes"), KStatus::kInvalidParameter);
    expectOneError(in("notes.ka") + ": cannot be opened: there is no file type \"keldaCubes\"");
}

TEST_F(FileIO, callsCanBeMadeToFail)
{
    openGolden();
    const std::string before = sceneText();
    KFaults::failCall("KFileIO::import");
    EXPECT_EQ(KFileIO::import(in("scene.ka")), KStatus::kFailure);
    expectOneError(in("scene.ka") + ": cannot be imported");
    KFaults::failCall("KFileIO::newFile");
    EXPECT_EQ(KFileIO::newFile(true), KStatus::kFailure);
    errors.clear();
    EXPECT_EQ(sceneText(), before);
    KFaults::failCall("KFileIO::saveAs");
    EXPECT_EQ(KFileIO::saveAs(in("x.ka")), KStatus::kFailure);
    expectOneError(in("x.ka") + ": cannot be saved");
    EXPECT_FALSE(fs::exists(in("x.ka")));
    KFaults::failCall("KFileIO::open");
    EXPECT_EQ(KFileIO::open(in("scene.ka")), KStatus::kFailure);
    expectOneError(in("scene.ka") + ": cannot be opened");
    EXPECT_EQ(KFileIO::open(in("scene.ka")), KStatus::kSuccess);
}

// -- Importing ------------------------------------------------------------------------------------

TEST_F(FileIO, importAddsAndMakesNamesUnique)
{
    write(in("a.ka"), "//Kelda ASCII 2017 scene\ncurrentUnit -linear \"meter\";\n"
                      "createNode transform -name \"car\";\n    setAttr \".translate\" 1 2 3;\n"
                      "createNode transform -name \"door\" -parent \"car\";\n"
                      "setAttr \"lambert1.color\" 1 0 0;\n");
    ASSERT_EQ(KFileIO::import(in("a.ka")), KStatus::kSuccess) << lastError();
    ASSERT_EQ(KFileIO::import(in("a.ka")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), "//Kelda ASCII 2017 scene\ncurrentUnit -linear \"centimeter\";\n"
                           "createNode transform -name \"car\";\n    setAttr \".translate\" 1 2 3;\n"
                           "createNode transform -name \"door\" -parent \"car\";\n"
                           "createNode transform -name \"car1\";\n    setAttr \".translate\" 1 2 3;\n"
                           "createNode transform -name \"door\" -parent \"car1\";\n//End of scene\n");
}

TEST_F(FileIO, importThatFailsLeavesTheSceneAsItWas)
{
    openGolden();
    const std::string before = sceneText();
    ASSERT_EQ(KFileIO::saveAs(in("good.kb")), KStatus::kSuccess);
    std::string bad = golden();
    bad.insert(bad.find("//End"), "createNode wobble -name \"w\";\n");
    write(in("bad.ka"), bad);
    EXPECT_EQ(KFileIO::import(in("bad.ka")), KStatus::kFailure);
    EXPECT_EQ(errors.size(), 1u);
    EXPECT_EQ(sceneText(), before);

    std::string damaged = read(in("good.kb"));
    damaged[damaged.size() - 3] = static_cast<char>(damaged[damaged.size() - 3] ^ 4);
    write(in("bad.kb"), damaged);
    EXPECT_EQ(KFileIO::import(in("bad.kb")), KStatus::kFailure);
    EXPECT_EQ(sceneText(), before);

    errors.clear();
    write(in("notes.txt"), "notes");
    EXPECT_EQ(KFileIO::import(in("notes.txt")), KStatus::kFailure);
    expectOneError(in("notes.txt") +
                   ": cannot be imported: files with the suffix \"txt\" are of no known format");
    write(in("notes.kb"), "notes");
    EXPECT_EQ(KFileIO::import(in("notes.kb")), KStatus::kFailure);
    expectOneError(in("notes.kb") + ": is neither an ASCII nor a binary Kelda scene");
    EXPECT_EQ(KFileIO::import(in("good.kb"), nullptr, false, "other"), KStatus::kInvalidParameter);
    EXPECT_EQ(sceneText(), before);
    EXPECT_EQ(KFileIO::import(in("good.kb")), KStatus::kSuccess);
    EXPECT_NE(sceneText(), before);
}

// -- Saving ---------------------------------------------------------------------------------------

TEST_F(FileIO, typeIsGivenOrToldByTheSuffix)
{
    openGolden();
    EXPECT_EQ(KFileIO::saveAs(in("a.KA")), KStatus::kSuccess);
    EXPECT_EQ(read(in("a.KA")), golden());
    EXPECT_EQ(KFileIO::saveAs(in("a.Kb")), KStatus::kSuccess);
    EXPECT_EQ(read(in("a.Kb")).substr(1, 6), "KELDAB");
    EXPECT_EQ(KFileIO::saveAs(in("a.kb"), "keldaAscii"), KStatus::kSuccess);
    EXPECT_EQ(read(in("a.kb")), golden());
    EXPECT_EQ(KFileIO::saveAs(in("plain"), "keldaBinary"), KStatus::kSuccess);
    EXPECT_EQ(KFileIO::saveAs(in("a.obj")), KStatus::kInvalidParameter);
    expectOneError(in("a.obj") +
                   ": cannot be saved: its suffix is neither \"ka\" nor \"kb\" and no type is given");
}

TEST_F(FileIO, anExistingFileIsReplacedWithoutForce)
{
    openGolden();
    for (bool force : {false, true}) {
        write(in("old.ka"), "old");
        EXPECT_EQ(KFileIO::saveAs(in("old.ka"), "keldaAscii", force), KStatus::kSuccess);
        EXPECT_EQ(read(in("old.ka")), golden());
    }
}

namespace
{

KString textureName(const char* node)
{
    KObject found;
    EXPECT_EQ(KGlobal::findNode(node, found), KStatus::kSuccess) << node;
    return KFnDependencyNode(found).findPlug("fileTextureName").asString();
}

std::string fileNode(const std::string& name, const std::string& texture)
{
    return "createNode file -name \"" + name + "\";\n    setAttr \".fileTextureName\" -type \"string\" \"" +
           texture + "\";\n";
}

} // namespace

TEST_F(FileIO, texturesBesideTheSceneAreAnsweredWithTheirFullPath)
{
    fs::create_directory(folder / "tex");
    write(in("tex/wood.png"), "x");
    const std::string scene = "//Kelda ASCII 2017 scene\ncurrentUnit -linear \"centimeter\";\n" +
                              fileNode("there", "tex/wood.png") + fileNode("windows", "tex\\\\wood.png") +
                              fileNode("missing", "tex/stone.png") + fileNode("folder", "tex") +
                              fileNode("full", in("tex/wood.png")) + fileNode("none", "a") +
                              "//End of scene\n";
    ASSERT_EQ(openText(scene), KStatus::kSuccess) << lastError();
    EXPECT_EQ(textureName("there"), KString(in("tex/wood.png")));
    EXPECT_EQ(textureName("windows"), KString(in("tex/wood.png")));
    EXPECT_EQ(textureName("missing"), KString("tex/stone.png"));
    EXPECT_EQ(textureName("folder"), KString("tex"));
    EXPECT_EQ(textureName("full"), KString(in("tex/wood.png")));
    KCommandResult result;
    ASSERT_EQ(KGlobal::executeCommand("getAttr there.fileTextureName", result), KStatus::kSuccess);
    EXPECT_EQ(result.stringResult(), KString(in("tex/wood.png")));
    EXPECT_EQ(sceneText(), scene); // saved as it was set
}

TEST_F(FileIO, texturesBesideAnImportedSceneStayFound)
{
    fs::create_directories(folder / "other/tex");
    write(in("other/tex/wood.png"), "x");
    write(in("near.png"), "x");
    write(in("other/part.ka"),
          "//Kelda ASCII 2017 scene\n" + fileNode("theirs", "tex/wood.png") + fileNode("lost", "stone.png"));
    write(in("shadow.ka"), "//Kelda ASCII 2017 scene\n" + fileNode("ours", "near.png"));
    ASSERT_EQ(openText("//Kelda ASCII 2017 scene\n"), KStatus::kSuccess);
    ASSERT_EQ(KFileIO::import(in("other/part.ka")), KStatus::kSuccess) << lastError();
    ASSERT_EQ(KFileIO::import(in("shadow.ka")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(textureName("theirs"), KString(in("other/tex/wood.png")));
    EXPECT_EQ(textureName("lost"), KString("stone.png"));
    EXPECT_EQ(textureName("ours"), KString(in("near.png")));
    const std::string text = sceneText();
    EXPECT_NE(text.find("\"" + in("other/tex/wood.png") + "\""), std::string::npos);
    EXPECT_NE(text.find("\"near.png\""), std::string::npos); // beside the scene as well: as it was
}

TEST_F(FileIO, placesThatCannotBeWrittenAreNamed)
{
    fs::create_directory(folder / "dir.ka");
    EXPECT_EQ(KFileIO::saveAs(in("dir.ka")), KStatus::kFailure);
    expectOneError(in("dir.ka") + ": cannot be written: Is a directory");
    EXPECT_EQ(KFileIO::saveAs(in("missing/a.ka")), KStatus::kFailure);
    expectOneError(in("missing/a.ka") + ": cannot be written: No such file or directory");
    EXPECT_EQ(KFileIO::saveAs("/dev/null", "keldaAscii"), KStatus::kFailure);
    expectOneError("/dev/null: cannot be written: it is not a regular file");
    EXPECT_EQ(filesInFolder(), std::vector<std::string>{"dir.ka"});
    if (::geteuid() == 0)
        return; // may write everywhere
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(KFileIO::saveAs(in("a.ka")), KStatus::kFailure);
    expectOneError(in("a.ka") + ": cannot be written: Permission denied");
}

TEST_F(FileIO, saveThatFailsLeavesTheOldFileWhole)
{
    openGolden();
    for (const char* name : {"old.ka", "old.kb"}) {
        write(in(name), "old");
        for (const char* step : {"KFileIO::write", "KFileIO::flush", "KFileIO::rename"}) {
            KFaults::failCall(step);
            EXPECT_EQ(KFileIO::saveAs(in(name)), KStatus::kFailure) << step;
            ASSERT_EQ(errors.size(), 1u) << step;
            EXPECT_EQ(errors[0].find(in(name) + ": cannot be "), 0u) << errors[0];
            errors.clear();
            KFaults::clear();
            EXPECT_EQ(read(in(name)), "old");
        }
    }
    EXPECT_EQ(filesInFolder(), (std::vector<std::string>{"old.ka", "old.kb", "scene.ka"}));
    KFaults::failCall("KFileIO::write");
    KFileIO::saveAs(in("old.ka"));
    EXPECT_EQ(lastError(), in("old.ka") + ": cannot be written: No space left on device");
}

TEST_F(FileIO, valuesThatNoFileCanHoldNeverGetIntoTheScene)
{
    openGolden();
    KObject car;
    ASSERT_EQ(KGlobal::findNode("car", car), KStatus::kSuccess);
    KFnTransform transform(car);
    const KVector before = transform.translation(KSpace::kTransform);
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(transform.setTranslation(KVector(value, 0, 0), KSpace::kTransform).error()) << value;
    EXPECT_TRUE(transform.translation(KSpace::kTransform) == before);

    ASSERT_EQ(KGlobal::executeCommand("setAttr car.translateX 1e308"), KStatus::kSuccess);
    EXPECT_EQ(KFileIO::saveAs(in("far.ka")), KStatus::kSuccess);
    EXPECT_NE(read(in("far.ka")).find("1e+308"), std::string::npos);
}

TEST_F(FileIO, permissionsAndLinksOfTheOldFileStay)
{
    openGolden();
    write(in("real.ka"), "old");
    fs::permissions(in("real.ka"), fs::perms(0640));
    fs::create_symlink("real.ka", in("link.ka"));
    EXPECT_EQ(KFileIO::saveAs(in("link.ka")), KStatus::kSuccess) << lastError();
    EXPECT_TRUE(fs::is_symlink(in("link.ka")));
    EXPECT_EQ(read(in("real.ka")), golden());
    EXPECT_EQ(fs::status(in("real.ka")).permissions(), fs::perms(0640));
}

// A process that is killed while it saves: whenever that happens, the file is the old one or the new one.
TEST_F(FileIO, killedSaveLeavesAWholeFile)
{
    std::string big = "//Kelda ASCII 2017 scene\ncurrentUnit -linear \"centimeter\";\n";
    for (int i = 0; i < 20000; ++i)
        big +=
            "createNode transform -name \"n" + std::to_string(i) + "\";\n    setAttr \".translate\" 1 2 3;\n";
    big += "//End of scene\n";
    ASSERT_EQ(openText(big), KStatus::kSuccess) << lastError();
    int replaced = 0;
    for (int round = 0; round < 12; ++round) {
        write(in("old.ka"), "old");
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            KFileIO::saveAs(in("old.ka"));
            ::_exit(0);
        }
        ::usleep(static_cast<useconds_t>(round * 2500));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        const std::string now = read(in("old.ka"));
        EXPECT_TRUE(now == "old" || now == big) << round << ": " << now.size() << " bytes";
        replaced += now == big ? 1 : 0;
    }
    EXPECT_LT(replaced, 12) << "no round was interrupted";
}
