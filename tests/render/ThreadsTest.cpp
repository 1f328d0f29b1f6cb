// One scene, many threads: const means concurrent.
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <thread>

#include "base/InputReport.h"
#include "base/Progress.h"
#include "support/FileTest.h"
#include "support/SceneArrays.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using ThreadsTest = FileTest;

TEST_F(ThreadsTest, EightThreadsMakeThePictureOfOne) {
    RayTracer rayTracer;
    rayTracer.parameters.uTexturedAttribute = 1;
    rayTracer.parameters.bDirt = true;
    makeScene(makeShowcase(), 120, 90).write("test");
    ASSERT_FALSE(rayTracer.load("Scenes/scene_descs/test.txt", false));
    ASSERT_FALSE(rayTracer.preprocessScene());
    ASSERT_FALSE(rayTracer.run());
    const PreparedScene& scene = rayTracer;
    const Frame frame = rayTracer.frame();
    const TileGrid tiles = frame.tiles(16);
    const size_t uStride = size_t{frame.uWidth} * 3;
    std::string sPicture(uStride * frame.uHeight, '?');
    std::atomic<uint64_t> uNext{0};
    std::atomic<unsigned> uWrong{0};
    std::vector<std::thread> vThreads;
    for (int i = 0; i < 8; ++i) {
        vThreads.emplace_back([&] {
            const auto pRenderer = std::make_unique<TileRenderer>(scene, rayTracer.parameters);
            for (uint64_t u; (u = uNext++) < tiles.count();) {
                const Tile tile = tiles.tile(u);
                pRenderer->render(frame, tile, reinterpret_cast<uint8_t*>(&sPicture[tile.y * uStride + tile.x * 3]),
                                  uStride);
                // Single rays walk the tree, which streams seldom do.
                const Velk::NMVector3f v3Dir = normalize(scene.scene.pVertices[u].v3Position - frame.v3Eye);
                RayTestOutput walked{}, searched{};
                const FaceData* pWalked = scene.queries.kdTree.findNearestFace(frame.v3Eye, v3Dir, 1e9f, &walked);
                const FaceData* pSearched = rayTracer.dummyFindTriangle(frame.v3Eye, v3Dir, &searched);
                uWrong += (pWalked != nullptr) != (pSearched != nullptr) || (pWalked && walked.fT != searched.fT);
            }
        });
    }
    for (std::thread& thread : vThreads) thread.join();
    EXPECT_EQ(uWrong, 0u);
    EXPECT_EQ(memcmp(sPicture.data(), rayTracer.image.pData, sPicture.size()), 0);
}

TEST_F(ThreadsTest, EightThreadsPrepareTheFacesAndTheTreeOfOne) {
    Random random(5);
    Mesh balls, mixed = makeSlivers(random, 3000);  // some of these twice
    balls.addSphere({0, 0, 0}, 6.0f, 5);
    balls.addSphere({30, 0, 0}, 0.1f, 5);
    mixed.addSphere({0, 0, 0}, 6.0f, 5);
    mixed.vTriangles.insert(mixed.vTriangles.end(), mixed.vTriangles.begin() + 2000, mixed.vTriangles.end() - 2000);
    for (const Mesh& mesh : {balls, mixed, makeSoup(random, 9000, 0.5f), makeSoup(random, 5000, 50.0f)}) {
        SCOPED_TRACE(mesh.vTriangles.size());
        Scene scene;
        loadMesh(scene, mesh);
        std::string sOne;
        for (const unsigned uThreads : {1u, 2u, 3u, 8u}) {
            for (uint32_t u = 0; u < scene.uVertexCount; ++u) scene.pVertices[u].v3Normal = {};
            scene.precalculateFaces(uThreads);
            KDTree tree;
            ASSERT_FALSE(tree.buildTree(&scene, true, uThreads));
            std::string sAll = readFile(tree.sCacheFile);
            sAll.append(reinterpret_cast<const char*>(scene.vFaces.begin()), scene.vFaces.uCount * sizeof(FaceData));
            sAll.append(reinterpret_cast<const char*>(scene.pVertices), scene.uVertexCount * sizeof(SceneVertex));
            if (uThreads == 1) sOne = sAll;
            ASSERT_TRUE(sAll == sOne) << uThreads << " threads";
        }
    }
}

std::string g_sReports;

