#include <OpenSG/OSGGraphOpSeq.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>

#include <unistd.h>

namespace fs = std::filesystem;
using namespace osg;
using ::testing::ElementsAre;

namespace
{

// What happened, in order; callbacks are plain functions.
std::vector<std::string> events;

void onReadProgress(UInt32 percent)
{
    events.push_back("progress " + std::to_string(percent));
}
void onReadBegin(const Char8* name)
{
    events.push_back("begin " + fs::path(name).filename().string());
}
void onReadEnd(const Char8* name)
{
    events.push_back("end " + fs::path(name).filename().string());
}

// A file form of one word, the name of the root.
class WordType : public SceneFileType
{
public:
    WordType(std::vector<const Char8*> suffixes, bool override, UInt32 priority,
             UInt32 flags = OSG_READ_SUPPORTED | OSG_WRITE_SUPPORTED)
        : SceneFileType(suffixes.data(), static_cast<UInt16>(suffixes.size() * sizeof(const Char8*)),
                        override, priority, flags)
    {
    }
    const Char8* getName() const override { return "word"; }

    NodePtr read(std::istream& in, const Char8* name) const override
    {
        lastName = name;
        startedAtEnd = in.eof();
        events.push_back("read");
        if (reading)
            reading();
        std::string word;
        if (!(in >> word) || word == "bad")
            return NullFC;
        const NodePtr node = makeCoredNode<Group>();
        setName(node, word);
        return node;
    }
    NodePtr readFile(const Char8* name) const override
    {
        lastName = name;
        events.push_back("readFile");
        return secondChance ? makeCoredNode<Group>() : NodePtr();
    }
    bool write(const NodePtr& node, std::ostream& out, const Char8* name) const override
    {
        lastName = name;
        events.push_back("write");
        if (!node)
            return false;
        out << getName() << ' ' << osg::getName(node);
        return true;
    }
    bool writeFile(const NodePtr&, const Char8* name) const override
    {
        lastName = name;
        events.push_back("writeFile");
        return secondChance;
    }

    mutable std::string lastName;
    mutable bool startedAtEnd = false;
    bool secondChance = false;
    std::function<void()> reading;
};

class SceneFileHandlerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        _dir = fs::temp_directory_path() / ("zy_files_" + std::to_string(::getpid()) + "_" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(_dir / "sub");
        events.clear();
        _handler.setReadProgressCB(&onReadProgress, false);
        _handler.setReadBeginCB(&onReadBegin);
        _handler.setReadEndCB(&onReadEnd);
        _handler.setWriteProgressCB(&onReadProgress);
        _handler.setWriteBeginCB(&onReadBegin);
        _handler.setWriteEndCB(&onReadEnd);
    }
    void TearDown() override
    {
        _handler.setReadProgressCB(nullptr);
        _handler.setReadBeginCB(nullptr);
        _handler.setReadEndCB(nullptr);
        _handler.setWriteProgressCB(nullptr);
        _handler.setWriteBeginCB(nullptr);
        _handler.setWriteEndCB(nullptr);
        fs::remove_all(_dir);
    }

    std::string file(const std::string& name, const std::string& text)
    {
        std::ofstream(_dir / name) << text;
        return (_dir / name).string();
    }
    std::string textOf(const std::string& name)
    {
        std::ifstream in(_dir / name);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    // Reads, gives the root's name and releases the root.
    std::string nameOfRead(const std::string& path)
    {
        const NodePtr root = _handler.read(path.c_str());
        const Char8* const name = osg::getName(root);
        const std::string result = name != nullptr ? name : (root ? "(no name)" : "(null)");
        subRefCP(root);
        return result;
    }

    fs::path _dir;
    SceneFileHandler& _handler = SceneFileHandler::the();
};

} // namespace

// -- Registration -----------------------------------------------------------------------------------

TEST_F(SceneFileHandlerTest, BothSpellingsOfTheHandlerWork)
{
    EXPECT_EQ(&SceneFileHandler::the(), SceneFileHandler::the().operator->());
    EXPECT_EQ(nullptr, SceneFileHandler::the()->getFileType("no_such_suffix"));
}

TEST_F(SceneFileHandlerTest, HighestOverridePriorityIsUsedAndTheLaterOfEqualOnes)
{
    const WordType a({"tt"}, true, 10);
    EXPECT_EQ(&a, _handler.getFileType("tt"));
    const WordType plain({"tt"}, false, 99);
    EXPECT_EQ(&a, _handler.getFileType("tt")) << "one that does not override is appended";
    const WordType low({"tt"}, true, 5);
    EXPECT_EQ(&a, _handler.getFileType("tt"));
    const WordType equal({"tt"}, true, 10);
    EXPECT_EQ(&equal, _handler.getFileType("tt"));
    const WordType high({"tt"}, true, 20);
    EXPECT_EQ(&high, _handler.getFileType("tt"));
    const WordType middle({"tt"}, true, 15);
    EXPECT_EQ(&high, _handler.getFileType("tt"));
}

