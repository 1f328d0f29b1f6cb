// Whole pictures: tiles, single rays, and the judge that tests every face.
#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using PictureTest = FileTest;

void prepare(RayTracer& rayTracer, const SceneText& text, bool bReset = true) {
    text.write("test");
    rayTracer.parameters.bResetCache = bReset;
    ASSERT_FALSE(rayTracer.load("Scenes/scene_descs/test.txt", false));
    ASSERT_FALSE(rayTracer.preprocessScene());
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
        EXPECT_EQ(firstDifference(sPictures[0], sPictures[1]), "") << mesh.vTriangles.size() << " triangles";
    }
}

// A tile of any place and size goes between bytes that stay as they are, and no pixel depends on its neighbours.
TEST_F(PictureTest, PacksTilesAndSingleRaysMakeTheImageOfRun) {
    RayTracer rayTracer;
    rayTracer.parameters.uTexturedAttribute = 1;
    prepare(rayTracer, makeScene(makeShowcase(), 97, 71));
    ASSERT_FALSE(rayTracer.run());
    const auto& [pImage, uSize, uWidth, uHeight] = rayTracer.image;
    const std::string sImage(reinterpret_cast<const char*>(pImage), uSize);
    for (const unsigned uPackSize : {1u, 7u, 71u, 97u, 1000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(renderPacks(rayTracer, std::min(uPackSize, 100u)), sImage) << uPackSize;
        rayTracer.parameters.uPackSize = uPackSize;
        rayTracer.calculatePack(97, 0, nullptr);  // packs outside the image are empty
        rayTracer.calculatePack(0xFFFFFFFFu, 71, nullptr);
        ASSERT_FALSE(rayTracer.run());
        EXPECT_EQ(memcmp(pImage, sImage.data(), uSize), 0) << uPackSize;
    }
    const auto pRenderer = std::make_unique<TileRenderer>(rayTracer, rayTracer.parameters);
    Random random(8);
    for (unsigned u = 0; u < 40; ++u) {
        const uint32_t x = random.below(uWidth), y = random.below(uHeight);
        const uint32_t uColumns = random.below(uWidth - x + 1), uRows = random.below(uHeight - y + 1);
        std::string sExpected(uSize, '?');
        for (uint32_t uRow = y; uRow < y + uRows; ++uRow) {
            memcpy(&sExpected[(uRow * uWidth + x) * 3], pImage + (uRow * uWidth + x) * 3, uColumns * 3);
        }
        std::string sTile(uSize, '?');
        pRenderer->render(rayTracer.frame(), {x, y, uColumns, uRows},
                          reinterpret_cast<uint8_t*>(&sTile[(y * uWidth + x) * 3]), uWidth * 3);
        EXPECT_EQ(firstDifference(sTile, sExpected), "")
            << uColumns << " x " << uRows << " pixels from " << x << ", " << y;
        const Velk::NMVector3f v3Target =
            rayTracer.v3ImageOrigin + rayTracer.v3ImageSpanX * (static_cast<float>(x) / static_cast<float>(uWidth)) +
            rayTracer.v3ImageSpanY * (static_cast<float>(y) / static_cast<float>(uHeight));
        const Velk::NMVector3f v3Seen =
            rayTracer.traceRay(rayTracer.v3Eye, normalize(v3Target - rayTracer.v3Eye), 0, 1.0f);
        for (unsigned a = 0; a < 3; ++a) {
            const float fByte = std::min(v3Seen[a], 255.0f);
            EXPECT_EQ(rayTracer.image.getPixel(x, y) >> (16 - 8 * a) & 255, static_cast<unsigned>(fByte));
        }
    }
}

// The first read a null pointer, the second never ended.
TEST_F(PictureTest, WithoutASceneOrWithoutAPackSizeNothingIsRendered) {
    RayTracer rayTracer;
    EXPECT_TRUE(rayTracer.preprocessScene());
    prepare(rayTracer, makeScene(makeShowcase(), 8, 8));
    rayTracer.parameters.uPackSize = 0;
    EXPECT_TRUE(rayTracer.run());
    rayTracer.calculatePack(0, 0, nullptr);
    rayTracer.release();
    EXPECT_FALSE(rayTracer.image.pData || rayTracer.scene.bLoaded || rayTracer.queries.kdTree.pRoot);
    EXPECT_TRUE(rayTracer.preprocessScene());
    const std::string sLog = takeLog();
    EXPECT_TRUE(contains(sLog, "Invalid pack size: 0\n") && contains(sLog, "Invalid scene: none was loaded\n"));
}

TEST_F(PictureTest, TheServerNeedsOnlyDescriptionAndCamera) {
    writeFile("d.txt", "missing.brs\nc.cam\nmissing.atr\nmissing.lgt\n");
    writeFile("c.cam", makeScene({}, 37, 23).sCamera);
    RayTracer rayTracer;
    ASSERT_FALSE(rayTracer.load("d.txt", true));
    EXPECT_EQ(rayTracer.parameters.uWidth, 37u);
    EXPECT_TRUE(rayTracer.bDescOnly);
    EXPECT_TRUE(rayTracer.load("d.txt", false));
    EXPECT_TRUE(contains(takeLog(), "Failed to open file: missing.brs"));
    EXPECT_TRUE(rayTracer.load(std::string(256, 'p').c_str(), false));
    EXPECT_TRUE(contains(takeLog(), "Invalid string: 'szSceneDescFile' or 'parameters.szDescFile'\n"));
}

}  // namespace
