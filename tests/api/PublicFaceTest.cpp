// What is installed for others: only include/raytracer is included here, besides the judge.
#include <raytracer/Messages.h>
#include <raytracer/Picture.h>
#include <raytracer/Scene.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <thread>

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

TEST_F(PublicFaceTest, LightsMayComeAfterTheRestAndAPictureMayBeStopped) {
    const float positions[] = {0, 0, 0, 4, 0, 0, 0, 4, 0};
    const uint32_t triangles[] = {0, 1, 2};
    const raytracer::Light lights[] = {{{1, 1, -5}, 9000.0f}, {{9, 0, -3}, 900.0f}};
    const raytracer::View view = raytracer::lookAt({{1, 1, -6}, {1, 1, 0}}, 60, 40);
    const std::atomic<bool> bStop{true};
    std::vector<uint8_t> vPictures[3];
    for (unsigned u = 0; u < 3; ++u) {  // lights before, after, and others after
        raytracer::Scene scene;
        vPictures[u].resize(60 * 40 * 3, 7);
        ASSERT_FALSE(scene.setMesh({positions, 3, triangles, 1}) || scene.addLight(lights[u ? 1 : 0]) ||
                     scene.prepare(raytracer::Use::PICTURES) || (u && scene.setLights(lights, u)));
        EXPECT_TRUE(raytracer::render(scene, view, {}, 2, vPictures[u].data(), 180, &bStop));
        EXPECT_EQ(vPictures[u], std::vector<uint8_t>(60 * 40 * 3, 7)) << "stopped before the first tile";
        ASSERT_FALSE(raytracer::render(scene, view, {}, 2, vPictures[u].data(), 180));
    }
    EXPECT_EQ(vPictures[0], vPictures[1]);
    EXPECT_NE(vPictures[0], vPictures[2]);
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
    const std::vector<uint32_t> vTriangles = ball.indices();
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

    std::vector<uint32_t> vCounts(vRays.size());
    std::vector<size_t> vFirst(vRays.size() + 1);
    std::vector<raytracer::Hit> vAll;
    ASSERT_FALSE(scene.countHits(vRays.data(), vRays.size(), vCounts.data()));
    ASSERT_FALSE(scene.findAll(vRays.data(), vRays.size(), vAll, vFirst.data()));
    ASSERT_EQ(vAll.size(), vRays.size());
    for (size_t u = 0; u < vRays.size(); ++u) {
        EXPECT_EQ(vCounts[u], 1u) << u;
        EXPECT_TRUE(vFirst[u] == u && vAll[u].uTriangle == vHits[u].uTriangle && vAll[u].fT == vHits[u].fT) << u;
    }
    for (raytracer::Ray& ray : vRays) ray.fMinT = 1.1f;  // behind the ball
    ASSERT_FALSE(scene.countHits(vRays.data(), vRays.size(), vCounts.data()));
    EXPECT_EQ(std::count(vCounts.begin(), vCounts.end(), 0u), static_cast<ptrdiff_t>(vCounts.size()));
    scene.findNearest(vRays.data(), vRays.size(), vHits.data());
    for (const raytracer::Hit& hit : vHits) EXPECT_TRUE(std::isinf(hit.fT));
    const float points[] = {0, 0, 5, 0, 0, INFINITY};
    raytracer::Closest closest[2];
    ASSERT_FALSE(scene.findClosest(points, 2, closest));
    EXPECT_TRUE(fabsf(closest[0].fDistance - 2.0f) < 0.05f && closest[0].point[2] > 2.9f) << closest[0].fDistance;
    EXPECT_EQ(closest[1].uTriangle, raytracer::NO_TRIANGLE);
}