TEST_F(SceneFileHandlerTest, OverridingTypeReplacesOneThatDoesNot)
{
    const WordType plain({"tt"}, false, 0);
    EXPECT_EQ(&plain, _handler.getFileType("tt"));
    const WordType over({"TT"}, true, 0);
    EXPECT_EQ(&over, _handler.getFileType("tt"));
}

// A plug-in that is unloaded must not take the types of others with it.
TEST_F(SceneFileHandlerTest, TypeThatGoesLeavesTheOthersOfItsSuffixes)
{
    const WordType stays({"tt", "uu"}, true, 10);
    auto goes = std::make_unique<WordType>(std::vector<const Char8*>{"tt", "vv"}, true, 20);
    EXPECT_EQ(goes.get(), _handler.getFileType("tt"));
    goes.reset();
    EXPECT_EQ(&stays, _handler.getFileType("tt"));
    EXPECT_EQ(&stays, _handler.getFileType("uu"));
    EXPECT_EQ(nullptr, _handler.getFileType("vv"));
}

TEST_F(SceneFileHandlerTest, FileTypeIsFoundByTheLastSuffix)
{
    const WordType type({"kk"}, true, 10);
    for (const char* const name : {"x.KK", "kk", ".kk", "a.b.kk", "x.kk.gz", "kk.gz"})
        EXPECT_EQ(&type, _handler.getFileType(name)) << name;
    for (const char* const name : {"x.KK.GZ", "x.gz", "x", "", "dir.kk/file", "x.kk."})
        EXPECT_EQ(nullptr, _handler.getFileType(name)) << name;
    EXPECT_EQ(nullptr, _handler.getFileType(nullptr));
}

TEST_F(SceneFileHandlerTest, SuffixListHoldsThoseWhoseTypeHasAllFlags)
{
    const WordType reads({"zz1"}, true, 10, SceneFileType::OSG_READ_SUPPORTED);
    const WordType both({"zz3", "zz2"}, true, 10);
    const auto listed = [this](UInt32 flags) {
        std::list<const Char8*> all;
        const int count = _handler.getSuffixList(all, flags);
        EXPECT_EQ(all.size(), static_cast<std::size_t>(count));
        std::vector<std::string> mine;
        for (const Char8* suffix : all)
            if (std::string(suffix).substr(0, 2) == "zz")
                mine.push_back(suffix);
        return mine;
    };
    EXPECT_THAT(listed(SceneFileType::OSG_READ_SUPPORTED), ElementsAre("zz1", "zz2", "zz3"));
    EXPECT_THAT(listed(SceneFileType::OSG_READ_SUPPORTED | SceneFileType::OSG_WRITE_SUPPORTED),
                ElementsAre("zz2", "zz3"));
}

// -- Options ----------------------------------------------------------------------------------------

TEST_F(SceneFileHandlerTest, OptionsAreKeptForEachSuffix)
{
    const WordType type({"ka1", "ka2"}, true, 10);
    EXPECT_EQ(nullptr, _handler.getOptions("ka1")) << "nothing was stored";
    EXPECT_TRUE(_handler.setOptions("ka1", "a=1"));
    EXPECT_STREQ("a=1", _handler.getOptions("ka1"));
    EXPECT_STREQ("a=1", _handler.getOptions("dir/file.KA1"));
    EXPECT_EQ(nullptr, _handler.getOptions("ka2"));
    EXPECT_TRUE(_handler.setOptions("file.ka2", ""));
    EXPECT_STREQ("", _handler.getOptions("ka2"));
    EXPECT_STREQ("", type.getOptions()) << "options of the object are apart";
}

TEST_F(SceneFileHandlerTest, OptionsOfUnknownSuffixesAreRefused)
{
    EXPECT_FALSE(_handler.setOptions("no_such_suffix", "a=1"));
    EXPECT_FALSE(_handler.setOptions(nullptr, "a=1"));
    EXPECT_EQ(nullptr, _handler.getOptions("no_such_suffix"));
    EXPECT_EQ(nullptr, _handler.getOptions(nullptr));
}

// -- Read -------------------------------------------------------------------------------------------

TEST_F(SceneFileHandlerTest, ReadCallsBackInOrderAndGivesTheFullPath)
{
    const WordType type({"tt"}, true, 10);
    const std::string path = file("s.tt", "hello");
    EXPECT_EQ("hello", nameOfRead(path));
    EXPECT_THAT(events, ElementsAre("begin s.tt", "progress 0", "read", "end s.tt"));
    EXPECT_EQ(path, type.lastName);
}

