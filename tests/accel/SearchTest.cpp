// The walks of the kd-tree and of the uniform grid against a search over all faces, and the grid's own steps.
#include <algorithm>
#include <array>
#include <limits>

#include "accel/reference/UniformSpaceSubdivision.h"
#include "render/RayTracer.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NMVector3f;
using Grid = UniformSpaceSubdivision;

constexpr unsigned RAYS = 5000;  // at each mesh

struct Ray {
    NMVector3f v3Origin, v3Dir;
};

// A coordinate on a boundary between voxels, by product or by sum.
float boundary(Random& random, const Grid& grid, unsigned a) {
    const uint32_t uVoxels = random.below(static_cast<uint32_t>(grid.subdivDim[a]) + 1);
    float fSum = grid.v3Min[a];
    for (uint32_t u = 0; u < uVoxels; ++u) fSum += grid.v3Size[a];
    return random.below(2) ? fSum : grid.v3Min[a] + static_cast<float>(uVoxels) * grid.v3Size[a];
}

// From anywhere that matters towards anything else, along an axis, level with one or nearly so, or through corner after
// corner of the voxels.
Ray makeRay(Random& random, const Grid& grid) {
    const Velk::BoxAABB box{grid.v3Min, grid.v3Max};
    const FaceData& face = grid.pScene->vFaces[random.below(grid.pScene->vFaces.uCount)];
    const NMVector3f &A = face.pA->v3Position, &B = face.pB->v3Position, &C = face.pC->v3Position;
    const NMVector3f v3Inside = random.inside(box), v3OnFace = A * 0.2f + B * 0.5f + C * 0.3f;
    const NMVector3f v3Corner{boundary(random, grid, 0), boundary(random, grid, 1), boundary(random, grid, 2)};
    const NMVector3f v3Outside = grid.pScene->v3Center + normalize(random.vector(1.0f)) * random.between(9e3f, 3e4f);
    const unsigned a = random.below(3);
    const float fSign = random.below(2) ? 1.0f : -1.0f;
    NMVector3f v3OnBoundary = v3Inside, v3NearBoundary = v3Inside, v3OnBox = v3Inside;
    v3OnBoundary[a] = v3Corner[a];
    v3NearBoundary[a] = v3Corner[a] + random.between(-0.02f, 0.02f);
    v3OnBox[a] = random.below(2) ? box.v3Min[a] : box.v3Max[a];
    const NMVector3f points[] = {v3Inside, A, v3OnFace, v3Corner, v3OnBoundary, v3NearBoundary, v3OnBox, v3Outside};
    const uint32_t uFrom = random.below(8), uTo = uFrom + 1 + random.below(7);
    Ray ray{points[uFrom], normalize(random.vector(1.0f))};
    switch (random.below(9)) {
        case 0:
            return ray;
        case 1:  // far outside
            ray.v3Dir = ray.v3Dir * powf(10.0f, random.between(1.0f, 5.0f));
            return {v3OnFace - ray.v3Dir * 1e4f, ray.v3Dir};
        case 2:  // along an axis
            ray.v3Dir = {};
            ray.v3Dir[a] = fSign;
            return {ray.v3Origin - ray.v3Dir * random.between(0.0f, 20000.0f), ray.v3Dir};
        case 3:  // level with an axis
            ray.v3Dir[a] = fSign * 0.0f;
            return ray;
        case 4:  // nearly level
            ray.v3Dir[a] *= powf(10.0f, -random.between(0.0f, 8.0f));
            return ray;
        case 5:  // through corner after corner
            ray.v3Dir = grid.v3Size;
            ray.v3Dir[a] *= fSign;
            return {v3Corner - ray.v3Dir * static_cast<float>(random.below(20)), ray.v3Dir};
        default:
            return {ray.v3Origin, points[uTo % 8] - ray.v3Origin};
    }
}

// What a search over all faces finds.
struct Nearest {
    const FaceData* pFace;
    float t;  // infinite without a face
};

void expectGridsAnswers(Random& random, Grid& grid, const Ray& ray, const Nearest& nearest) {
    const auto& [O, D] = ray;
    RayTestOutput hit{}, again{};
    const FaceData* pFace = grid.findNearestFace(O, D, 1e30f, &hit);
    ASSERT_EQ(pFace != nullptr, nearest.pFace != nullptr);
    if (!pFace) {
        ASSERT_FALSE(grid.findObstacle(O, D, 1e30f));
        return;
    }
    ASSERT_EQ(hit.fT, nearest.t);
    ASSERT_TRUE(grid.pScene->testTriangle(pFace, O, D, hit.fT, &again));
    ASSERT_EQ(memcmp(&hit.v3Hit, &again.v3Hit, sizeof(hit.v3Hit)), 0);
    for (const float t : {hit.fT, std::nextafter(hit.fT, 0.0f), hit.fT * random.between(0.0f, 2.0f)}) {
        ASSERT_EQ(grid.findObstacle(O, D, t), hit.fT <= t);
    }
}