TEST_F(ThreadsTest, FiveThreadsReadTheMeshAndTheFaultsOfOne) {
    constexpr uint32_t LINES = 70'000;  // more than a megabyte of each kind
    const std::string FAULTS[] = {"// comment\n",
                                  "\n",
                                  "1 2\n",
                                  "1 2 3 4\n",
                                  "15e-1 2 0\n",
                                  "0 1 2\r\n",
                                  "word\n",
                                  std::string(5000, '7') + "\n",
                                  "70000 0 1\n",
                                  "0 1  2\n",
                                  std::string(1, '\0')};
    Velk::setInputSink([](bool, const char* sz) { g_sReports += std::string(sz) + '\n'; });
    unsigned uCount[2] = {};
    for (uint32_t uSeed = 0; uSeed < 9; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        const auto lines = [&](const char* szHead, const char* szFormat) {
            std::string sLines = szHead;
            for (uint32_t u = 0; u < LINES; ++u) {
                char szLine[64];
                snprintf(szLine, sizeof(szLine), szFormat, random.below(LINES), random.below(1000),
                         random.below(LINES));
                sLines += random.below(20'000) ? szLine : FAULTS[random.below(std::size(FAULTS))];
            }
            return sLines;
        };
        std::string sText =
            lines("vertices 70000\n", "%u.%u -%u 12.5\n") + lines("\ntriangles 70000\n", "%u %u %u\n") + "\n";
        for (uint32_t u = 0; u < LINES / 10; ++u) sText += "0 1 2 3 4 5 6 7 8 9\n";
        if (uSeed % 4 == 0) sText.resize(random.below(static_cast<uint32_t>(sText.size())));
        writeFile("mesh.brs", sText);
        std::string sOne;
        for (const unsigned uThreads : {1u, 2u, 5u}) {
            Scene scene;
            g_sReports.clear();
            const bool bFailed = scene.loadScene("mesh.brs", uThreads);
            const SceneArrays mesh(scene);
            std::string sAll = g_sReports + (bFailed ? "failed" : "loaded");
            sAll.append(reinterpret_cast<const char*>(mesh.vPositions.data()), mesh.vPositions.size() * 4);
            sAll.append(reinterpret_cast<const char*>(mesh.vTriangles.data()), mesh.vTriangles.size() * 4);
            sAll.append(reinterpret_cast<const char*>(mesh.vMaterials.data()), mesh.vMaterials.size() * 4);
            if (uThreads == 1) sOne = sAll;
            ASSERT_TRUE(sAll == sOne) << uThreads << " threads: " << g_sReports;
            ++uCount[bFailed];
        }
    }
    Velk::setInputSink(nullptr);
    EXPECT_GT(std::min(uCount[0], uCount[1]), 5u);
}

TEST_F(ThreadsTest, AMeshFromMemoryIsTheOneFromItsFile) {
    makeScene(makeShowcase(), 60, 45).write("test");
    RayTracer fromFile;
    ASSERT_FALSE(fromFile.load("Scenes/scene_descs/test.txt", false));
    const SceneArrays arrays(fromFile.scene);
    ASSERT_FALSE(fromFile.preprocessScene());
    ASSERT_FALSE(fromFile.run());

    RayTracer fromMemory;
    ASSERT_FALSE(fromMemory.load("Scenes/scene_descs/test.txt", false));
    fromMemory.scene.releaseScene();
    fromMemory.queries.kdTree.sCacheFile.clear();
    ASSERT_FALSE(fromMemory.scene.setMesh(arrays.view()));
    ASSERT_FALSE(fromMemory.preprocessScene());
    ASSERT_FALSE(fromMemory.run());
    EXPECT_EQ(memcmp(fromMemory.image.pData, fromFile.image.pData, fromFile.image.uSize), 0);

    PreparedScene own;
    own.queries.kdTree.sCacheFile.clear();
    ASSERT_FALSE(own.scene.setMesh(arrays.view()));
    testing::internal::CaptureStdout();
    Velk::setProgressSink(nullptr);
    ASSERT_FALSE(own.prepare({}, false, Scaling::NONE));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a library prints nothing";
    for (uint32_t u = 0; u < own.scene.uVertexCount; ++u) {
        ASSERT_EQ(memcmp(&own.scene.pVertices[u].v3Position, &arrays.vPositions[u * 3], 12), 0) << "scaled";
    }

    SceneArrays wrong = arrays;
    wrong.vTriangles[7] = 0xFFFFFFFFu;
    own.release();
    EXPECT_TRUE(own.scene.setMesh(wrong.view()));
    EXPECT_TRUE(contains(takeLog(), "triangle 2 has a vertex that is not there"));
    wrong = arrays;
    wrong.vPositions[5] = NAN;
    EXPECT_TRUE(own.scene.setMesh(wrong.view()));
    EXPECT_TRUE(own.scene.setMesh({nullptr, 0, nullptr, 0, nullptr}));
    EXPECT_FALSE(own.scene.pVertices);
}

}  // namespace
