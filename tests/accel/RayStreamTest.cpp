// Streams of rays through every kernel against single rays.
#include <cmath>
#include <cstring>
#include <initializer_list>
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

// A face so thin that rounding decides: the test accepts rays that pass far beside it, on the diagonal along which its
// coefficients cancel. They must be found where they are, for any width, and however far away the segment ends.
TEST_P(RayStreamTest, HitsFarBesideThinFacesAreFound) {
    const auto pStream = std::make_unique<RayStream>();
    float fWidth = 1e-2f;
    unsigned uBeside = 0, uFarBeside = 0;
    const auto ask = [&](const Scene& scene, float fFarthestOrigin) {
        RayQueries queries;
        build(queries, scene, fFarthestOrigin);
        const float fLength = scene.vFaces[0].pA->v3Position.x;
        pStream->uCount = 0;
        const auto aim = [&](float h) { pStream->add({h, h, 500.0f}, {0, 0, -1}, 1000.0f); };
        for (int i = 0; i < 100; ++i) aim(fLength * (static_cast<float>(i) * 0.03f - 1.0f));
        for (int i = 0; i < 400; ++i) aim(fLength * (1.0f + static_cast<float>(i) * 1e-9f / fWidth));
        for (int i = 0; i < 100; ++i) aim(fLength * static_cast<float>(i) * -4e-9f / fWidth);
        for (int i = 0; i < 100; ++i) {  // far beyond the scene, and from near its middle to its end
            const float f = std::exp2(static_cast<float>(i) * 0.2f), h = fLength - 3000 - static_cast<float>(i);
            pStream->add({100, 100, 5000}, {1, 1, -1 / f}, 10000 * f);
            pStream->add({h, h, 3000}, {1, 1, -1}, 5000);
        }
        expectAnswersOfSingleRays(queries, *pStream);
        for (uint32_t u = 0; u < pStream->uCount; ++u) {
            const NMVector3f O = pStream->origin(u), D = pStream->dir(u);
            RayTestOutput hit;
            if (!scene.testTriangle(&scene.vFaces[0], O, D, pStream->fMaxDist[u], &hit)) continue;
            uBeside += hit.v3Hit.x > fLength + 1 || hit.v3Hit.x < -1;
            uFarBeside += hit.v3Hit.x > 10 * fLength;
        }
    };
    for (; fWidth > 1e-9f; fWidth *= 0.3f) {
        Mesh thin;
        thin.add({1, 1, 0}, {0.6f, 0.6f + std::max(fWidth, 6e-8f), 0}, {0, 0, 0});
        Scene scene;
        loadMesh(scene, thin);
        for (const float fFarthestOrigin : {0.0f, 1.0f}) ask(scene, fFarthestOrigin);
        // Coefficients without an inverse.
        scene.vFaces[0].fLambdaU = scene.vFaces[0].fMuV = 1000;
        scene.vFaces[0].fLambdaV = scene.vFaces[0].fMuU = -1000;
        ask(scene, 0);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(uBeside, 50u) << "the case is there";
    EXPECT_GT(uFarBeside, 10u);
}

// The frustum of rays to a light so far away that the rounding of their ends is larger than the margin of the boxes.
TEST_P(RayStreamTest, ShadowRaysToAFarLightFindWhatStandsInTheirWay) {
    Random random(3);
    Scene scene;
    loadMesh(scene, makeSoup(random, 500, 2.0f));
    RayQueries queries;
    build(queries, scene);
    const auto pStream = std::make_unique<RayStream>();
    for (int iRound = 0; iRound < 50; ++iRound) {
        const NMVector3f v3Light = normalize(random.vector(1.0f)) * 3e8f;
        for (pStream->uCount = 0; pStream->uCount < RayStream::CAPACITY;) {
            const NMVector3f v3Vertex = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
            for (int i = 0; i < 64; ++i) {  // one packet, around a vertex
                const NMVector3f v3Way = v3Light - v3Vertex, v3Dir = normalize(v3Way);
                pStream->add(v3Vertex - v3Dir * 300.0f + random.vector(0.5f), v3Dir, length(v3Way) + 300.0f);
            }
        }
        expectAnswersOfSingleRays(queries, *pStream);
        if (HasFatalFailure()) return;
    }
}

// A tree made by hand, handed over in the cache file: where each face is listed can be chosen.
class HandMadeTree {
 public:
    /// A small face in each of two corners gives the scene a size of 10000; the tree need not list them.
    explicit HandMadeTree(Mesh mesh) {
        mesh.add({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
        mesh.add({9998, 9998, 9998}, {9997, 9998, 9998}, {9998, 9997, 9998});
        loadMesh(scene, mesh);
        tree.pScene = &scene;
        EXPECT_FALSE(nodes.create(8, 8) || tree.vFacesList.create(8, 8, 32));
    }

    void addPlane(unsigned uAxis, float fSplit, uint32_t uFirstChild) {
        KDTreeNode node;
        node.makeInterior(uFirstChild, uAxis);
        node.fSplit = fSplit;
        ASSERT_FALSE(nodes.PushBack(node));
    }
    void addLeaf(std::initializer_list<uint32_t> faces) {
        KDTreeNode node;
        if (faces.size()) node.setList(tree.vFacesList.uSize);
        ASSERT_FALSE(nodes.PushBack(node));
        for (const uint32_t& uFace : faces) {
            const uint32_t uNext = &uFace + 1 == faces.end() ? NO_INDEX : tree.vFacesList.uSize + 1;
            ASSERT_FALSE(tree.vFacesList.PushBack({uFace, uNext}));
        }
    }

    /// Loads the tree, asks it, and counts the rays that miss the first face.
    void expectAnswers(const RayStream& stream, unsigned* pMisses, float fFarthestOrigin = 0.0f) {
        ASSERT_EQ(tree.saveTree("kdtree.tmp", nodes), 0);
        RayQueries queries;
        queries.pKernel = findKernel(RayStreamTest::GetParam());
        testing::internal::CaptureStdout();
        ASSERT_FALSE(queries.build(scene, false, fFarthestOrigin));
        ASSERT_NE(testing::internal::GetCapturedStdout().find("OK"), std::string::npos);
        expectAnswersOfSingleRays(queries, stream);
        RayTestOutput hit;
        for (uint32_t u = 0; u < stream.uCount; ++u) {
            const auto* pFace =
                queries.kdTree.findNearestFace(stream.origin(u), stream.dir(u), stream.fMaxDist[u], &hit);
            *pMisses += pFace != &scene.vFaces[0];
        }
    }

    Scene scene;

 private:
    KDTree tree;
    Velk::NDataVector<KDTreeNode> nodes;
};

// A face of nearly the whole scene across an axis.
void addWall(Mesh& mesh, unsigned uAxis, float fWhere) {
    const auto corner = [&](float u, float v) {
        NMVector3f v3{};
        v3[uAxis] = fWhere;
        v3[(uAxis + 1) % 3] = u;
        v3[(uAxis + 2) % 3] = v;
        return v3;
    };
    mesh.add(corner(0, 0), corner(9996, 0), corner(0, 9996));
}

// The cut point's rounding decides on which side of the plane a hit lies, and there the face may not be listed.
TEST_P(RayStreamTest, HitsBesideAPlaneAreSoughtOnBothSides) {
    Random random(5);
    Mesh mesh;
    addWall(mesh, 2, 5000);
    HandMadeTree tree(mesh);
    tree.addPlane(0, 1234.59f, 1);
    tree.addLeaf({0});
    tree.addLeaf({});
    const auto pStream = std::make_unique<RayStream>();
    const float fHeight = tree.scene.vFaces[0].pA->v3Position.z;
    unsigned uMisses = 0;
    for (int i = 0; i < 16; ++i) {
        const float fDistance = i % 2 ? 6e5f : 0.0f;  // where the rounding of the origins is the larger part
        for (pStream->uCount = 0; pStream->uCount < RayStream::CAPACITY;) {
            NMVector3f O = random.inside(tree.scene.boxScene) * 0.07f;
            O.x -= fDistance * random.between(0.9f, 1.0f);
            pStream->add(O, (NMVector3f{1234.59f, 800, fHeight} - O) * random.between(0.5f, 1.0f), 3.0f);
        }
        tree.expectAnswers(*pStream, &uMisses, fDistance);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(uMisses, 200u) << "the case is there";
}

// A slow ray downwards: its segment ends on a plane at the last place of y, is cut there once more, and the cut point,
// computed from that place, lies behind the segment's end. Then the same on z.
TEST_P(RayStreamTest, SegmentsThatAreTurnedAroundAcceptHitsBehindTheirNode) {
    Random random(6);
    const auto pStream = std::make_unique<RayStream>();
    for (const bool bBoth : {false, true}) {
        Mesh mesh;
        for (const float x : {5000.5f, 5000.6f}) mesh.add({x, 9996, 0}, {x, 0, 9996}, {x, 9996, 9996});
        HandMadeTree tree(mesh);
        // Half a last place above 8192 is 0.82 times the rounding of the scene's largest coordinate.
        const float fPlane = tree.scene.vFaces[0].pA->v3Position.x - (bBoth ? 7.6f : 3.2f);
        tree.addPlane(0, fPlane, 1);
        tree.addPlane(1, 8200.0f, 3);
        tree.addLeaf({0, 1});
        tree.addLeaf({});
        tree.addPlane(2, 8200.0f, 5);
        tree.addLeaf({});
        tree.addLeaf({1});
        for (pStream->uCount = 0; pStream->uCount < RayStream::CAPACITY;) {
            const float fY = random.between(-1.02e-4f, -1e-4f), fZ = bBoth ? random.between(-1.02e-4f, -1e-4f) : 0;
            const float fWay = random.between(500, 1500);
            // The cut on y lies up to 4.9 behind the plane, that on z as far again.
            const float z = bBoth ? 8200.0f - fZ * (fWay + 4.5f) : 9000.0f;
            pStream->add({fPlane - fWay, 8200.0f - fY * fWay, z}, {1, fY, fZ}, 3000.0f);
        }
        unsigned uMisses = 0;
        tree.expectAnswers(*pStream, &uMisses);
        if (HasFatalFailure()) return;
        EXPECT_GT(uMisses, 5u) << "the case is there";
    }
}

// A hit beside a plane is looked for on both sides, and on the far side the segment still has its own end, as it has on
// the only side of a ray within the plane: where that lies on a plane, the walk goes to the high child, in which the
// face is not listed.
TEST_P(RayStreamTest, SegmentsThatEndOnAPlaneGoToTheHighChildOnly) {
    const auto pStream = std::make_unique<RayStream>();
    for (const float fSign : {-1.0f, 0.0f, 1.0f}) {
        Mesh mesh;
        addWall(mesh, 2, 5000);
        HandMadeTree tree(mesh);
        tree.addPlane(0, 5000.0f, 1);
        if (fSign >= 0) tree.addLeaf({0});
        tree.addPlane(1, 1150.0f, 3);  // behind the hit
        if (fSign < 0) tree.addLeaf({0});
        tree.addLeaf({0});
        tree.addLeaf({});
        const float fWall = tree.scene.vFaces[0].pA->v3Position.z;
        pStream->uCount = 0;
        for (int i = 0; i < 100; ++i) {
            const float fAside = fSign * static_cast<float>(100 + i);
            const NMVector3f O{5000.0f + 0.002f * fSign - fAside / 2, 1100, fWall - 500};
            // The end's t and that of the plane differ by rounding.
            const float fEnd = 1.0f + 0.01f * static_cast<float>(i);
            pStream->add(O, NMVector3f{fAside, i % 2 ? 50.0f : 49.0f, 1000} / fEnd, fEnd);
        }
        unsigned uMisses = 0;
        tree.expectAnswers(*pStream, &uMisses);
        if (HasFatalFailure()) return;
        EXPECT_EQ(uMisses, 50u);
    }
}

// So does a segment that was cut at a plane, where the plane comes once more: the cut point lies on it exactly.
TEST_P(RayStreamTest, CellsWithoutThicknessAreSkipped) {
    Random random(7);
    Mesh mesh;
    addWall(mesh, 0, 4000);
    HandMadeTree tree(mesh);
    tree.addPlane(0, 5200.37f, 1);
    tree.addPlane(0, 5200.37f, 3);
    tree.addLeaf({});
    tree.addLeaf({0});
    tree.addLeaf({});
    const auto pStream = std::make_unique<RayStream>();
    while (pStream->uCount < 200) {
        const NMVector3f O{random.between(0, 3900), random.between(0, 4000), random.between(0, 4000)};
        pStream->add(O, NMVector3f{random.between(6e3f, 7e3f), 500, 500} - O, 1.0f);
    }
    unsigned uMisses = 0;
    tree.expectAnswers(*pStream, &uMisses);
    EXPECT_EQ(uMisses, pStream->uCount);
}

// A wall behind another, in a tree of two leaves that list one of them each.
class DividedWalls : public HandMadeTree {
 public:
    explicit DividedWalls(uint32_t uListedLow) : HandMadeTree(makeWalls()) {
        addPlane(0, 3000.0f, 1);
        addLeaf({uListedLow});
        addLeaf({1 - uListedLow});
    }

 private:
    static Mesh makeWalls() {
        Mesh mesh;
        for (const float z : {4000.0f, 5000.0f}) addWall(mesh, 2, z);
        return mesh;
    }
};

// Lists lie one behind the other and are read in whole vectors: the face that a ray meets stands only in the list
// behind that of its leaf.
TEST_P(RayStreamTest, WhatTheNextListHoldsIsNotListed) {
    DividedWalls tree(1);
    const auto pStream = std::make_unique<RayStream>();
    for (int i = 0; i < 100; ++i) {
        pStream->add({2000.0f + static_cast<float>(i), 2000, 100}, {0, 0, 1}, 1e4f);
    }
    unsigned uMisses = 0;
    tree.expectAnswers(*pStream, &uMisses);
}

// A denormal component downwards makes the margin of a component of zero NaN, which comparing with all hits of a packet
// does not notice.
TEST_P(RayStreamTest, AMarginThatIsNaNSendsALaneToBothSides) {
    DividedWalls tree(0);
    const auto pStream = std::make_unique<RayStream>();
    for (unsigned u = 0; u < 64; ++u) {
        pStream->add({u ? 2000.0f : 4000.0f, 2000, 100}, {0, u ? 0.0f : -1e-40f, 1}, 1e4f);
    }
    unsigned uMisses = 0;
    tree.expectAnswers(*pStream, &uMisses);
    EXPECT_EQ(uMisses, 1u);
}

// A needle that is accepted outside of the scene, at points x = 8 y of z = 0. A slow ray meets it outside of the limit
// of origins, too: its y changes by one last place on its way, so that rounding moves a cut to twice the segment's
// length.
TEST_P(RayStreamTest, HitsOnThinFacesOutsideOfTheSceneAreThoseOfTheWalk) {
    constexpr float LENGTH = 0x1.921d12p+9f, MIDDLE = 0x1.e2894ap+8f, FAR = 7357.0f, NEAR = 3000.0f;
    Mesh thin;
    thin.add({8 * LENGTH, LENGTH, 0}, {8 * MIDDLE, std::nextafter(MIDDLE, 1e9f), 0}, {0, 0, 0});
    HandMadeTree slow(thin), before(thin);
    slow.addPlane(1, FAR, 1);
    slow.addLeaf({});
    slow.addLeaf({0});
    before.addPlane(1, NEAR, 1);
    before.addLeaf({0});
    before.addLeaf({});
    const auto pStream = std::make_unique<RayStream>();
    const float fLast = std::nextafter(FAR, 1e9f) - FAR;
    for (int i = 0; i < 100; ++i) {
        const float fWay = 98800.0f + static_cast<float>(i);
        pStream->add({8 * FAR - fWay, FAR + fLast, fWay / 16}, {1, fLast / fWay * -0.999f, -0.0625f}, 1e6f);
    }
    unsigned uMisses = 0;
    slow.expectAnswers(*pStream, &uMisses);
    if (HasFatalFailure()) return;
    EXPECT_LT(uMisses, 50u) << "the case is there";

    unsigned uAccepted = 0;
    pStream->uCount = uMisses = 0;
    for (int i = 0; i < 400; ++i) {
        const float y = 2400.0f + static_cast<float>(i / 2);
        if (i % 2) {  // met before the ray enters the scene, on the other side of the plane
            pStream->add({8 * y + 512, y - 32, -32}, {-1, 0.0625f, 0.0625f}, 1e5f);
        } else {  // met where the ray begins, which never enters the scene
            pStream->add({8 * y, y, 0}, {2, 0, -1}, 3e38f);
        }
        const uint32_t u = pStream->uCount - 1;
        RayTestOutput hit;
        uAccepted +=
            before.scene.testTriangle(&before.scene.vFaces[0], pStream->origin(u), pStream->dir(u), 1e5f, &hit);
    }
    before.expectAnswers(*pStream, &uMisses);
    EXPECT_EQ(uMisses, pStream->uCount);
    EXPECT_GT(uAccepted, 50u) << "the case is there";
}

// Directions so small that a slope is not a number, beside rays that need theirs; nearly along a face, where the face
// test refuses by a limit; opposite to each other; so large that its sum overflows, which puts the hit at the origin.
TEST_P(RayStreamTest, DirectionsThatVanishOrOverflowAreAnswered) {
    Random random(8);
    Mesh mesh = makeSoup(random, 300, 4.0f);
    mesh.addQuad({-10, -10, -15}, {20, 0, 0}, {0, 20, 0});
    Scene scene;
    loadMesh(scene, mesh);
    RayQueries queries;
    build(queries, scene);
    const auto pStream = std::make_unique<RayStream>();
    const float fFloor = scene.vFaces[300].pA->v3Position.z;
    const NMVector3f v3Eye{scene.boxScene.v3Min.x * 2, 0, 0};
    unsigned uHits[4] = {}, uMisses = 0;
    while (pStream->uCount < RayStream::CAPACITY) {
        const uint32_t u = pStream->uCount, uKind = u / 64 % 4;
        const NMVector3f v3Target = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
        const float x = random.between(-2000, 2000), y = random.between(-2000, 2000);
        if (uKind == 2) {
            pStream->add({x, y, fFloor + 1e-3f}, {0.01f, 0.01f, -random.between(3e-8f, 9e-8f)}, 1e5f);
        } else if (uKind == 3) {
            pStream->add({}, {u % 2 ? 1.0f : -1.0f, random.between(-1, 1), random.between(-1, 1)}, 1e5f);
        } else if (random.below(12) == 0) {
            pStream->add(v3Eye, {1e-40f, static_cast<float>(uKind), 0}, 1e4f);
        } else {
            const float fSpread = random.below(16) ? 0.1f : 1.0f;  // few rays decide how wide the bound must be
            pStream->add(v3Eye, (v3Target * fSpread - v3Eye) * random.between(0.5f, 1.0f), 2.0f);
        }
        RayTestOutput hit;
        uHits[uKind] += queries.kdTree.findNearestFace(pStream->origin(u), pStream->dir(u), 1e5f, &hit) != nullptr;
    }
    expectAnswersOfSingleRays(queries, *pStream);
    for (const unsigned u : uHits) EXPECT_GT(u, 20u) << "the case is there";
    if (HasFatalFailure()) return;

    Mesh roof;
    roof.add({1000, 1000, 5000}, {9000, 1000, 4000}, {1000, 9000, 4000});
    for (int i = 0; i < 8; ++i) {  // so that it has a box of its own
        const float f = i % 2 ? 9990.0f : 0.0f;
        roof.add({f, f, f}, {f + 1, f, f}, {f, f + 1, f});
    }
    HandMadeTree tree(roof);
    tree.addLeaf({0});
    for (pStream->uCount = 0; pStream->uCount < 100;) {
        pStream->add({random.between(6000, 7500), random.between(1100, 1400), 100}, {3e38f, 3e38f, 3e38f}, 1.0f);
    }
    tree.expectAnswers(*pStream, &uMisses);
    EXPECT_EQ(uMisses, 0u);
}

INSTANTIATE_TEST_SUITE_P(Kernels, RayStreamTest, testing::Values("generic", "sse2", "avx2", "avx512"),
                         [](const auto& kernel) { return std::string(kernel.param); });

}  // namespace