// A stretch that begins behind the first of two triangles, along and against the axis, in both units.
TEST_F(PublicFaceTest, StretchesOfRaysAndAllHitsAreInTheMeshsUnits) {
    const float positions[] = {0, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 8, 4, 0, 8, 0, 4, 8};
    const uint32_t triangles[] = {0, 1, 2, 3, 4, 5};
    const raytracer::Ray rays[] = {{{1, 2, -4}, {0, 0, 2}, 9.0f, 2.5f}, {{1, 2, -4}, {0, 0, 2}, 2.0f, 2.0f}};
    for (const auto& [use, kind] : {std::pair(raytracer::Use::RAYS, raytracer::Rays::WATERTIGHT),
                                    std::pair(raytracer::Use::PICTURES, raytracer::Rays::WATERTIGHT),
                                    std::pair(raytracer::Use::RAYS, raytracer::Rays::TREE)}) {
        raytracer::Scene scene;
        ASSERT_FALSE(scene.setMesh({positions, 6, triangles, 2}));
        ASSERT_FALSE(scene.prepare(use, kind));
        raytracer::Hit hits[2];
        scene.findNearest(rays, 2, hits);
        EXPECT_EQ(hits[0].uTriangle, 1u);
        EXPECT_NEAR(hits[0].fT, 6.0f, 1e-4f);
        bool bBlocked[2];
        scene.findBlocked(rays, 1, bBlocked);
        EXPECT_TRUE(bBlocked[0]);
        const raytracer::Ray whole{{1, 2, -4}, {0, 0, 2}};
        std::vector<raytracer::Hit> vAll;
        size_t uFirst[2];
        const bool bFailed = scene.findAll(&whole, 1, vAll, uFirst);
        EXPECT_EQ(bFailed, kind == raytracer::Rays::TREE);
        if (bFailed) continue;
        EXPECT_EQ(hits[1].uTriangle, 0u) << "both ends are included";
        ASSERT_EQ(uFirst[1], 2u);
        EXPECT_NEAR(vAll[0].fT, 2.0f, 1e-4f);
        EXPECT_TRUE(fabsf(vAll[1].fT - 6.0f) < 1e-4f && fabsf(vAll[1].fU - 0.25f) < 1e-5f &&
                    fabsf(vAll[1].fV - 0.5f) < 1e-5f);
        const float point[] = {1, 1, 6};
        raytracer::Closest closest;
        ASSERT_FALSE(scene.findClosest(point, 1, &closest));
        EXPECT_TRUE(closest.uTriangle == 1 && fabsf(closest.fDistance - 2.0f) < 1e-4f &&
                    fabsf(closest.point[2] - 8.0f) < 1e-4f);
    }
    EXPECT_EQ(sReports, "scene: all hits: it is not prepared for watertight rays\n");
}

// Any division of a picture, and a scene that went as bytes, give the picture of the scene itself.
TEST_F(PublicFaceTest, PackedScenesAndPartsOfPicturesHaveTheSameBytes) {
    makeScene(makeShowcase(), 97, 71).write("test");
    raytracer::Scene scene, packed;
    std::vector<uint8_t> vBytes, vAgain;
    ASSERT_FALSE(scene.load("Scenes/scene_descs/test.txt") || scene.pack(vBytes) ||
                 packed.loadPacked(vBytes.data(), vBytes.size()) || packed.pack(vAgain));
    EXPECT_EQ(vBytes, vAgain);
    ASSERT_FALSE(scene.prepare(raytracer::Use::PICTURES) || packed.prepare(raytracer::Use::PICTURES));
    EXPECT_TRUE(packed.pack(vAgain)) << "it is prepared";
    raytracer::View view = raytracer::viewOf(packed);
    raytracer::Studio studio;
    studio.uGround = 0;
    for (unsigned u = 0; u < 8; ++u) {
        const bool bStudio = u & 1;
        view.uSamples = u & 2 ? 3 : 1;
        view.bParallel = u & 4;
        const auto show = [&](const raytracer::Scene& shown, raytracer::Window window, uint8_t* pFirst) {
            view.window = window;
            return bStudio ? raytracer::renderStudio(shown, view, studio, 2, pFirst, 97 * 3)
                           : raytracer::render(shown, view, {}, 2, pFirst, 97 * 3);
        };
        std::vector<uint8_t> vWhole(97 * 71 * 3), vParts(vWhole.size());
        ASSERT_FALSE(show(scene, {}, vWhole.data()));
        for (const raytracer::Window window : {raytracer::Window{0, 0, 50, 33}, {50, 0, 999, 33}, {0, 33, 999, 999}}) {
            ASSERT_FALSE(show(packed, window, vParts.data() + (window.y * 97 + window.x) * 3));
        }
        EXPECT_EQ(vWhole, vParts) << u;
        EXPECT_NE(std::count(vWhole.begin(), vWhole.end(), vWhole[0]), static_cast<ptrdiff_t>(vWhole.size())) << u;
    }
    view.uSamples = 65;
    EXPECT_TRUE(raytracer::render(packed, view, {}, 1, vBytes.data(), 0));
    EXPECT_TRUE(contains(sReports, "has no samples or too many pixels")) << sReports;
}

