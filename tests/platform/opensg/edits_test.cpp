#include "helpers.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform3D.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace osg;

// -- Edits ------------------------------------------------------------------------------------

TEST(Edit, settersWriteAtOnceAndTheMatrixFollowsAtTheEnd)
{
    const New<ComponentTransform> transform;
    beginEditCP(transform.get(), ComponentTransform::TranslationFieldMask);
    transform->setTranslation(Vec3f(1, 2, 3));
    EXPECT_EQ(Vec3f(1, 2, 3), transform->getTranslation());
    EXPECT_EQ(Matrix::identity(), transform->getMatrix());
    endEditCP(transform.get(), ComponentTransform::TranslationFieldMask);
    EXPECT_EQ(Vec4f(1, 2, 3, 1), transform->getMatrix()[3]);
}

TEST(Edit, componentsComposeAsTheMatrixDoes)
{
    const New<ComponentTransform> transform;
    const Quaternion rotation(Vec3f(0, 0, 1), osgdegree2rad(90.f));
    const Quaternion orientation(Vec3f(1, 0, 0), .3f);
    {
        const CPEditor edit(transform.get());
        transform->setTranslation(Vec3f(1, 2, 3));
        transform->setRotation(rotation);
        transform->setScale(Vec3f(2, 3, 4));
        transform->setScaleOrientation(orientation);
        transform->setCenter(Vec3f(1, 0, 0));
    }
    Matrix expected;
    expected.setTransform(Vec3f(1, 2, 3), rotation, Vec3f(2, 3, 4), orientation, Vec3f(1, 0, 0));
    EXPECT_EQ(expected, transform->getMatrix());
}

TEST(Edit, macrosEditToTheEndOfTheBlock)
{
    const ComponentTransformPtr transform = ComponentTransform::create();
    const Kept<ComponentTransformPtr> kept(transform);
    {
        CPEdit(transform, ComponentTransform::ScaleFieldMask | ComponentTransform::CenterFieldMask);
        transform->setScale(Vec3f(2, 2, 2));
        EXPECT_EQ(Matrix::identity(), transform->getMatrix());
    }
    EXPECT_FLOAT_EQ(2, transform->getMatrix()[0][0]);
    {
        CPEditAll(transform);
        transform->setScale(Vec3f(3, 3, 3));
    }
    EXPECT_FLOAT_EQ(3, transform->getMatrix()[0][0]);
}

TEST(Edit, changedAloneHasTheSameEffect)
{
    const New<ComponentTransform> transform;
    beginEditCP(transform.get());
    transform->setScale(Vec3f(5, 5, 5));
    endEditNotChangedCP(transform.get());
    EXPECT_EQ(Matrix::identity(), transform->getMatrix());
    changedCP(transform.get());
    EXPECT_FLOAT_EQ(5, transform->getMatrix()[0][0]);
}

// -- Edit check -------------------------------------------------------------------------------

TEST(EditCheck, failsOutsideAnyEditAndChangesNothing)
{
    const New<Switch> choice;
    EXPECT_THROW(choice->setChoice(2), std::logic_error);
    EXPECT_EQ(-1, choice->getChoice());
}

TEST(EditCheck, failsInsideAnEditOfOtherFields)
{
    const New<Node> node;
    const CPEditor edit(node.get(), Node::ChildrenFieldMask);
    EXPECT_THROW(node->setTravMask(1), std::logic_error);
    EXPECT_THROW(node->setCore(NullFC), std::logic_error);
    EXPECT_NO_THROW(node->addChild(NullFC));
}

TEST(EditCheck, failsInsideAnEditOfAnotherContainer)
{
    const New<Switch> a;
    const New<Switch> b;
    const CPEditor edit(a.get());
    EXPECT_THROW(b->setChoice(0), std::logic_error);
}

TEST(EditCheck, acceptsMasksOfNestedEdits)
{
    const New<Switch> choice;
    beginEditCP(choice.get(), Switch::ChoiceFieldMask);
    beginEditCP(choice.get(), Switch::AttachmentsFieldMask);
    endEditCP(choice.get(), Switch::AttachmentsFieldMask);
    EXPECT_NO_THROW(choice->setChoice(1));
    endEditCP(choice.get(), Switch::ChoiceFieldMask);
    EXPECT_THROW(choice->setChoice(2), std::logic_error);
}

TEST(EditCheck, coversAddsAndSubs)
{
    const New<Node> node;
    const Kept<NodePtr> child(Node::create());
    EXPECT_THROW(node->addChild(child), std::logic_error);
    EXPECT_THROW(node->insertChild(0, child), std::logic_error);
    EXPECT_THROW(node->subChild(child.get()), std::logic_error);
    const New<ChunkMaterial> material;
    const New<MaterialChunk> chunk;
    EXPECT_THROW(material->addChunk(chunk.get()), std::logic_error);
    EXPECT_THROW(material->subChunk(chunk.get()), std::logic_error);
    const New<Name> name;
    EXPECT_THROW(node->addAttachment(name.get()), std::logic_error);
    EXPECT_EQ(0u, node->getNChildren());
    EXPECT_EQ(1, name.get().getRefCount());
}

