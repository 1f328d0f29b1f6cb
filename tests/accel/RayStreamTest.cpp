// Streams of rays through every kernel against single rays.
#include <cstring>
#include <memory>

#include "accel/queries/RayQueries.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using Velk::NMVector3f;

// Each test runs for each kernel; its parameter is the kernel's name.
class RayStreamTest : public FileTest, public testing::WithParamInterface<const char*> {
 protected:
    void SetUp() override {
        if (!findKernel(GetParam())) GTEST_SKIP() << "no kernel " << GetParam() << " on this machine";
    }
};

// A point that lies exactly on the split planes of two or three nodes, where rounding decides what a ray visits.
NMVector3f onPlanes(Random& random, const KDTree& tree, const Scene& scene) {
    NMVector3f v3 = random.inside(scene.boxScene);
    for (int i = 0; i < 3; ++i) {
        const KDTreeNode& node = tree.vNodes[random.below(tree.vNodes.uCount)];
        if (!node.isLeaf()) v3[node.axis()] = node.fSplit;
    }
    return v3;
}

// Rays in bundles from one point, as a camera makes them, or towards one, as shadow rays are, and single ones; many
// through vertices and the edges of split planes, level with an axis or along it; now and then one that is hostile.
void fill(RayStream& stream, Random& random, const KDTree& tree) {
    const Scene& scene = *tree.pScene;
    const float special[] = {NAN, HUGE_VALF, -0.0f, 0.0f, 1e38f, -1e-45f};
    const uint32_t uRays = 1 + random.below(RayStream::CAPACITY);
    const bool bTowards = random.below(2) == 1;
    const float fSpread = random.below(3) ? 300.0f : 3000.0f;
    NMVector3f v3Centre = random.vector(20000.0f), v3About = v3Centre;
    for (stream.uCount = 0; stream.uCount < uRays;) {
        const uint32_t uKind = random.below(40);
        if (uKind < 3) {
            v3Centre = uKind ? random.inside(scene.boxScene) : random.vector(20000.0f);
            v3About = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
        }
        NMVector3f v3Target = v3About + random.vector(fSpread);
        if (uKind < 10) v3Target = onPlanes(random, tree, scene);
        if (uKind > 25) v3Target = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
        NMVector3f v3From = v3Centre;
        if (uKind > 35) v3From[uKind % 3] = v3Target[uKind % 3];
        NMVector3f v3Dir = v3Target - v3From;
        if (bTowards) {
            v3From = v3Target;
            v3Dir = v3Dir * -1.0f;
        }
        if (uKind == 20) v3From[random.below(3)] = special[random.below(6)];
        if (uKind == 21) v3Dir[random.below(3)] = special[random.below(6)];
        if (uKind == 22) v3From = v3From + v3Dir * random.between(-30.0f, 0.0f);
        float fEnd = uKind == 23 ? 100.0f : random.between(0.0f, 2.0f);
        if (uKind == 24) fEnd = special[random.below(6)];
        stream.add(v3From, v3Dir, bTowards && uKind < 22 ? 1.0f : fEnd);
    }
}

// Expects the answers of single rays to the last bit.
void expectAnswersOfSingleRays(RayQueries& queries, const RayStream& stream) {
    KDTree& tree = queries.kdTree;
    std::vector<RayTestOutput> vHits(RayStream::ROOM);
    std::vector<uint32_t> vFaces(RayStream::ROOM);
    const auto pBlocked = std::make_unique<bool[]>(RayStream::ROOM);
    queries.findNearestFaces(stream, vFaces.data(), vHits.data());
    queries.findObstacles(stream, pBlocked.get());
    for (uint32_t u = 0; u < stream.uCount; ++u) {
        SCOPED_TRACE(testing::Message() << "ray " << u);
        const NMVector3f O = stream.origin(u), D = stream.dir(u);
        RayTestOutput hit{};
        const FaceData* pFace = tree.findNearestFace(O, D, stream.fMaxDist[u], &hit);
        ASSERT_EQ(vFaces[u], pFace ? static_cast<uint32_t>(pFace - tree.pScene->vFaces.pData) : NO_INDEX);
        ASSERT_EQ(pBlocked[u], tree.findObstacle(O, D, stream.fMaxDist[u]));
        if (!pFace) continue;
        ASSERT_EQ(memcmp(&vHits[u].v3Hit, &hit.v3Hit, sizeof(hit.v3Hit)), 0);
        ASSERT_EQ(vHits[u].fT, hit.fT);
        ASSERT_EQ(vHits[u].fU, hit.fU);
        ASSERT_EQ(vHits[u].fV, hit.fV);
        ASSERT_EQ(vHits[u].bFrontFace, hit.bFrontFace);
    }
}

