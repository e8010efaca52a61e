#include "LoaderTest.h"

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <kelda/KDagPath.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFnSet.h>
#include <kelda/KGlobal.h>
#include <kelda/KMessage.h>
#include <kelda/KPlug.h>
#include <kelda/testing/KFaults.h>
#include <zyOpenSGExt/zyValuePair.h>
#include <zyUtils/zyLog.h>

#include <cstdlib>
#include <filesystem>

// -- fixture ---------------------------------------------------------------------------------------

static void recordSdkMessage(KMessage::Kind, const char* text, void* data)
{
    static_cast<std::vector<Message>*>(data)->push_back({"sdk", text});
}

LoaderTest::LoaderTest()
{
    std::string pattern = testing::TempDir() + "/zykeldaXXXXXX";
    const char* made = ::mkdtemp(&pattern[0]);
    folder = made != nullptr ? made : "";

    zyLog::setDefaultSinkEnabled(false);
    _logSink = zyLog::addSink([this](zyLog::Level level, const std::string& text) {
        messages.push_back({level == zyLog::Error     ? "log.error"
                            : level == zyLog::Warning ? "log.warning"
                                                      : "log.info",
                            text});
    });
    KMessage::setHandler(recordSdkMessage, &messages);
    KFileIO::newFile(true);
}

