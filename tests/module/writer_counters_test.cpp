// The two counters that name shaders and images. They count for as long as the module is loaded: every test
// runs in a process of its own.

#include "WriterTest.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGTextureChunk.h>
#include <kelda/KFileIO.h>
#include <kelda/KPlug.h>
#include <zyOpenSGUtils/zyMaterials.h>

#include <filesystem>

namespace
{
using testing::ElementsAre;

class Counters : public WriterTest
{
protected:
    osg::NodePtr painted(const std::string& materialName, bool textured = false,
                         const std::string& imageName = "")
    {
        const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
        zyMaterials::setName(material, materialName, true);
        if (textured) {
            const osg::TextureChunkPtr texture = osg::TextureChunk::create();
            {
                const osg::ImagePtr image = makeImage(osg::Image::OSG_L_PF, {7});
                const osg::CPEditor editImage(image);
                image->setName(imageName);
                const osg::CPEditor edit(texture);
                texture->setImage(image);
            }
            const osg::CPEditor edit(material);
            material->addChunk(texture);
        }
        const osg::NodePtr node = shapeNode("tri", triangle());
        const osg::CPEditor edit(geometryOf(node));
        geometryOf(node)->setMaterial(material);
        return node;
    }
    /// The shader names that an export of these gives out.
    std::set<std::string> namesOf(const Children& nodes)
    {
        KFileIO::newFile(true);
        zyKeldaWriterTestAccess writer(keep(groupNode("root", nodes)), inFolder("car.kb"));
        writer.build();
        return writer.usedShaderNames();
    }
};

TEST_F(Counters, threeMaterialsNamedPaintBecomePaintPaint1AndPaint2)
{
    EXPECT_THAT(namesOf({painted("paint"), painted("paint"), painted("paint")}),
                ElementsAre("paint", "paint1", "paint2"));
}

TEST_F(Counters, theNumberGoesBehindTheNameAsItStands)
{
    EXPECT_THAT(namesOf({painted("mat"), painted("mat1"), painted("mat")}),
                ElementsAre("mat", "mat1", "mat12"));
}

TEST_F(Counters, theNumbersGoOnInTheNextExport)
{
    EXPECT_THAT(namesOf({painted("paint"), painted("paint")}), ElementsAre("paint", "paint1"));
    EXPECT_THAT(namesOf({painted("paint"), painted("paint")}), ElementsAre("paint", "paint2"))
        << "names are free again, numbers are not";
}

TEST_F(Counters, imagesWithoutANameAreNumberedOverAllExports)
{
    namesOf({painted("a", true), painted("b", true)});
    namesOf({painted("c", true)});
    for (const char* file : {"car/texture1.png", "car/texture2.png", "car/texture3.png"})
        EXPECT_TRUE(std::filesystem::exists(inFolder(file))) << file;
    EXPECT_EQ(
        "car/texture3.png",
        std::string(KFnDependencyNode(nodeOf("fileZYRA1")).findPlug("fileTextureName").asString().asUTF8()));
}

TEST_F(Counters, imagesThatAreNamedByAFolderAloneAreNumberedToo)
{
    namesOf({painted("a", true, "C:\\maps\\"), painted("b", true, "/maps/")});
    for (const char* file : {"car/texture1.png", "car/texture2.png"})
        EXPECT_TRUE(std::filesystem::exists(inFolder(file))) << file;
}
} // namespace
