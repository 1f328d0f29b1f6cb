// Watertight queries of every kernel, however built, against the search over all faces.
#include <cmath>
#include <cstring>
#include <memory>
#include <thread>

#include "support/Answers.h"

using namespace rt;

namespace {

struct WatertightQueriesTest : testing::Test {
    WatertightQueries queries;
};

// Rays from one point or towards one, as cameras and lights make them, or all along the same edge, among rays of any
// kind; some of them hostile.
std::vector<WatertightRay> makeRays(Random& random, const Mesh& mesh, uint32_t uRays) {
    const float special[] = {NAN, HUGE_VALF, -HUGE_VALF, -0.0f, 0.0f, 1e-45f, -1e-40f, 3e38f, 1e37f};
    std::vector<WatertightRay> vRays;
    const WatertightRay centre = aimed(random, mesh);
    const uint32_t uBundle = random.below(6);
    const bool bTowards = uBundle == 1 || uBundle == 2, bSame = uBundle > 1 && uBundle < 4;
    const bool bSpread = random.below(2) == 1;  // otherwise 64 times the same ray: the bound of a packet has no width
    const float fFar = random.below(2) ? 1.0f : 1e5f;
    for (uint32_t u = 0; u < uRays; ++u) {
        WatertightRay ray = aimed(random, mesh);
        for (unsigned a = 0; a < 3 && uBundle < 4 && (bSame || u % 16); ++a) {
            float fTo = (bSame ? centre : ray).fOrigin[a] + (bSame ? centre : ray).fDir[a];
            if (bSame && bSpread && random.below(2))
                fTo = std::nextafter(fTo, random.below(2) ? HUGE_VALF : -HUGE_VALF);
            const float fCentre = centre.fOrigin[a] * (bTowards ? fFar : 1.0f);
            ray.fOrigin[a] = bTowards ? fTo + (fTo - fCentre) * (uBundle == 2 ? 1e-6f : 0.0f) : fCentre;
            ray.fDir[a] = bTowards ? fCentre - fTo : fTo - fCentre;
            ray.fNear = 0.0f;
            if (bTowards) ray.fFar = 1.0f;
        }
        const uint32_t uKind = random.below(bSame ? 400 : 40);
        if (uKind == 0) ray.fOrigin[random.below(3)] = special[random.below(9)];
        if (uKind == 1) ray.fDir[random.below(3)] = special[random.below(9)];
        if (uKind == 2) ray.fFar = special[random.below(9)];
        if (uKind == 3) ray.fNear = special[random.below(9)];
        vRays.push_back(ray);
    }
    return vRays;
}

TEST_F(WatertightQueriesTest, AnswerAsASearchOverAllFaces) {
    Random random(4);
    for (uint32_t uMesh = 0; uMesh < 480; ++uMesh) {
        SCOPED_TRACE(testing::Message() << "mesh " << uMesh);
        Mesh mesh = makeClosed(random, uMesh);
        if (uMesh % 8 == 7) {  // faces that do not count
            const uint32_t u = random.below(static_cast<uint32_t>(3 * mesh.vVertices.size()));
            mesh.vVertices[u / 3][u % 3] = uMesh % 16 == 7 ? NAN : 2e18f;
        }
        ASSERT_FALSE(buildBoxes(queries, mesh));
        ASSERT_EQ(firstWrongAnswer(queries, mesh, makeRays(random, mesh, 64 + random.below(120))), "");
    }
}

// Rays that only just meet the box of a single face, through a corner of it: from afar, from nearby through a thin
// face, and towards a far light. All rays of a packet are nearly the same, so that its bound is as narrow as theirs.
TEST_F(WatertightQueriesTest, WhatRoundingAcceptsIsWithinTheBoxes) {
    Random random(7);
    unsigned uHits = 0;
    for (unsigned uTrial = 0; uTrial < 6000; ++uTrial) {
        SCOPED_TRACE(testing::Message() << "trial " << uTrial);
        const bool bNeedle = uTrial % 3 == 1;
        const unsigned uLong = random.below(3);
        float fSize[3];
        for (unsigned a = 0; a < 3; ++a)
            fSize[a] = a == uLong ? 1.0f : bNeedle ? 1e-8f : random.below(2) ? 1.0f : 1e-4f;
        const auto point = [&](unsigned a) { return random.between(-1, 1) * fSize[a]; };
        Mesh mesh;
        for (unsigned c = 0; c < 3; ++c) {
            const float x = point(0), y = point(1);
            mesh.vVertices.push_back({x, y, point(2)});
        }
        mesh.vTriangles.push_back({0, 1, 2, 0});
        ASSERT_FALSE(buildBoxes(queries, mesh));
        float fEnd[3], fDir[3], fBeside[3];
        for (unsigned a = 0; a < 3; ++a) {
            fEnd[a] = random.between(-1, 1) * 1e4f;
            fDir[a] = a == uLong ? 1.0f : random.between(-1, 1);
            fBeside[a] = random.between(-1e-7f, 1e-7f);
        }
        std::vector<WatertightRay> vRays;
        for (unsigned u = 0; u < 8; ++u) {
            WatertightRay ray{{}, {}, 0, HUGE_VALF};
            const float fBefore = random.between(0.1f, 1);
            for (unsigned a = 0; a < 3; ++a) {
                const float* p = &mesh.vVertices[0].x + a;
                const float fTo = bNeedle ? (p[0] + p[3] + p[6]) / 3 + fBeside[a] : p[0];
                ray.fOrigin[a] = uTrial % 3 == 0 ? fEnd[a] * 1e-4f
                                 : bNeedle       ? fTo - fDir[a] * 1e-6f
                                                 : fTo + (fTo - fEnd[a]) * 1e-4f * fBefore;
                ray.fDir[a] = uTrial % 3 == 0 ? fTo - ray.fOrigin[a] : bNeedle ? fDir[a] : fEnd[a] - ray.fOrigin[a];
            }
            if (uTrial % 3 == 2) ray.fFar = 1.0f;
            vRays.push_back(ray);
            uHits += !meetAll(mesh, ray).empty();
        }
        ASSERT_EQ(firstWrongAnswer(queries, mesh, vRays), "");
    }
    EXPECT_GT(uHits, 5000u) << "the case is there";
}

// Whatever the number of threads that build, and of those that ask. The mesh has branches to hand over, and parts that
// only halving divides.
TEST_F(WatertightQueriesTest, AnswersDoNotDependOnThreads) {
    Random random(5);
    Mesh mesh;
    for (const float f : {9.0f, 3.0f, 1.0f}) mesh.addSphere({}, f, 5);
    for (uint32_t u = 0; u < 300; ++u) mesh.vTriangles.push_back({7, 8, 9, 0});
    ASSERT_FALSE(buildBoxes(queries, mesh));
    std::vector<WatertightRay> vRays;
    for (unsigned u = 0; u < 3000; ++u) vRays.push_back(aimed(random, mesh));
    std::vector<WatertightHit> vExpected(vRays.size());
    queries.nearest(vRays.data(), vRays.size(), vExpected.data());
    ASSERT_EQ(firstWrongAnswer(queries, mesh, {vRays.begin(), vRays.begin() + 30}), "");
    for (const unsigned uThreads : {2u, 3u, 16u}) {
        ASSERT_FALSE(buildBoxes(queries, mesh, uThreads));
        std::vector<std::thread> vThreads;
        std::vector<std::vector<WatertightHit>> vHits(3, std::vector<WatertightHit>(vRays.size()));
        for (std::vector<WatertightHit>& v : vHits) {
            vThreads.emplace_back([&] { queries.nearest(vRays.data(), vRays.size(), v.data()); });
        }
        for (std::thread& thread : vThreads) thread.join();
        for (const std::vector<WatertightHit>& v : vHits) {
            ASSERT_EQ(memcmp(v.data(), vExpected.data(), v.size() * sizeof(v[0])), 0) << uThreads << " threads";
        }
    }
}

// The definition agrees with points spread over the face, and the search with the definition.
TEST_F(WatertightQueriesTest, TheClosestPointIsTheClosestOfAllFaces) {
    Random random(6);
    for (uint32_t uMesh = 0; uMesh < 120; ++uMesh) {
        const Mesh mesh = makeClosed(random, uMesh);
        ASSERT_FALSE(buildBoxes(queries, mesh));
        for (unsigned u = 0; u < 30; ++u) {
            const WatertightRay ray = aimed(random, mesh);
            const float* pPoint = ray.fOrigin;
            WatertightClosest best{HUGE_VAL, {}, 0, 0, WatertightHit::NO_FACE};
            for (uint32_t uFace = 0; uFace < mesh.vTriangles.size(); ++uFace) {
                const WatertightFace face = cornersOf(mesh, uFace);
                WatertightClosest closest;
                closestOfFace(face, pPoint, closest);
                closest.uFace = uFace;
                if (closest.dDistance < best.dDistance) best = closest;
                const double a = random.between(0, 1), b = random.between(0, 1) * (1.0 - a);
                double dSquare = 0.0, dReach = 0.0;
                for (unsigned i = 0; i < 3; ++i) {
                    const double d =
                        a * face.fAt[i][0] + b * face.fAt[i][1] + (1.0 - a - b) * face.fAt[i][2] - pPoint[i];
                    dSquare += d * d;
                    dReach += std::fabs(face.fAt[i][0]) + std::fabs(face.fAt[i][1]) + std::fabs(pPoint[i]);
                }
                ASSERT_LE(closest.dDistance, std::sqrt(dSquare) + 1e-7 * dReach);
            }
            const WatertightClosest found = queries.closestPoint(pPoint);
            ASSERT_EQ(found.uFace, best.uFace);
            ASSERT_EQ(found.dDistance, best.dDistance);
            ASSERT_EQ(queries.closestPoint(pPoint, best.dDistance).uFace, best.uFace);
            ASSERT_EQ(queries.closestPoint(pPoint, std::nextafter(best.dDistance, -1.0)).uFace, WatertightHit::NO_FACE);
        }
    }
}

TEST_F(WatertightQueriesTest, RefusesIndicesOutOfRangeAndTakesNothing) {
    const float positions[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const uint32_t indices[6] = {0, 1, 2, 0, 1, 3};
    const WatertightRay ray{{0.2f, 0.2f, 1}, {0, 0, -1}, 0, 9};
    WatertightHit hit;
    EXPECT_EQ(queries.count(ray), 0u);
    EXPECT_TRUE(queries.build(positions, 3, indices, 2));
    queries.nearest(&ray, 1, &hit);
    EXPECT_EQ(hit.uFace, WatertightHit::NO_FACE);
    EXPECT_FALSE(queries.build(nullptr, 0, nullptr, 0));
    EXPECT_EQ(queries.count(ray), 0u);
    EXPECT_EQ(queries.closestPoint(ray.fOrigin).uFace, WatertightHit::NO_FACE);
    EXPECT_FALSE(queries.build(positions, 3, indices, 1));
    EXPECT_EQ(queries.count(ray), 1u);
}

}  // namespace