TEST_F(SceneFileHandlerTest, RelativeNameIsSearchedFromTheCurrentDirectory)
{
    const WordType type({"tt"}, true, 10);
    file("s.tt", "hello");
    const fs::path before = fs::current_path();
    fs::current_path(_dir);
    EXPECT_EQ("hello", nameOfRead("./s.tt"));
    EXPECT_EQ(fs::current_path().string() + "/./s.tt", type.lastName);
    fs::current_path(before);
}

TEST_F(SceneFileHandlerTest, EitherSeparatorWorks)
{
    const WordType type({"tt"}, true, 10);
    file("sub/s.tt", "hello");
    EXPECT_EQ("hello", nameOfRead(_dir.string() + "\\sub\\s.tt"));
    const NodePtr node = makeCoredNode<Group>();
    addRefCP(node);
    setName(node, "out");
    EXPECT_TRUE(_handler.write(node, (_dir.string() + "\\sub\\w.tt").c_str()));
    EXPECT_EQ("word out", textOf("sub/w.tt"));
    EXPECT_EQ(_dir.string() + "\\sub\\w.tt", type.lastName) << "the type gets the name as it was given";
    subRefCP(node);
}

TEST_F(SceneFileHandlerTest, MissingFileAndUnknownSuffixGiveNullWithoutCallbacks)
{
    const WordType type({"tt"}, true, 10);
    EXPECT_EQ("(null)", nameOfRead((_dir / "none.tt").string()));
    EXPECT_EQ("(null)", nameOfRead(file("s.nosuch", "x")));
    EXPECT_EQ(NullFC, _handler.read(static_cast<const Char8*>(nullptr)));
    EXPECT_TRUE(events.empty());
}

TEST_F(SceneFileHandlerTest, ReadFileIsTheSecondChance)
{
    WordType type({"tt"}, true, 10);
    const std::string path = file("s.tt", "bad");
    EXPECT_EQ("(null)", nameOfRead(path));
    EXPECT_THAT(events, ElementsAre("begin s.tt", "progress 0", "read", "readFile"));
    events.clear();
    type.secondChance = true;
    EXPECT_EQ("(no name)", nameOfRead(path));
    EXPECT_THAT(events, ElementsAre("begin s.tt", "progress 0", "read", "readFile", "end s.tt"));
    EXPECT_EQ(path, type.lastName);
}

TEST_F(SceneFileHandlerTest, StreamOfAnEmptyFileIsAtItsEnd)
{
    const WordType type({"tt"}, true, 10);
    nameOfRead(file("s.tt", ""));
    EXPECT_TRUE(type.startedAtEnd);
    nameOfRead(file("s.tt", "x"));
    EXPECT_FALSE(type.startedAtEnd);
}

TEST_F(SceneFileHandlerTest, ReadFromAStreamPassesTheExtensionOn)
{
    const WordType type({"tt"}, true, 10);
    std::istringstream in("hello");
    const NodePtr root = _handler.read(in, "tt");
    EXPECT_STREQ("hello", osg::getName(root));
    EXPECT_EQ(0, root.getRefCount());
    EXPECT_EQ("tt", type.lastName);
    subRefCP(root);
    EXPECT_EQ(NullFC, _handler.read(in, "nosuch"));
}

TEST_F(SceneFileHandlerTest, ProgressIsThePercentageOfTheStream)
{
    WordType type({"tt"}, true, 10);
    type.reading = [] { SceneFileHandler::the()->updateReadProgress(); };
    nameOfRead(file("s.tt", "hello"));
    EXPECT_THAT(events, ElementsAre("begin s.tt", "progress 0", "read", "progress 0", "end s.tt"));
    events.clear();
    _handler.updateReadProgress();
    EXPECT_TRUE(events.empty()) << "nothing is being read";
}

TEST_F(SceneFileHandlerTest, BaseFileOfTheOuterReadIsBackAfterAnInnerOne)
{
    WordType type({"tt"}, true, 10);
    const WordType library({"uu"}, true, 10);
    const std::string inner = file("sub/lib.uu", "library");
    std::string duringInner;
    type.reading = [&] {
        nameOfRead(inner);
        duringInner = _handler.getPathHandler()->getBaseFile();
    };
    nameOfRead(file("s.tt", "hello"));
    EXPECT_EQ(_dir.string() + "/", duringInner);
    EXPECT_EQ(_dir.string() + "/", _handler.getPathHandler()->getBaseFile());
}

TEST_F(SceneFileHandlerTest, OwnPathHandlerIsAsked)
{
    const WordType type({"tt"}, true, 10);
    file("sub/s.tt", "hello");
    PathHandler own;
    own.push_backPath((_dir / "sub").c_str());
    _handler.setPathHandler(&own);
    EXPECT_EQ(&own, _handler.getPathHandler());
    EXPECT_EQ("hello", nameOfRead("s.tt"));
    _handler.setPathHandler(nullptr);
    EXPECT_NE(&own, _handler.getPathHandler());
}