// True when the tree finds the same; a face may be passed by.
bool findsTheSame(const KDTree& tree, const Ray& ray, float fMaxDist, const Nearest& nearest) {
    const auto& [O, D] = ray;
    const bool bHit = nearest.pFace && nearest.t <= fMaxDist;
    RayTestOutput hit{{}, HUGE_VALF, false, 0, 0}, again;
    const FaceData* pFace = tree.findNearestFace(O, D, fMaxDist, &hit);
    const bool bObstacle = tree.findObstacle(O, D, fMaxDist);
    EXPECT_GE(hit.fT, nearest.t);
    EXPECT_EQ(pFace == nullptr, hit.fT == HUGE_VALF) << "a miss leaves the record alone";
    EXPECT_LE(bObstacle, bHit);
    if (pFace) {
        EXPECT_TRUE(tree.pScene->testTriangle(pFace, O, D, hit.fT, &again));
        EXPECT_EQ(again.fT, hit.fT);
        EXPECT_EQ(again.fU, hit.fU);
        EXPECT_EQ(again.bFrontFace, hit.bFrontFace);
    }
    return bObstacle == bHit && (bHit ? hit.fT == nearest.t : !pFace);
}

using SearchTest = FileTest;

// Two kinds of face may be passed by in the tree, rarely: one in an axis plane, where a segment ends on the split plane
// of a node whose own box ends there too (only the far side is looked at); and a sliver, whose computed hit may lie
// beside it.
TEST_F(SearchTest, FindsWhatASearchOverAllFacesFinds) {
    Random random(5);
    const std::vector<Mesh> vMeshes = makeMeshes(random);
    std::string sCaches;
    unsigned uPassedBy = 0;
    for (size_t uMesh = 0; uMesh < vMeshes.size(); ++uMesh) {
        RayTracer judge;
        judge.fMaxDistance = 1e30f;
        Scene& scene = judge.scene;
        KDTree& tree = judge.queries.kdTree;
        loadMesh(scene, vMeshes[uMesh]);
        Grid built, loaded;
        EXPECT_EQ(tree.findNearestFace({}, {0, 0, 1}, 9.0f, nullptr), nullptr) << "no tree yet";
        ASSERT_FALSE(built.createSubdivision(&scene, true));
        ASSERT_FALSE(loaded.createSubdivision(&scene, false));
        ASSERT_FALSE(tree.buildTree(&scene, true));
        sCaches += readFile("uss.tmp");
        for (unsigned u = 0; u < RAYS; ++u) {
            SCOPED_TRACE(testing::Message() << "mesh " << uMesh << ", ray " << u);
            const Ray ray = makeRay(random, built);
            const auto& [O, D] = ray;
            RayTestOutput hit{}, again;
            const FaceData* pNearest = judge.dummyFindTriangle(O, D, &hit);
            const Nearest nearest{pNearest, pNearest ? hit.fT : HUGE_VALF};
            unsigned uAtIt = 0;  // faces: the nearest, and those at the same t
            for (const FaceData& face : scene.vFaces) uAtIt += scene.testTriangle(&face, O, D, hit.fT, &again);
            ASSERT_EQ(judge.dummyFindObstacle(O, D, nullptr, hit.fT), uAtIt > 0);
            ASSERT_EQ(judge.dummyFindObstacle(O, D, pNearest, hit.fT), uAtIt > 1);
            expectGridsAnswers(random, built, ray, nearest);
            expectGridsAnswers(random, loaded, ray, nearest);
            const bool bSame = findsTheSame(tree, ray, random.between(0.0f, 60000.0f) / length(D), nearest);
            ASSERT_TRUE(bSame || uMesh > 3) << "the first four are faces at random";
            uPassedBy += !bSame;
            if (HasFailure()) return;
        }
    }
    EXPECT_LT(uPassedBy, RAYS / 30);
    EXPECT_EQ(hashOf(sCaches), 12471104374371349721u)
        << "every voxel lists the faces that it listed in every build so far";
}

// Every coordinate is a small whole number: in double, the quotients of two are equal or well apart.
TEST_F(SearchTest, RaysThatMissTheBoxAreRejectedExactly) {
    Random random(3);
    Grid grid;
    grid.v3Max = {8, 8, 8};
    grid.v3Size = {1, 2, 4};
    for (unsigned a = 0; a < 3; ++a) grid.subdivDim[a] = 8 >> a;
    unsigned uMet = 0;
    for (unsigned uRay = 0; uRay < 20000; ++uRay) {
        NMVector3f v3Origin, v3Dir;
        double dIn = 0.0, dOut = HUGE_VAL;
        for (unsigned a = 0; a < 3; ++a) {
            const double o = random.below(41) - 16.0, d = random.below(9) - 4.0;
            v3Origin[a] = static_cast<float>(o);
            v3Dir[a] = static_cast<float>(d);
            if (d != 0.0) {
                dIn = std::max(dIn, std::min(-o / d, (8.0 - o) / d));
                dOut = std::min(dOut, std::max(-o / d, (8.0 - o) / d));
            } else if (o < 0.0 || o > 8.0) {
                dOut = -1.0;
            }
        }
        ASSERT_EQ(grid.setUpTriangleSearch(v3Origin, v3Dir), dIn <= dOut) << "ray " << uRay << " of seed 3";
        if (dIn > dOut) continue;
        ++uMet;
        for (unsigned a = 0; a < 3; ++a) {
            ASSERT_GE(grid.vVoxel[a], 0);
            ASSERT_LT(grid.vVoxel[a], grid.subdivDim[a]);
        }
    }
    EXPECT_GT(uMet, 500u);
}

