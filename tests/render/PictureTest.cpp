#include "support/FileTest.h"
#include "support/Scenes.h"

namespace {

using PictureTest = FileTest;

void prepare(RayTracer& rayTracer, const SceneText& text, bool bReset = true) {
    text.write("test");
    rayTracer.parameters.bResetCache = bReset;
    ASSERT_FALSE(rayTracer.load("Scenes/scene_descs/test.txt", false) || rayTracer.preprocessScene());
}

// The judge's tree is one leaf with all faces in their order: every ray is tested against every face.
TEST_F(PictureTest, IsTheOneOfASearchOverAllFaces) {
    Random random(5);
    for (const Mesh& mesh : {makeSoup(random, 300, 4.0f), makeShowcase()}) {
        const SceneText text = makeScene(mesh, 80, 60);
        std::string sPictures[2], sTree = "SceneFile Scenes/test/test.brs\nKDNodes 1\n4294967294 0\n\nObjectList ";
        sTree += std::to_string(mesh.vTriangles.size()) + "\n";
        for (size_t u = 1; u < mesh.vTriangles.size(); ++u) {
            sTree += std::to_string(u - 1) + " " + std::to_string(u) + "\n";
        }
        sTree += std::to_string(mesh.vTriangles.size() - 1) + " 4294967295\n";
        for (const int i : {0, 1}) {
            RayTracer rayTracer;
            rayTracer.parameters.uTexturedAttribute = 1;
            rayTracer.parameters.bDirt = true;
            if (i) writeFile("kdtree.tmp", sTree);
            prepare(rayTracer, text, !i);
            EXPECT_EQ(rayTracer.queries.kdTree.vNodes.uCount == 1, i == 1);
            sPictures[i] = renderPacks(rayTracer, 16);
        }
        EXPECT_TRUE(sPictures[0] == sPictures[1]) << mesh.vTriangles.size() << " triangles";
    }
}

TEST_F(PictureTest, PacksOfAnySizeMakeTheImageOfRun) {
    RayTracer rayTracer;
    prepare(rayTracer, makeScene(makeShowcase(), 37, 23));
    ASSERT_FALSE(rayTracer.run());
    const std::string sImage(reinterpret_cast<const char*>(rayTracer.image.pData), rayTracer.image.uSize);
    for (const unsigned uPackSize : {1u, 7u, 23u, 37u, 1000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(renderPacks(rayTracer, std::min(uPackSize, 100u)), sImage) << uPackSize;
        rayTracer.parameters.uPackSize = uPackSize;
        rayTracer.calculatePack(37, 0, nullptr);  // packs outside the image are empty
        rayTracer.calculatePack(0xFFFFFFFFu, 23, nullptr);
        ASSERT_FALSE(rayTracer.run());
        EXPECT_EQ(memcmp(rayTracer.image.pData, sImage.data(), sImage.size()), 0) << uPackSize;
    }
    rayTracer.release();
    EXPECT_TRUE(!rayTracer.image.pData && !rayTracer.scene.bLoaded && !rayTracer.queries.kdTree.pRoot);
}

TEST_F(PictureTest, TheServerNeedsOnlyDescriptionAndCamera) {
    writeFile("d.txt", "missing.brs\nc.cam\nmissing.atr\nmissing.lgt\n");
    writeFile("c.cam", makeScene({}, 37, 23).sCamera);
    RayTracer rayTracer;
    ASSERT_FALSE(rayTracer.load("d.txt", true));
    EXPECT_TRUE(rayTracer.parameters.uWidth == 37 && rayTracer.bDescOnly);
    EXPECT_TRUE(rayTracer.load("d.txt", false));
    EXPECT_TRUE(contains(takeLog(), "Failed to open file: missing.brs"));
    EXPECT_TRUE(rayTracer.load(std::string(256, 'p').c_str(), false));
    EXPECT_TRUE(contains(takeLog(), "Invalid string: 'szSceneDescFile' or 'parameters.szDescFile'\n"));
}

}  // namespace