TEST(EditCheck, offAcceptsEverythingAndTheModeBeforeIsGiven)
{
    const New<Switch> choice;
    EXPECT_EQ(EditCheck::Fail, osgSetEditCheck(EditCheck::Off));
    choice->setChoice(4);
    EXPECT_EQ(EditCheck::Off, osgSetEditCheck(EditCheck::Fail));
    EXPECT_EQ(4, choice->getChoice());
}

/// One place in the program, however the compiler unrolls the loop around it.
__attribute__((noinline)) static void chooseOutsideAnEdit(Switch& choice, Int32 value)
{
    choice.setChoice(value);
}

TEST(EditCheck, logReportsEachPlaceOnce)
{
    const New<Switch> choice;
    osgSetEditCheck(EditCheck::Log);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) {
        chooseOutsideAnEdit(*choice.get(), i);
    }
    const std::string log = testing::internal::GetCapturedStderr();
    osgSetEditCheck(EditCheck::Fail);
    EXPECT_EQ(2, choice->getChoice());
    const std::string::size_type first = log.find("Switch: field choice is changed outside");
    ASSERT_NE(std::string::npos, first);
    EXPECT_EQ(std::string::npos, log.find("Switch: field choice", first + 1));
}

// -- Transform3D ------------------------------------------------------------------------------

/// Product of matrices, from the left to the right.
static Matrix product(std::initializer_list<Matrix> factors)
{
    Matrix result;
    for (const Matrix& factor : factors) {
        result.mult(factor);
    }
    return result;
}

static Matrix translation(const Vec3f& t)
{
    Matrix result;
    result.setTranslate(t[0], t[1], t[2]);
    return result;
}

static Matrix rotation(const Quaternion& q)
{
    Matrix result;
    result.setRotate(q);
    return result;
}

static Matrix scale(const Vec3f& s)
{
    Matrix result;
    result.setScale(s[0], s[1], s[2]);
    return result;
}

TEST(Transform3D, isTheIdentityWithDefaults)
{
    const New<Transform3D> transform;
    const CPEditor edit(transform.get());
    transform->setTranslation(Vec3f(0, 0, 0));
    changedCP(transform.get());
    EXPECT_EQ(Matrix::identity(), transform->getMatrix());
}

TEST(Transform3D, composesItsComponentsInOrder)
{
    const Vec3f t(1, -2, 3), rp(.5f, 1, -1), rpt(.1f, .2f, .3f), sp(-1, 2, .5f), spt(.4f, -.5f, .6f);
    const Vec3f s(2, .5f, -3), sh(.25f, -.5f, .75f);
    const Quaternion r(Vec3f(1, 2, 3), .7f);
    const Quaternion ro(Vec3f(-1, 0, 1), 1.1f);

    const New<Transform3D> transform;
    beginEditCP(transform.get());
    transform->setShear(sh);
    transform->setRotationAsQuaternion(r);
    transform->setRotationOrientationAsQuaternion(ro);
    transform->setRotatePivot(rp);
    transform->setRotatePivotTranslation(rpt);
    transform->setScale(s);
    transform->setScalePivot(Pnt3f(sp));
    transform->setScalePivotTranslation(spt);
    transform->setTranslation(t);
    EXPECT_EQ(Matrix::identity(), transform->getMatrix());
    endEditCP(transform.get());

    const Matrix shear(1, sh[0], sh[1], 0, 0, 1, sh[2], 0, 0, 0, 1, 0, 0, 0, 0, 1);
    const Matrix expected =
        product({translation(t), translation(rpt), translation(rp), rotation(r), rotation(ro),
                 translation(-rp), translation(spt), translation(sp), shear, scale(s), translation(-sp)});
    EXPECT_TRUE(expected.equals(transform->getMatrix(), 1e-5f)) << expected << transform->getMatrix();
    EXPECT_EQ(r, transform->getRotationAsQuaternion());
    EXPECT_EQ(ro, transform->getRotationOrientationAsQuaternion());
    EXPECT_EQ(Pnt3f(rp), transform->getRotatePivot());
}

TEST(Transform3D, anEditOfOneComponentIsEnough)
{
    const New<Transform3D> transform;
    const Kept<NodePtr> node(makeNodeFor(transform));
    beginEditCP(transform.get(), Transform3D::ScaleFieldMask);
    transform->setScale(Vec3f(100, 100, 100));
    endEditCP(transform.get(), Transform3D::ScaleFieldMask);
    EXPECT_EQ(scale(Vec3f(100, 100, 100)), node->getToWorld());
}
