// The vectorised loops of the tree's construction, against the overlap test at every candidate.
#include "accel/build/BuildKernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "accel/build/OverlapThresholds.h"
#include "accel/build/SplitFrame.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NMVector3f;

// Each test runs for each kernel; its parameter is the number of lanes.
class BuildKernelTest : public testing::TestWithParam<unsigned> {
 protected:
    void SetUp() override {
        if (GetParam() == 8) pKernel = &BuildKernel::fastest();
        if (GetParam() == 8 && pKernel == &g_buildKernel4) GTEST_SKIP() << "no eight lanes on this machine";
    }

    const BuildKernel* pKernel = &g_buildKernel4;
};

float power(Random& random, int iMin, int iMax) {
    return std::ldexp(random.between(0.5f, 1.0f),
                      iMin + static_cast<int>(random.below(static_cast<uint32_t>(iMax - iMin + 1))));
}

// A node and a face of any proportions, far from the origin or near, so that each term of the errors is the largest in
// some of them; corners coincide, lie in a plane, on a line, or a rounding beside it.
struct Case {
    Velk::BoxAABB box{};
    NMVector3f corners[3];

    explicit Case(Random& random) {
        for (unsigned a = 0; a < 3; ++a) {
            const float fSize = power(random, -4, 4), fReach = random.below(3) ? 1.5f : 20.0f;
            box.v3Min[a] = random.below(2) ? -fSize * random.between(0.0f, 1.0f) : power(random, -2, 12);
            box.v3Max[a] = box.v3Min[a] + fSize;
            const bool bWhole = random.below(3) == 0;
            for (NMVector3f& v : corners) {
                const float f = random.between(-fReach, fReach);
                v[a] = box.v3Min[a] + fSize * (bWhole ? std::floor(f * 4.0f) * 0.25f : f);
            }
            if (random.below(8) == 0) corners[random.below(3)][a] = corners[random.below(3)][a];
        }
        const uint32_t uShape = random.below(6);
        if (uShape == 0) corners[2] = corners[0] + (corners[1] - corners[0]) * random.between(0.0f, 1.0f);
        if (uShape == 1) corners[2] = corners[1] + (corners[1] - corners[0]) * power(random, -26, -18);
        if (uShape == 2) corners[0] = corners[2];
        if (uShape == 3) {  // so near an end that the rounding of the part's centre is more than its margin
            const unsigned uAxis = SplitFrame(box).uAxis;
            const bool bHigh = random.below(2) != 0;
            float fPlane = (bHigh ? box.v3Max : box.v3Min)[uAxis];
            for (uint32_t u = random.below(50) + 1; u; --u) fPlane = std::nextafter(fPlane, bHigh ? -1e30f : 1e30f);
            for (NMVector3f& v : corners) {
                v = random.inside(box);
                v[uAxis] = fPlane;
            }
        }
        std::swap(corners[0], corners[random.below(3)]);
    }
};

// Only the end of a threshold that a term of the errors holds back shows when the term is missing, so the candidates
// are those nearest to the thresholds.
TEST_P(BuildKernelTest, ThresholdsHoldForTheCandidatesNextToThem) {
    unsigned uNarrow = 0, uFaces = 0;
    for (uint32_t uSeed = 0; uSeed < 20000; ++uSeed) {
        Random random(uSeed);
        const Case c(random);
        const SplitFrame frame(c.box);
        if (!SplitFrame::overlaps(c.corners, c.box)) continue;
        NodeFrame node = frame.forKernels();
        node.bOverlapKnown = node.bInRange = true;
        float f[OverlapThresholds::ARRAYS * NodeFrame::UNIT];
        FaceValues<float> values;
        values.divide(f, NodeFrame::UNIT);
        const uint32_t uFace = 0;
        pKernel->measure(node, &c.corners[0].x, &uFace, 1, values);
        // The turn of one side: the test says bYes on the way from a threshold to that end.
        const auto expect = [&](float p, float fEnd, bool bHigh, bool bYes) {
            for (unsigned u = 0; u < 12; ++u, p = std::nextafter(p, fEnd)) {
                if (p < frame.fLow || p > frame.fHigh) continue;
                const bool bReached = bHigh ? p <= values.pMax[0] && values.pMin[0] <= frame.fHigh
                                            : p >= values.pMin[0] && values.pMax[0] >= frame.fLow;
                const auto part = bHigh ? frame.highPart(p) : frame.lowPart(p);
                ASSERT_EQ(bReached && SplitFrame::overlaps(c.corners, part), bYes)
                    << "seed " << uSeed << ", step " << u << (bHigh ? ", high" : ", low");
            }
        };
        expect(*values.pLowSure, HUGE_VALF, false, true);
        expect(*values.pHighSure, -HUGE_VALF, true, true);
        expect(std::nextafter(*values.pLowMaybe, -HUGE_VALF), -HUGE_VALF, false, false);
        expect(std::nextafter(*values.pHighMaybe, HUGE_VALF), HUGE_VALF, true, false);
        if (HasFailure()) return;
        ++uFaces;
        uNarrow += *values.pLowSure - *values.pLowMaybe < 0.001f * (frame.fHigh - frame.fLow);
    }
    EXPECT_GT(uNarrow, uFaces / 2) << "most faces are open hardly anywhere";
}