// At any moment: the scene is ready then, or of no use, and nothing is said.
TEST_F(PublicFaceTest, BuildsMayBeStopped) {
    const uint32_t uSide = 160;
    std::vector<float> vPositions;
    std::vector<uint32_t> vTriangles;
    for (uint32_t u = 0; u < uSide * uSide; ++u) {
        const float x = static_cast<float>(u % uSide), y = static_cast<float>(u / uSide);
        vPositions.insert(vPositions.end(), {x, y, 9 * std::sin(x * y)});
        if (u % uSide + 1 == uSide || u / uSide + 1 == uSide) continue;
        vTriangles.insert(vTriangles.end(), {u, u + 1, u + uSide, u + 1, u + uSide + 1, u + uSide});
    }
    const raytracer::Mesh mesh{vPositions.data(), uSide * uSide, vTriangles.data(),
                               static_cast<uint32_t>(vTriangles.size() / 3)};
    const raytracer::Ray ray{{40.25f, 40.25f, 99}, {0, 0, -1}};
    unsigned uStopped = 0;
    for (unsigned u = 0; u < 48; ++u) {
        const raytracer::Rays kind = u & 1 ? raytracer::Rays::TREE : raytracer::Rays::WATERTIGHT;
        std::atomic<bool> bStop{u < 8};
        raytracer::Scene scene;
        EXPECT_EQ(scene.setMesh(mesh, &bStop), u < 8);
        if (u < 8 && scene.setMesh(mesh)) FAIL();
        std::thread stopper([&bStop, u] {
            std::this_thread::sleep_for(std::chrono::microseconds(40 * u * u));
            bStop = true;
        });
        const bool bFailed = scene.prepare(raytracer::Use::RAYS, kind, u & 2 ? 3 : 1, &bStop);
        stopper.join();
        EXPECT_TRUE(bFailed || u >= 8);
        raytracer::Hit hit;
        scene.findNearest(&ray, 1, &hit);
        EXPECT_EQ(hit.uTriangle == raytracer::NO_TRIANGLE, bFailed);
        uStopped += bFailed;
    }
    EXPECT_GE(uStopped, 8u);
    EXPECT_EQ(sReports, "");
}

TEST_F(PublicFaceTest, BytesThatAreNoPackedSceneOfThisVersionAreRefused) {
    makeScene(makeShowcase(), 97, 71).write("test");
    raytracer::Scene scene;
    std::vector<uint8_t> vGood;
    ASSERT_FALSE(scene.load("Scenes/scene_descs/test.txt") || scene.pack(vGood));
    for (size_t u = 0; u < vGood.size(); u += 1 + u / 64) EXPECT_TRUE(scene.loadPacked(vGood.data(), u)) << u;
    for (size_t u = 0; u < 232 * 8; ++u) {
        std::vector<uint8_t> vBad = vGood;
        vBad[u / 8] ^= static_cast<uint8_t>(1 << u % 8);
        const bool bRefused = scene.loadPacked(vBad.data(), vBad.size());
        EXPECT_TRUE(bRefused || u >= 128 * 8) << "bit " << u << " of name, version and counts";
    }
    // The fuzz target's seeds, which have no name and version, are of today's format.
    for (const auto& seed : std::filesystem::directory_iterator(RT_SOURCE_DIR "/fuzz/corpus/packed")) {
        const std::string sSeed = std::string(vGood.begin(), vGood.begin() + 32) + readFile(seed.path());
        EXPECT_FALSE(scene.loadPacked(sSeed.data(), sSeed.size())) << seed.path();
    }
    sReports.clear();
    vGood[16] = '9';
    EXPECT_TRUE(scene.loadPacked(vGood.data(), vGood.size()));
    EXPECT_TRUE(contains(sReports, "packed scene: is of version 9.")) << sReports;
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
