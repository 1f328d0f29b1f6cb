#include <cstring>
#include <memory>

#include "accel/KDTree.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using RayStreamTest = FileTest;
using Velk::NMVector3f;

// Rays in bundles from one point, as a camera makes them, and single ones; now and then one that is hostile.
void fill(RayStream& stream, Random& random, const Scene& scene) {
    const float special[] = {NAN, HUGE_VALF, -0.0f, 0.0f, 1e38f, -1e-45f};
    const uint32_t uRays = 1 + random.below(RayStream::CAPACITY);
    NMVector3f v3Origin = random.vector(20000.0f);
    for (stream.uCount = 0; stream.uCount < uRays;) {
        const uint32_t uVertex = random.below(scene.uVertexCount), uKind = random.below(40);
        if (uKind < 3) v3Origin = uKind ? random.inside(scene.boxScene) : random.vector(20000.0f);
        NMVector3f v3From = v3Origin, v3Dir = scene.pVertices[uVertex].v3Position + random.vector(300.0f) - v3From;
        if (uKind > 30) v3Dir[uKind % 3] = 0.0f;
        if (uKind == 20) v3From[random.below(3)] = special[random.below(6)];
        if (uKind == 21) v3Dir[random.below(3)] = special[random.below(6)];
        stream.add(v3From, v3Dir, random.between(0.0f, 2.0f));
    }
}

TEST_F(RayStreamTest, EveryKernelGivesTheAnswersOfSingleRays) {
    Random random(1);
    Mesh meshes[] = {makeSoup(random, 500, 5.0f), makePlanes(random, 150), makeSlivers(random, 200), {}, {}};
    meshes[3].addSphere({0, 0, 0}, 5.0f, 4);
    for (int i = 0; i < 60; ++i) meshes[4].add({0, 0, 0}, random.vector(5.0f), {1, 2, 3});  // one large leaf
    const auto pStream = std::make_unique<RayStream>();
    std::vector<RayTestOutput> vHits(RayStream::ROOM);
    std::vector<uint32_t> vFaces(RayStream::ROOM);
    const auto pBlocked = std::make_unique<bool[]>(RayStream::ROOM);
    for (const Mesh& mesh : meshes) {
        Scene scene;
        loadMesh(scene, mesh);
        KDTree tree;
        testing::internal::CaptureStdout();
        ASSERT_FALSE(tree.buildTree(&scene, true));
        testing::internal::GetCapturedStdout();
        for (int iRound = 0; iRound < 8; ++iRound) {
            fill(*pStream, random, scene);
            for (const char* szKernel : {"generic", "sse2", "avx2", "avx512"}) {
                tree.pKernel = findKernel(szKernel);
                if (!tree.pKernel) continue;  // not on this machine
                tree.findNearestFaces(*pStream, vFaces.data(), vHits.data());
                tree.findObstacles(*pStream, pBlocked.get());
                for (uint32_t u = 0; u < pStream->uCount; ++u) {
                    SCOPED_TRACE(szKernel + std::string(", mesh ") + std::to_string(&mesh - meshes) + ", round " +
                                 std::to_string(iRound) + ", ray " + std::to_string(u));
                    const NMVector3f O = pStream->origin(u), D = pStream->dir(u);
                    RayTestOutput hit{};
                    const FaceData* pFace = tree.findNearestFace(O, D, pStream->fMaxDist[u], &hit);
                    ASSERT_EQ(vFaces[u], pFace ? static_cast<uint32_t>(pFace - scene.vFaces.pData) : NO_INDEX);
                    ASSERT_EQ(pBlocked[u], tree.findObstacle(O, D, pStream->fMaxDist[u]));
                    if (!pFace) continue;
                    ASSERT_EQ(memcmp(&vHits[u].v3Hit, &hit.v3Hit, sizeof(hit.v3Hit)), 0);
                    ASSERT_TRUE(vHits[u].fT == hit.fT && vHits[u].fU == hit.fU && vHits[u].fV == hit.fV);
                    ASSERT_EQ(vHits[u].bFrontFace, hit.bFrontFace);
                }
            }
        }
    }
}

}  // namespace