void build(RayQueries& queries, const Scene& scene, float fFarthestOrigin = 0.0f) {
    queries.pKernel = findKernel(RayStreamTest::GetParam());
    testing::internal::CaptureStdout();
    const bool bFailed = queries.build(scene, true, fFarthestOrigin);
    testing::internal::GetCapturedStdout();
    ASSERT_FALSE(bFailed);
}

TEST_P(RayStreamTest, GivesTheAnswersOfSingleRays) {
    Random random(1);
    std::vector<Mesh> vMeshes = makeMeshes(random);
    Mesh fan, needles, boxes, flat;
    for (int i = 0; i < 60; ++i) fan.add({0, 0, 0}, random.vector(5.0f), {1, 2, 3});  // one large leaf
    for (int i = 0; i < 300; ++i) {  // so thin that rounding decides where they are hit
        const NMVector3f v3 = random.vector(5.0f), v3Long = random.vector(i % 2 ? 1.0f : 4.0f);
        needles.add(v3, v3 + v3Long, v3 + v3Long * 0.5f + random.vector(1e-6f));
    }
    for (uint32_t u = 0; u < 81; ++u) {  // on whole numbers
        const float x = static_cast<float>(u % 9), z = static_cast<float>(u / 9),
                    h = static_cast<float>(random.below(4));
        boxes.addQuad({x, h, z}, {1, 0, 0}, {0, 0, 1});
        boxes.addQuad({x, 0, z}, {0, h, 0}, {0, 0, 1});
        boxes.addQuad({x, 0, z}, {1, 0, 0}, {0, h, 0});
    }
    for (int i = 0; i < 7; ++i) flat.add({0, 0, 0}, random.vector(1.0f), {0, 0, 0});  // without area
    vMeshes.insert(vMeshes.end(), {fan, needles, boxes, flat, makeSoup(random, 1, 5.0f)});
    const auto pStream = std::make_unique<RayStream>();
    for (const Mesh& mesh : vMeshes) {
        Scene scene;
        loadMesh(scene, mesh);
        RayQueries queries;
        build(queries, scene, random.below(2) ? random.between(0.0f, 1e5f) : 0.0f);
        for (int iRound = 0; iRound < 8; ++iRound) {
            SCOPED_TRACE(testing::Message() << "mesh " << &mesh - vMeshes.data() << ", round " << iRound);
            fill(*pStream, random, queries.kdTree);
            expectAnswersOfSingleRays(queries, *pStream);
            if (HasFatalFailure()) return;
        }
    }
}

// A place of a node that holds no box was met where sums overflowed, and led to the root again, without end.
TEST_P(RayStreamTest, EmptyPlacesOfANodeAreNotMetInScenesThatOverflow) {
    Random random(1);
    Mesh point, thin;
    point.vVertices = {{1e38f, 0, 0}};
    for (int i = 0; i < 9; ++i)
        thin.add({2.5e34f, random.between(0, 1), 0}, {2.5e34f, 0, random.between(0, 1)}, {2.5e34f, 1, 1});
    const auto pStream = std::make_unique<RayStream>();
    for (const Mesh& mesh : {point, thin}) {
        Scene scene;
        loadMesh(scene, mesh);
        for (const float fFarthestOrigin : {0.0f, 1e5f, HUGE_VALF}) {
            RayQueries queries;
            build(queries, scene, fFarthestOrigin);
            for (const float f : {1.0f, 1e19f, 8e37f, 3e38f, HUGE_VALF}) {
                NMVector3f v3Eye = random.vector(1.0f) * f;
                for (pStream->uCount = 0; pStream->uCount < 256;) {
                    if (pStream->uCount % 64 == 0) v3Eye = random.vector(1.0f) * f;
                    pStream->add(v3Eye, v3Eye * (-1.0f / f) + random.vector(0.1f), pStream->uCount % 3 ? HUGE_VALF : f);
                }
                expectAnswersOfSingleRays(queries, *pStream);
                if (HasFatalFailure()) return;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, RayStreamTest, testing::Values("generic", "sse2", "avx2", "avx512"),
                         [](const auto& kernel) { return std::string(kernel.param); });

}  // namespace