LoaderTest::~LoaderTest()
{
    KFaults::clear();
    KFileIO::newFile(true);
    KMessage::setHandler(nullptr, nullptr);
    zyLog::removeSink(_logSink);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::vector<std::string> LoaderTest::said(const std::string& channel) const
{
    std::vector<std::string> texts;
    for (const Message& message : messages) {
        if (message.channel == channel)
            texts.push_back(message.text);
    }
    return texts;
}

std::string LoaderTest::saveScene(const std::string& name)
{
    const std::string path = inFolder(name);
    const std::string suffix = name.substr(name.rfind('.') + 1);
    const bool ascii = suffix == "ka" || suffix == "KA" || suffix == "Ka";
    EXPECT_FALSE(KFileIO::saveAs(path.c_str(), ascii ? "keldaAscii" : "keldaBinary", true).error()) << path;
    return path;
}

// Waits for the walk: there is a root then.
static std::function<void()> changeInWalk;
static zyKeldaLoaderTestAccess* walking = nullptr;

static void changeOnce(osg::UInt32)
{
    if (changeInWalk == nullptr || walking->root() == osg::NullFC)
        return;
    const std::function<void()> change = changeInWalk;
    changeInWalk = nullptr;
    change();
}

osg::NodePtr LoaderTest::readChanging(zyKeldaLoaderTestAccess& loader, const std::function<void()>& change)
{
    changeInWalk = change;
    walking = &loader;
    osg::SceneFileHandler::the()->setReadProgressCB(changeOnce, false);
    const osg::NodePtr root = loader.read();
    osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
    EXPECT_TRUE(changeInWalk == nullptr) << "the scene has no nodes";
    return root;
}

// -- small scenes ----------------------------------------------------------------------------------

KObject makeTransform(const char* name, const KObject& parent)
{
    KFnTransform fn;
    const KObject object = fn.create(parent);
    fn.setName(name);
    return object;
}

KObject makeMovedTransform(const char* name, double x, double y, double z, const KObject& parent)
{
    const KObject object = makeTransform(name, parent);
    EXPECT_FALSE(KFnTransform(object).setTranslation(KVector(x, y, z), KSpace::kTransform).error());
    return object;
}

// A mesh of quads: (columns + 1) x 2 points.
static KObject makeQuads(const char* name, const KObject& transform, int columns)
{
    KFloatPointArray points;
    KIntArray counts;
    KIntArray connects;
    for (int i = 0; i <= columns; ++i) {
        points.append(KFloatPoint(static_cast<float>(i), 0, 0));
        points.append(KFloatPoint(static_cast<float>(i), 1, 0));
    }
    for (int i = 0; i < columns; ++i) {
        counts.append(4);
        for (const int corner : {2 * i, 2 * i + 2, 2 * i + 3, 2 * i + 1})
            connects.append(corner);
    }
    KFnMesh mesh;
    KStatus status;
    const KObject shape =
        mesh.create(static_cast<int>(points.length()), columns, points, counts, connects, transform, &status);
    EXPECT_FALSE(status.error());
    mesh.setName(name);
    return shape;
}

KObject makeQuad(const char* name, const KObject& transform)
{
    KFloatPointArray points;
    KIntArray counts;
    KIntArray connects;
    KFloatArray us;
    KFloatArray vs;
    counts.append(4);
    for (int corner = 0; corner < 4; ++corner) {
        const float x = corner == 1 || corner == 2 ? 1.0f : 0.0f;
        const float y = corner >= 2 ? 1.0f : 0.0f;
        points.append(KFloatPoint(x, y, 0));
        connects.append(corner);
        us.append(x);
        vs.append(y);
    }
    KFnMesh mesh;
    KStatus status;
    const KObject shape = mesh.create(4, 1, points, counts, connects, transform, &status);
    EXPECT_FALSE(status.error());
    mesh.setName(name);
    EXPECT_FALSE(mesh.setUVs(us, vs).error());
    EXPECT_FALSE(mesh.assignUVs(counts, connects).error());
    assignWhole(name, "initialShadingGroup");
    return shape;
}

KObject makeStrip(const char* name, const KObject& transform, int faces)
{
    return makeQuads(name, transform, faces);
}

static void makeSet(const std::string& set)
{
    KObject found;
    if (KGlobal::findNode(set.c_str(), found).error())
        run("sets -renderable true -noSurfaceShader true -empty -name \"" + set + "\"");
}

void assign(const std::string& shapePath, const std::string& set, int firstFace, int lastFace)
{
    makeSet(set);
    run("sets -edit -forceElement \"" + set + "\" \"" + shapePath + ".f[" + std::to_string(firstFace) + ":" +
        std::to_string(lastFace) + "]\"");
}

void assignWhole(const std::string& shapePath, const std::string& set)
{
    makeSet(set);
    EXPECT_FALSE(KFnSet(nodeOf(set)).addMember(pathOf(shapePath)).error());
}

void addInstance(const KObject& transform, const KObject& child)
{
    EXPECT_FALSE(KFnDagNode(transform).addChild(child, KFnDagNode::kNextPos, true).error());
}

void setVisibility(const KObject& node, bool visible)
{
    EXPECT_FALSE(KFnDagNode(node).findPlug("visibility").setValue(visible).error());
}

KDagPath pathOf(const std::string& name)
{
    KDagPath path;
    EXPECT_FALSE(KGlobal::findPath(name.c_str(), path).error()) << name;
    return path;
}

KObject nodeOf(const std::string& name)
{
    KObject object;
    EXPECT_FALSE(KGlobal::findNode(name.c_str(), object).error()) << name;
    return object;
}

void run(const std::string& command)
{
    EXPECT_FALSE(KGlobal::executeCommand(command.c_str(), false, false).error()) << command;
}

KObject makeShader(const std::string& type, const std::string& name)
{
    run("createNode " + type + " -name \"" + name + "\"");
    run("sets -renderable true -noSurfaceShader true -empty -name \"" + name + "SG\"");
    run("connectAttr \"" + name + ".outColor\" \"" + name + "SG.surfaceShader\"");
    return nodeOf(name);
}

KObject makeFile(const std::string& name, const std::string& fileTextureName)
{
    run("createNode file -name \"" + name + "\"");
    const KObject file = nodeOf(name);
    EXPECT_FALSE(
        KFnDependencyNode(file).findPlug("fileTextureName").setValue(KString(fileTextureName)).error());
    return file;
}

void setNumber(const KObject& node, const char* attribute, double value)
{
    EXPECT_FALSE(KFnDependencyNode(node).findPlug(attribute).setValue(value).error()) << attribute;
}

// -- small images ----------------------------------------------------------------------------------

osg::ImagePtr makeImage(osg::Image::PixelFormat format, const std::vector<osg::UInt8>& bytes)
{
    const osg::ImagePtr image = osg::Image::create();
    EXPECT_TRUE(image->set(format, 1));
    const std::size_t width = bytes.size() / image->getSize();
    EXPECT_TRUE(image->set(format, static_cast<osg::Int32>(width), 1, 1, 1, 1, 0.0, bytes.data()));
    EXPECT_EQ(bytes.size(), image->getSize());
    return image;
}

void writeImage(const std::string& path, osg::Image::PixelFormat format, const std::vector<osg::UInt8>& bytes)
{
    osg::ImagePtr image = makeImage(format, bytes);
    EXPECT_TRUE(image->write(path.c_str())) << path;
    osg::subRefCP(image);
}

std::vector<osg::UInt8> bytesOf(const osg::ImagePtr& image)
{
    const osg::UInt8* data = image->getData();
    return data == nullptr ? std::vector<osg::UInt8>()
                           : std::vector<osg::UInt8>(data, data + image->getSize());
}

// -- what a test looks at --------------------------------------------------------------------------

std::string nameOf(const osg::NodePtr& node)
{
    const osg::Char8* name = osg::getName(node);
    return name != nullptr ? name : "";
}

std::vector<std::string> childNames(const osg::NodePtr& node)
{
    std::vector<std::string> names;
    for (osg::UInt32 i = 0; node != osg::NullFC && i < node->getNChildren(); ++i)
        names.push_back(nameOf(node->getChild(i)));
    return names;
}

osg::NodePtr nodeAt(const osg::NodePtr& root, const std::vector<std::string>& names)
{
    osg::NodePtr node = root;
    for (const std::string& name : names) {
        osg::NodePtr next;
        for (osg::UInt32 i = 0; node != osg::NullFC && i < node->getNChildren() && next == osg::NullFC; ++i) {
            if (nameOf(node->getChild(i)) == name)
                next = node->getChild(i);
        }
        node = next;
    }
    return node;
}

osg::GeometryPtr geometryOf(const osg::NodePtr& node)
{
    return node != osg::NullFC ? osg::GeometryPtr::dcast(node->getCore()) : osg::GeometryPtr();
}

osg::Transform3DPtr transformOf(const osg::NodePtr& node)
{
    return node != osg::NullFC ? osg::Transform3DPtr::dcast(node->getCore()) : osg::Transform3DPtr();
}

std::vector<osg::UInt32> indicesOf(const osg::GeometryPtr& geometry)
{
    std::vector<osg::UInt32> indices;
    for (osg::UInt32 i = 0; i < geometry->getIndices()->size(); ++i)
        indices.push_back(geometry->getIndices()->getValue(i));
    return indices;
}

std::vector<osg::UInt16> mappingOf(const osg::GeometryPtr& geometry)
{
    std::vector<osg::UInt16> mapping;
    for (osg::UInt32 i = 0; i < geometry->getIndexMapping().size(); ++i)
        mapping.push_back(geometry->getIndexMapping(i));
    return mapping;
}

bool hasShadowMark(const osg::NodePtr& node)
{
    return node->findAttachment(osg::ValuePair::getClassType(), 0) != osg::NullFC;
}

std::vector<std::string> chunkTypes(const osg::ChunkMaterialPtr& material)
{
    std::vector<std::string> types;
    for (osg::UInt32 i = 0; i < material->getChunks().size(); ++i)
        types.push_back(material->getChunks(i)->getType().getCName());
    return types;
}

bool isAlive(osg::UInt32 id)
{
    return osg::FieldContainerFactory::the()->getContainer(id) != osg::NullFC;
}