TEST_F(SceneFileHandlerTest, ReadHookReplacesTheType)
{
    const WordType type({"tt"}, true, 10);
    _handler.setReadCB([](SceneFileType*, std::istream&, const Char8*) { return makeCoredNode<Group>(); });
    EXPECT_EQ("(no name)", nameOfRead(file("s.tt", "hello")));
    _handler.setReadCB(nullptr);
    EXPECT_EQ("hello", nameOfRead(file("s.tt", "hello")));
}

// -- Graph operations -------------------------------------------------------------------------------

TEST_F(SceneFileHandlerTest, DefaultSequenceIsEmptyAndRuns)
{
    ASSERT_NE(nullptr, SceneFileHandler::getDefaultGraphOp());
    EXPECT_EQ(0, SceneFileHandler::getDefaultGraphOp()->getSize());
    NodePtr root = makeCoredNode<Group>();
    const NodePtr before = root;
    EXPECT_TRUE(SceneFileHandler::getDefaultGraphOp()->run(root));
    EXPECT_EQ(before, root);
    subRefCP(root);
}

TEST_F(SceneFileHandlerTest, SequenceRunsOnWhatWasRead)
{
    class Wrap : public GraphOp
    {
    public:
        const Char8* getName() const override { return "Wrap"; }
        GraphOp* create() const override { return new Wrap; }
        void setParams(const std::string&) override {}
        bool traverse(NodePtr& root) override
        {
            const NodePtr outer = makeCoredNode<Group>();
            setName(outer, "outer");
            const CPEditor edit(outer);
            outer->addChild(root);
            root = outer;
            return true;
        }
    };
    const WordType type({"tt"}, true, 10);
    GraphOpSeq seq;
    seq.addGraphOp(new Wrap);
    const NodePtr root = _handler.read(file("s.tt", "hello").c_str(), &seq);
    ASSERT_STREQ("outer", osg::getName(root));
    EXPECT_STREQ("hello", osg::getName(root->getChild(0)));
    subRefCP(root);

    seq.setGraphOps("NoSuchOperation(a=b) Neither()");
    EXPECT_EQ(0, seq.getSize());
}

// -- Write ------------------------------------------------------------------------------------------

TEST_F(SceneFileHandlerTest, WriteCallsBackInOrder)
{
    const WordType type({"tt"}, true, 10);
    const NodePtr node = makeCoredNode<Group>();
    addRefCP(node);
    setName(node, "out");
    EXPECT_TRUE(_handler.write(node, (_dir / "w.tt").c_str()));
    EXPECT_THAT(events, ElementsAre("progress 0", "begin w.tt", "progress 0", "write", "end w.tt"));
    EXPECT_EQ("word out", textOf("w.tt"));

    std::ostringstream out;
    EXPECT_TRUE(_handler.write(node, out, "tt"));
    EXPECT_EQ("word out", out.str());
    subRefCP(node);
}

TEST_F(SceneFileHandlerTest, FileIsEmptiedBeforeTheTypeWrites)
{
    WordType type({"tt"}, true, 10);
    file("w.tt", "old content");
    EXPECT_FALSE(_handler.write(NullFC, (_dir / "w.tt").c_str()));
    EXPECT_EQ("", textOf("w.tt"));
    EXPECT_THAT(events, ElementsAre("progress 0", "begin w.tt", "progress 0", "write", "writeFile"));
    type.secondChance = true;
    EXPECT_TRUE(_handler.write(NullFC, (_dir / "w.tt").c_str())) << "writeFile has the last word";
}

TEST_F(SceneFileHandlerTest, UnknownSuffixLeavesNoFile)
{
    EXPECT_FALSE(_handler.write(NullFC, (_dir / "w.nosuch").c_str()));
    EXPECT_FALSE(fs::exists(_dir / "w.nosuch"));
    EXPECT_TRUE(events.empty());
}

TEST_F(SceneFileHandlerTest, FileThatCannotBeOpenedGoesToWriteFile)
{
    const WordType type({"tt"}, true, 10);
    EXPECT_FALSE(_handler.write(NullFC, (_dir / "none" / "w.tt").c_str()));
    EXPECT_THAT(events, ElementsAre("progress 0", "begin w.tt", "writeFile"));
}

TEST_F(SceneFileHandlerTest, CompressedOutputIsRefused)
{
    const WordType type({"tt"}, true, 10);
    const NodePtr node = makeCoredNode<Group>();
    addRefCP(node);
    EXPECT_FALSE(_handler.write(node, (_dir / "w.tt").c_str(), true));
    EXPECT_EQ("writeFile", events.back());
    subRefCP(node);
}
