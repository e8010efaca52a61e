// Switches: the visibility of children becomes the choice, and a transformation of the switch's own a node.

#include "LoaderTest.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform.h>

namespace
{
using testing::ElementsAre;

class Switches : public LoaderTest
{
protected:
    zyKeldaLoaderTestAccess loader;

    /// A switch of children "0", "1", ...; false makes one inactive.
    static osg::NodePtr makeVariants(const std::vector<bool>& active, osg::Int32 choice = osg::Switch::NONE)
    {
        std::vector<osg::NodePtr> children;
        for (std::size_t i = 0; i < active.size(); ++i) {
            const osg::NodePtr child = makeGroup(std::to_string(i), {});
            children.push_back(active[i] ? child : makeInactive(child));
        }
        return makeSwitch("variants", choice, children);
    }
    static osg::NodePtr makeMoved(float x)
    {
        const osg::Transform3DPtr core = osg::Transform3D::create();
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(x, 0, 0));
        return makeNode("own", core);
    }
    static std::vector<bool> activity(const osg::NodePtr& node)
    {
        std::vector<bool> active;
        for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
            active.push_back(node->getChild(i)->getActive());
        return active;
    }
    static osg::Int32 choiceOf(const osg::NodePtr& node)
    {
        return osg::SwitchPtr::dcast(node->getCore())->getChoice();
    }
    /// What becomes of a transform node when its switch hangs between two others below a root.
    struct Result {
        std::vector<std::string> names; ///< of the root's children
        bool alive;                     ///< the transform node is still there
    };
    Result finish(const osg::NodePtr& transform)
    {
        const osg::UInt32 id = transform.getFieldContainerId();
        const ScopedGraph root(
            makeGroup("root", {makeGroup("before", {}), makeVariants({true}), makeGroup("after", {})}));
        loader.switches().clear();
        loader.recordSwitch(root.get()->getChild(1), transform);
        loader.postProcessSwitches();
        return Result{childNames(root.get()), isAlive(id)};
    }
};

// -- choice ----------------------------------------------------------------------------------------

TEST_F(Switches, theFirstActiveChildIsChosenAndAllBecomeActive)
{
    const ScopedGraph variants(makeVariants({false, true, true}));
    loader.recordSwitch(variants.get(), osg::NullFC);
    loader.postProcessSwitches();
    EXPECT_EQ(1, choiceOf(variants.get()));
    EXPECT_THAT(activity(variants.get()), ElementsAre(true, true, true));
}

TEST_F(Switches, laterActiveChildrenChangeNothing)
{
    const ScopedGraph variants(makeVariants({true, false, true}, 2));
    loader.recordSwitch(variants.get(), osg::NullFC);
    loader.postProcessSwitches();
    EXPECT_EQ(0, choiceOf(variants.get()));
    EXPECT_THAT(activity(variants.get()), ElementsAre(true, true, true));
}

TEST_F(Switches, withoutAnActiveChildTheChoiceStaysAndAllBecomeActive)
{
    for (const osg::Int32 choice : {int(osg::Switch::NONE), int(osg::Switch::ALL), 1}) {
        const ScopedGraph variants(makeVariants({false, false}, choice));
        loader.switches().clear();
        loader.recordSwitch(variants.get(), osg::NullFC);
        loader.postProcessSwitches();
        EXPECT_EQ(choice, choiceOf(variants.get()));
        EXPECT_THAT(activity(variants.get()), ElementsAre(true, true));
    }
}

TEST_F(Switches, aSwitchWithoutChildrenKeepsItsChoice)
{
    const ScopedGraph variants(makeVariants({}, 3));
    loader.recordSwitch(variants.get(), osg::NullFC);
    loader.postProcessSwitches();
    EXPECT_EQ(3, choiceOf(variants.get()));
}

TEST_F(Switches, childrenOfAnyOtherCoreStayInactive)
{
    const ScopedGraph group(makeGroup("group", {makeInactive(makeGroup("hidden", {}))}));
    const ScopedGraph bare(osg::Node::create());
    loader.recordSwitch(group.get(), osg::NullFC);
    loader.recordSwitch(bare.get(), osg::NullFC);
    loader.recordSwitch(osg::NullFC, osg::NullFC);
    loader.postProcessSwitches();
    EXPECT_THAT(activity(group.get()), ElementsAre(false));
}

TEST_F(Switches, withoutRecordsNoSwitchIsTouched)
{
    const ScopedGraph variants(makeVariants({false, true}));
    loader.root() = variants.get();
    loader.postProcessSwitches();
    EXPECT_EQ(osg::Switch::NONE, choiceOf(variants.get()));
    EXPECT_THAT(activity(variants.get()), ElementsAre(false, true));
}

TEST_F(Switches, everyRecordIsFinished)
{
    const ScopedGraph first(makeVariants({false, true}));
    const ScopedGraph second(makeVariants({false, false, true}));
    loader.recordSwitch(first.get(), osg::NullFC);
    loader.recordSwitch(second.get(), osg::NullFC);
    loader.postProcessSwitches();
    EXPECT_EQ(1, choiceOf(first.get()));
    EXPECT_EQ(2, choiceOf(second.get()));
}

// -- transformation --------------------------------------------------------------------------------