TEST_F(SearchTest, WalkTakesZBeforeYBeforeXAtACornerAndEndsAtTheBound) {
    Grid grid;  // of 27 unit voxels, none of them empty
    grid.v3Max = {3, 3, 3};
    grid.v3Size = {1, 1, 1};
    for (int32_t& iDim : grid.subdivDim) iDim = 3;
    ASSERT_FALSE(grid.hashes.allocate(27, 32));
    ASSERT_FALSE(grid.createCells(1));
    for (uint32_t& uHash : grid.hashes) uHash = 0;
    ASSERT_TRUE(grid.setUpTriangleSearch({0.5f, 0.5f, 0.5f}, {1, 1, 1}));
    EXPECT_TRUE(grid.checkPointInVoxel({1, 0, 1}));
    std::string sOrder;
    for (unsigned u = 0; u < 6; ++u) {
        const std::array<int32_t, 3> vOld{grid.vVoxel[0], grid.vVoxel[1], grid.vVoxel[2]};
        ASSERT_TRUE(u < 3 ? grid.findNextVoxel() : grid.findNextVoxel(1.6f));
        for (unsigned a = 0; a < 3; ++a) sOrder.append(vOld[a] != grid.vVoxel[a], "xyz"[a]);
    }
    EXPECT_EQ(sOrder, "zyxzyx");
    EXPECT_TRUE(grid.checkPointInVoxel({2, 2.5f, 3}));
    EXPECT_FALSE(grid.checkPointInVoxel({1.9f, 2.5f, 3}));
    EXPECT_FALSE(grid.findNextVoxel(2.5f));
}

TEST_F(SearchTest, HostileMeshesAndRaysAreAnswered) {
    constexpr float INF = std::numeric_limits<float>::infinity(), NOT = std::numeric_limits<float>::quiet_NaN();
    Random random(5);
    Mesh point, line, empty, wide, needles, far = makeSoup(random, 100, 3.0f);
    point.add({1, 2, 3}, {1, 2, 3}, {1, 2, 3});
    for (const float x : {0.0f, 2e12f}) line.add({x, 0, 0}, {x, 1, 0}, {x, 0, 0.1f});
    empty.vVertices = {{0, 0, 0}, {1, 1, 1}};
    wide.add({-3e38f, 0, 0}, {3e38f, 0, 0}, {0, 3e38f, 1});
    for (float f = 0.0f; f < 73.0f; ++f) needles.add({f, 0, 0}, {2e7f - f, 0.01f, 0}, {1e7f, 0, 0.01f});
    far.vVertices.push_back({3e38f, 3e38f, 3e38f});
    for (NMVector3f& v3 : far.vVertices) v3 = v3 + NMVector3f{1e7f, 0, -1e7f};
    for (const Mesh& mesh : {point, line, empty, wide, needles, far}) {
        Scene scene;
        loadMesh(scene, mesh);
        Grid grid;
        ASSERT_FALSE(grid.createSubdivision(&scene, true));
        EXPECT_LE(grid.hashes.uCount, 1u << 22);
        size_t uListings = 0;
        for (uint32_t u = 0; u < grid.uCells; ++u) uListings += grid.cells[u].uSize;
        EXPECT_LE(uListings, 1u << 24) << "a few long faces cost seconds and a gigabyte";
        RayTestOutput hit;
        for (const NMVector3f& v3 : {NMVector3f{0, 0, 0}, NMVector3f{NOT, 1, NOT}, NMVector3f{INF, 0, -INF},
                                     NMVector3f{1e-38f, 1, 0}, NMVector3f{3e38f, -3e38f, 1}}) {
            for (const NMVector3f& v3Origin : {v3, scene.v3Center - v3}) {
                const FaceData* pFace = grid.findNearestFace(v3Origin, v3, INF, &hit);
                EXPECT_EQ(pFace != nullptr, grid.findObstacle(v3Origin, v3, INF));
            }
        }
        grid.releaseSubdivision();
        EXPECT_FALSE(grid.findNearestFace({0, 0, 0}, {1, 0, 0}, 7.0f, &hit));
        EXPECT_EQ(hit.fT, 7.0f);
        EXPECT_FALSE(grid.findObstacle({0, 0, 0}, {1, 0, 0}, 7.0f));
    }
}

}  // namespace
