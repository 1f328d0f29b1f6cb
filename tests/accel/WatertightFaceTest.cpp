// The definition of the watertight queries: what closes a mesh, and an exact judge from outside.
#include <algorithm>
#include <cmath>

#include "accel/watertight/FaceTest.h"
#include "support/Watertight.h"

using namespace rt;

namespace {

using Velk::NMVector3f;

// Every line crosses a closed mesh an even number of times, and every ray that begins inside meets it: also through
// corners and edges, along faces, and where faces have no area or lie on each other. The origin is far from any face
// unless it is inside, since t is rounded.
TEST(WatertightFace, ClosedMeshesAreCrossedAnEvenNumberOfTimes) {
    Random random(1);
    unsigned uThroughEdges = 0;
    for (unsigned uMesh = 0; uMesh < 400; ++uMesh) {
        const Mesh mesh = makeClosed(random, uMesh);
        for (unsigned u = 0; u < 250; ++u) {
            WatertightRay ray = aimed(random, mesh);
            ray.fNear = -HUGE_VALF;
            ray.fFar = HUGE_VALF;
            const std::vector<WatertightHit> vHits = meetAll(mesh, ray);
            ASSERT_EQ(vHits.size() % 2, 0u) << "mesh " << uMesh << ", ray " << u;
            for (const WatertightHit& hit : vHits) uThroughEdges += std::fmin(hit.fU, hit.fV) == 0.0f;
        }
    }
    EXPECT_GT(uThroughEdges, 10000u) << "the case is there";
}

// d . (p x q)
int64_t volume(const int* d, const int* p, const int* q) {
    int64_t iSum = 0;
    for (unsigned a = 0; a < 3; ++a) {
        const unsigned b = (a + 1) % 3, c = (a + 2) % 3;
        iSum += int64_t{d[a]} * (int64_t{p[b]} * q[c] - int64_t{p[c]} * q[b]);
    }
    return iSum;
}

// Where shears and products are exact, a face is met when three volumes of whole numbers have the same sign.
TEST(WatertightFace, IsExactInWholeNumbers) {
    Random random(3);
    unsigned uInside = 0;
    for (unsigned u = 0; u < 300000; ++u) {
        const auto whole = [&](int i) { return static_cast<int>(random.below(static_cast<uint32_t>(2 * i + 1))) - i; };
        int iDir[3], iCorner[3][3];
        WatertightFace face{};
        WatertightRay ray{{}, {}, -HUGE_VALF, HUGE_VALF};
        const int iLimit = u % 2 ? 3 : 1000;
        const unsigned k = random.below(3);
        for (unsigned a = 0; a < 3; ++a) {
            iDir[a] = a == k ? (random.below(2) ? 64 : -64) : whole(64);
            ray.fDir[a] = static_cast<float>(iDir[a]);
            const int iOrigin = whole(iLimit);
            ray.fOrigin[a] = static_cast<float>(iOrigin);
            for (unsigned c = 0; c < 3; ++c) {
                const int i = whole(iLimit);
                iCorner[c][a] = i - iOrigin;
                face.fAt[a][c] = static_cast<float>(i);
            }
        }
        const int64_t iVolumes[] = {volume(iDir, iCorner[1], iCorner[2]), volume(iDir, iCorner[2], iCorner[0]),
                                    volume(iDir, iCorner[0], iCorner[1])};
        const auto [iLeast, iMost] = std::minmax({iVolumes[0], iVolumes[1], iVolumes[2]});
        const double dSum = static_cast<double>(iVolumes[0] + iVolumes[1] + iVolumes[2]);
        double dT = 0.0;
        for (unsigned c = 0; c < 3; ++c) dT += static_cast<double>(iVolumes[c]) * iCorner[c][k] / iDir[k];
        ShearedRay sheared;
        ASSERT_FALSE(sheared.prepare(ray));
        WatertightHit hit;
        const bool bMet = meetsFace(sheared, face, hit);
        if (!iVolumes[0] || !iVolumes[1] || !iVolumes[2]) {
            ASSERT_TRUE(!bMet || dSum != 0.0) << "a face without area";
            continue;
        }
        ASSERT_EQ(bMet, iLeast > 0 || iMost < 0) << u;
        if (!bMet) continue;
        ++uInside;
        EXPECT_EQ(hit.fT, static_cast<float>(dT / dSum));
        EXPECT_FLOAT_EQ(hit.fU, static_cast<float>(static_cast<double>(iVolumes[0]) / dSum));
        EXPECT_EQ(hit.bFront == 1, iMost < 0);
    }
    EXPECT_GT(uInside, 20000u) << "the case is there";
}

}  // namespace
