// The thresholds of single faces, against the overlap test at the candidates next to them.
#include "accel/build/OverlapThresholds.h"

#include <cmath>

#include "accel/BuildKernelTest.h"
#include "accel/build/SplitFrame.h"
#include "support/Meshes.h"

namespace {

using OverlapThresholdsTest = BuildKernelTest;
using Velk::NMVector3f;

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
            const float fSize = power(random, -4, 4);
            box.v3Min[a] = random.below(2) ? -fSize * random.between(0.0f, 1.0f) : power(random, -2, 12);
            box.v3Max[a] = box.v3Min[a] + fSize;
            const bool bWhole = random.below(3) == 0;
            const float fReach = random.below(3) ? 1.5f : 20.0f;
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
TEST_P(OverlapThresholdsTest, HoldForTheCandidatesNextToThem) {
    unsigned uNarrow = 0, uFaces = 0;
    for (uint32_t uSeed = 0; uSeed < 20000 && !testing::Test::HasFailure(); ++uSeed) {
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
        const auto isBetween = [&](float p) { return frame.fLow <= p && p <= frame.fHigh; };
        const auto isLow = [&](float p) {
            return p >= values.pMin[0] && values.pMax[0] >= frame.fLow &&
                   SplitFrame::overlaps(c.corners, frame.lowPart(p));
        };
        const auto isHigh = [&](float p) {
            return p <= values.pMax[0] && values.pMin[0] <= frame.fHigh &&
                   SplitFrame::overlaps(c.corners, frame.highPart(p));
        };
        float pLowSure = *values.pLowSure, pLowMaybe = *values.pLowMaybe;
        float pHighSure = *values.pHighSure, pHighMaybe = *values.pHighMaybe;
        for (unsigned u = 0; u < 12; ++u) {
            pLowMaybe = std::nextafter(pLowMaybe, -HUGE_VALF);
            pHighMaybe = std::nextafter(pHighMaybe, HUGE_VALF);
            SCOPED_TRACE(testing::Message() << "seed " << uSeed << ", step " << u);
            ASSERT_LE(isBetween(pLowSure), isLow(pLowSure));
            ASSERT_LE(isBetween(pHighSure), isHigh(pHighSure));
            ASSERT_LE(isBetween(pLowMaybe), !isLow(pLowMaybe));
            ASSERT_LE(isBetween(pHighMaybe), !isHigh(pHighMaybe));
            pLowSure = std::nextafter(pLowSure, HUGE_VALF);
            pHighSure = std::nextafter(pHighSure, -HUGE_VALF);
        }
        ++uFaces;
        uNarrow += *values.pLowSure - *values.pLowMaybe < 0.001f * (frame.fHigh - frame.fLow);
    }
    EXPECT_GT(uNarrow, uFaces / 2) << "most faces are open hardly anywhere";
}

INSTANTIATE_TEST_SUITE_P(Lanes, OverlapThresholdsTest, testing::Values(4u, 8u), testing::PrintToStringParamName());

}  // namespace