// Slivers whose width is of the order of a rounding, or less, so that their normals are noise and single answers differ
// from those on both sides of them: a range that is decided too eagerly shows at once.
TEST_P(BuildKernelTest, SweepsGiveTheAnswersOfTheOverlapTestForEveryCandidate) {
    unsigned uTurns = 0, uLonely = 0;
    for (uint32_t uSeed = 0; uSeed < 1000; ++uSeed) {
        Random random(uSeed);
        NMVector3f v3Corner = random.vector(5000.0f),
                   v3Size{random.between(1, 50), random.between(1, 50), random.between(1, 50)};
        const unsigned uLong = random.below(3), uBeside = (uLong + 1) % 3;
        v3Size[uLong] = random.between(50.0f, 9000.0f);
        // Where coordinates are small their differences are exact; the noise then comes from the split axis alone.
        if (uSeed % 4) v3Corner[uBeside] = v3Corner[(uLong + 2) % 3] = -0.4f;
        const SplitFrame frame({v3Corner, v3Corner + v3Size});
        NMVector3f A = random.inside(frame.box), v3Edge = (random.inside(frame.box) - A) * random.between(1.0f, 2.0f);
        if (uSeed % 8 == 5) v3Edge[uLong] *= 1e-7f;  // hardly any extent on the split axis
        if (uSeed % 8 == 6) A[uBeside] += v3Size[uBeside] * random.between(0.0f, 2.0f);  // beside the node
        const float fWidth = uSeed % 2 ? 0.0f : random.between(0.0f, 1e-6f) * length(v3Edge);
        NMVector3f corners[3] = {A, A + v3Edge, A + v3Edge * (uSeed % 3 ? random.between(0.0f, 1.0f) : 1.0f)};
        corners[2] = corners[2] + random.vector(fWidth);
        std::swap(corners[0], corners[random.below(3)]);
        const bool bInRange = uSeed % 16 != 0;
        if (!bInRange) corners[1] = corners[1] * (uSeed % 32 ? 1e30f : HUGE_VALF);

        std::vector<float> vCandidates(3000);
        for (float& f : vCandidates) f = random.between(frame.fLow, frame.fHigh);
        std::sort(vCandidates.begin(), vCandidates.end());
        NodeFrame node = frame.forKernels();
        node.bInRange = bInRange;
        const uint32_t uEnd = static_cast<uint32_t>(vCandidates.size());
        for (const bool bHigh : {false, true}) {
            uint32_t u = 0, uNext = 0;
            for (bool bOverlap = true; u < uEnd; u = uNext, bOverlap = !bOverlap) {
                const auto find = bOverlap ? pKernel->firstMiss : pKernel->firstOverlap;
                uNext = find(node, &corners[0].x, bHigh, vCandidates.data(), u, uEnd);
                ASSERT_LE(uNext, uEnd);
                for (uint32_t i = u; i < std::min(uNext + 1, uEnd); ++i) {
                    const float p = vCandidates[i];
                    ASSERT_EQ(SplitFrame::overlaps(corners, bHigh ? frame.highPart(p) : frame.lowPart(p)),
                              bOverlap == (i < uNext))
                        << uSeed << ", " << i;
                }
                uTurns += uNext < uEnd && u > 0;
                uLonely += uNext == u + 1;
            }
        }
    }
    EXPECT_GT(uTurns, 1000u);
    EXPECT_GT(uLonely, 300u) << "single answers among others";
}

INSTANTIATE_TEST_SUITE_P(Lanes, BuildKernelTest, testing::Values(4u, 8u), testing::PrintToStringParamName());

}  // namespace
