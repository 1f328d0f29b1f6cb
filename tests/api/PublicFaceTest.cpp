// What is installed for others: only include/raytracer is included here, besides the judge.
#include <raytracer/Messages.h>
#include <raytracer/Picture.h>
#include <raytracer/Scene.h>

#include <cmath>
#include <cstring>

#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

class PublicFaceTest : public FileTest {
 public:
    static std::string sReports;

 protected:
    void SetUp() override {
        sReports.clear();
        raytracer::setProgressSink(nullptr);
        raytracer::setErrorSink([](bool, const char* sz) { sReports += std::string(sz) + "\n"; });
    }
    void TearDown() override { raytracer::setErrorSink(nullptr); }
};
std::string PublicFaceTest::sReports;

TEST_F(PublicFaceTest, ASceneFromItsFilesIsTheProgramsPictureOnAnyNumberOfThreads) {
    makeScene(makeShowcase(), 97, 71).write("test");
    RayTracer judge;
    judge.parameters.uTexturedAttribute = 1;
    judge.parameters.bDirt = true;
    ASSERT_FALSE(judge.load("Scenes/scene_descs/test.txt", false));
    ASSERT_FALSE(judge.preprocessScene());
    ASSERT_FALSE(judge.run());

    raytracer::Scene scene;
    ASSERT_FALSE(scene.load("Scenes/scene_descs/test.txt"));
    const raytracer::View view = raytracer::viewOf(scene);
    raytracer::Bricks bricks;
    bricks.uMaterial = 1;
    bricks.bDirt = true;
    std::vector<uint8_t> vPixels(97 * 71 * 3);
    EXPECT_TRUE(raytracer::render(scene, view, bricks, 1, vPixels.data(), 97 * 3));
    EXPECT_EQ(sReports, "scene: is not prepared for pictures\n");
    ASSERT_FALSE(scene.prepare(raytracer::Use::PICTURES, raytracer::Rays::TREE));
    for (const unsigned uThreads : {1u, 8u}) {
        std::fill(vPixels.begin(), vPixels.end(), uint8_t{7});
        ASSERT_FALSE(raytracer::render(scene, view, bricks, uThreads, vPixels.data(), 97 * 3));
        for (size_t u = 0; u < vPixels.size(); ++u) {
            ASSERT_EQ(vPixels[u], judge.image.pData[u / 3 * 3 + 2 - u % 3]) << "byte " << u << ", threads " << uThreads;
        }
    }
}

TEST_F(PublicFaceTest, RaysAtAMeshFromMemoryAreInItsOwnUnits) {
    const float positions[] = {0, 0, 0, 4, 0, 0, 0, 4, 0};
    const uint32_t triangles[] = {0, 1, 2};
    const raytracer::Ray rays[] = {{{1, 2, -3}, {0, 0, 2}}, {{1, 2, -3}, {0, 0, -2}}, {{1, 2, -3}, {0, 0, 2}, 1.4f}};
    for (const raytracer::Use use : {raytracer::Use::RAYS, raytracer::Use::PICTURES}) {
        raytracer::Scene scene;
        raytracer::Hit hits[3];
        scene.findNearest(rays, 3, hits);
        EXPECT_EQ(hits[0].uTriangle, raytracer::NO_TRIANGLE) << "there is nothing yet";
        ASSERT_FALSE(scene.setMesh({positions, 3, triangles, 1}));
        const bool bRays = use == raytracer::Use::RAYS;
        ASSERT_FALSE(bRays ? scene.prepare(use, raytracer::Rays::TREE) : scene.prepare(use));
        EXPECT_TRUE(scene.prepare(use)) << "twice";
        scene.findNearest(rays, 3, hits);
        EXPECT_EQ(hits[0].uTriangle, 0u);
        EXPECT_NEAR(hits[0].fT, 1.5f, 1e-5f);
        EXPECT_NEAR(hits[0].fU, 0.25f, 1e-5f);
        EXPECT_NEAR(hits[0].fV, 0.5f, 1e-5f);
        for (int i : {1, 2}) EXPECT_TRUE(std::isinf(hits[i].fT)) << i;
        bool bBlocked[3];
        scene.findBlocked(rays, 3, bBlocked);
        EXPECT_TRUE(bBlocked[0] && !bBlocked[1] && !bBlocked[2]);
    }
}

// From the middle of a ball at its vertices and the middles of its edges.
TEST_F(PublicFaceTest, NoRayLeavesAClosedMesh) {
    Mesh ball;
    ball.addSphere({0, 0, 0}, 3.0f, 4);
    std::vector<uint32_t> vTriangles;
    for (const Mesh::Triangle& t : ball.vTriangles) vTriangles.insert(vTriangles.end(), {t.a, t.b, t.c});
    std::vector<raytracer::Ray> vRays;
    const auto shoot = [&](const Velk::NMVector3f& v3) { vRays.push_back({{0, 0, 0}, {v3.x, v3.y, v3.z}}); };
    for (size_t u = 0; u < vTriangles.size(); ++u) {
        const Velk::NMVector3f v3 = ball.vVertices[vTriangles[u]];
        shoot(v3);
        shoot((v3 + ball.vVertices[vTriangles[u % 3 == 2 ? u - 2 : u + 1]]) * 0.5f);
    }
    raytracer::Scene scene;
    ASSERT_FALSE(scene.setMesh({&ball.vVertices[0].x, static_cast<uint32_t>(ball.vVertices.size()), vTriangles.data(),
                                static_cast<uint32_t>(vTriangles.size() / 3)}));
    ASSERT_FALSE(scene.prepare(raytracer::Use::RAYS, raytracer::Rays::WATERTIGHT, 2));
    std::vector<raytracer::Hit> vHits(vRays.size());
    scene.findNearest(vRays.data(), vRays.size(), vHits.data());
    for (const raytracer::Hit& hit : vHits) EXPECT_NE(hit.uTriangle, raytracer::NO_TRIANGLE);
}

TEST_F(PublicFaceTest, WrongScenesAreRefusedWithAReason) {
    const float positions[] = {0, 0, 0, 4, 0, 0, 0, 4, 0};
    const uint32_t triangles[] = {0, 1, 2}, materials[] = {1};
    raytracer::Scene scene;
    EXPECT_TRUE(scene.load("missing.txt"));
    EXPECT_TRUE(scene.prepare(raytracer::Use::RAYS));
    ASSERT_FALSE(scene.setMesh({positions, 3, triangles, 1, materials}));
    EXPECT_TRUE(scene.prepare(raytracer::Use::RAYS));
    EXPECT_EQ(sReports,
              "missing.txt: No such file or directory\nscene: has no mesh\n"
              "mesh: triangle 0 wants material 1, there are 1\n");
    ASSERT_FALSE(scene.addMaterial({}));
    EXPECT_FALSE(scene.prepare(raytracer::Use::RAYS));
}

}  // namespace