TEST_F(Switches, aMovedSwitchGetsATransformNodeInItsPlace)
{
    const ScopedGraph root(
        makeGroup("root", {makeGroup("before", {}), makeVariants({true}), makeGroup("after", {})}));
    const osg::NodePtr variants = root.get()->getChild(1);
    const osg::NodePtr transform = makeMoved(5);
    loader.recordSwitch(variants, transform);
    loader.postProcessSwitches();
    EXPECT_THAT(childNames(root.get()), ElementsAre("before", "SwitchTransform", "after"));
    EXPECT_TRUE(root.get()->getChild(1) == transform);
    EXPECT_THAT(childNames(transform), ElementsAre("variants"));
    EXPECT_TRUE(transform->getChild(0) == variants);
    EXPECT_EQ(osg::Vec3f(5, 0, 0), transformOf(transform)->getTranslation());
    EXPECT_EQ(1, transform.getRefCount()) << "held by the graph alone";
}

TEST_F(Switches, anyKindOfTransformationCounts)
{
    const osg::TransformPtr plain = osg::Transform::create();
    {
        const osg::CPEditor edit(plain);
        osg::Matrix matrix;
        matrix[2][0] = 0.5f; // a shear
        plain->setMatrix(matrix);
    }
    EXPECT_THAT(finish(makeNode("plain", plain)).names, ElementsAre("before", "SwitchTransform", "after"));
    const osg::ComponentTransformPtr components = osg::ComponentTransform::create();
    {
        const osg::CPEditor edit(components);
        components->setScale(osg::Vec3f(1, 2, 1));
    }
    EXPECT_THAT(finish(makeNode("components", components)).names,
                ElementsAre("before", "SwitchTransform", "after"));
}

TEST_F(Switches, anIdentityWithin1e6GetsNoNodeAndIsReleased)
{
    for (const float x : {0.0f, 1e-6f, -1e-6f}) {
        const Result result = finish(makeMoved(x));
        EXPECT_THAT(result.names, ElementsAre("before", "variants", "after")) << x;
        EXPECT_FALSE(result.alive) << x;
    }
    for (const float x : {1.1e-6f, -1.1e-6f})
        EXPECT_THAT(finish(makeMoved(x)).names, ElementsAre("before", "SwitchTransform", "after")) << x;
}

TEST_F(Switches, aNodeThatIsNoTransformIsReleased)
{
    for (const osg::NodePtr& node : {makeGroup("group", {}), osg::Node::create()}) {
        const Result result = finish(node);
        EXPECT_THAT(result.names, ElementsAre("before", "variants", "after"));
        EXPECT_FALSE(result.alive);
    }
}

TEST_F(Switches, releasingTakesOneReferenceAway)
{
    const ScopedGraph transform(makeMoved(0));
    osg::addRefCP(transform.get());
    EXPECT_EQ(2, transform.get().getRefCount());
    finish(transform.get());
    EXPECT_EQ(1, transform.get().getRefCount());
}

TEST_F(Switches, aSwitchWithoutAParentIsHungBelowItsTransform)
{
    const osg::NodePtr transform = makeMoved(5);
    const ScopedGraph top(transform);
    loader.recordSwitch(makeVariants({true}), transform);
    loader.postProcessSwitches();
    EXPECT_THAT(childNames(transform), ElementsAre("variants"));
}

// -- from a scene ----------------------------------------------------------------------------------

TEST_F(Switches, aDagTransformWithAHiddenAndAVisibleMeshBecomesAMovedSwitch)
{
    const KObject variants = makeMovedTransform("variants", 1, 2, 3);
    setVisibility(makeQuad("hiddenShape", makeTransform("hidden", variants)), false);
    makeQuad("shownShape", makeTransform("shown", variants));
    loader.createRoot();
    const ScopedGraph root(loader.root());
    const KDagPath path = pathOf("variants");
    const KFnDagNode fn(path);
    loader.addNode(path, fn, loader.loader.convertSwitch(path), true, false, true);
    for (const char* shape : {"hidden", "shown"}) {
        const KDagPath shapePath = pathOf(std::string(shape) + "Shape");
        const KFnDagNode shapeFn(shapePath);
        loader.addNode(pathOf(shape), shapeFn, loader.convertMesh(shapePath), loader.isVisible(shapeFn), true,
                       true);
    }
    loader.postProcessSwitches();

    const osg::NodePtr transform = nodeAt(root.get(), {"SwitchTransform"});
    ASSERT_TRUE(transform != osg::NullFC);
    EXPECT_EQ(osg::Vec3f(1, 2, 3), transformOf(transform)->getTranslation());
    const osg::NodePtr node = nodeAt(transform, {"variants"});
    ASSERT_TRUE(node != osg::NullFC);
    EXPECT_THAT(childNames(node), ElementsAre("hiddenShape", "shownShape"));
    EXPECT_EQ(1, choiceOf(node));
    EXPECT_THAT(activity(node), ElementsAre(true, true));
}

TEST_F(Switches, anImportFinishesThemAfterTheWalk)
{
    makeTransform("group");
    const std::string file = saveScene("scene.kb");
    zyKeldaLoaderTestAccess import(file);
    const ScopedGraph variants(makeVariants({false, true}));
    import.recordSwitch(variants.get(), osg::NullFC);
    osg::NodePtr result;
    printedBy([&] { result = import.read(); });
    const ScopedGraph root(result);
    EXPECT_EQ(1, choiceOf(variants.get()));
}
} // namespace
