// The sweeps of one face over many candidates, against the plain test of each.
#include <algorithm>

#include "accel/BuildKernelTest.h"
#include "accel/build/SplitFrame.h"
#include "support/Meshes.h"

namespace {

using PartSweepTest = BuildKernelTest;
using Velk::NMVector3f;

// Slivers whose width is of the order of a rounding, or less, so that their normals are noise and single answers differ
// from those on both sides of them: a range that is decided too eagerly shows at once.
TEST_P(PartSweepTest, GivesTheAnswersOfTheOverlapTestForEveryCandidate) {
    unsigned uTurns = 0, uLonely = 0;
    for (uint32_t uSeed = 0; uSeed < 1000 && !testing::Test::HasFailure(); ++uSeed) {
        Random random(uSeed);
        NMVector3f v3Corner = random.vector(5000.0f), v3Size{};
        for (unsigned a = 0; a < 3; ++a) v3Size[a] = random.between(1.0f, 50.0f);
        const unsigned uLong = random.below(3);
        v3Size[uLong] = random.between(50.0f, 9000.0f);
        // Where coordinates are small their differences are exact; the noise then comes from the split axis alone.
        if (uSeed % 4) v3Corner[(uLong + 1) % 3] = v3Corner[(uLong + 2) % 3] = -0.4f;
        const SplitFrame frame({v3Corner, v3Corner + v3Size});
        NMVector3f A = random.inside(frame.box), v3Edge = (random.inside(frame.box) - A) * random.between(1.0f, 2.0f);
        if (uSeed % 8 == 5) v3Edge[uLong] *= 1e-7f;  // hardly any extent on the split axis
        if (uSeed % 8 == 6) A[(uLong + 1) % 3] += v3Size[(uLong + 1) % 3] * random.between(0.0f, 2.0f);  // beside it
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
        for (const bool bHigh : {false, true}) {
            std::vector<bool> vOverlaps;
            for (const float p : vCandidates) {
                vOverlaps.push_back(SplitFrame::overlaps(corners, bHigh ? frame.highPart(p) : frame.lowPart(p)));
            }
            const uint32_t uEnd = static_cast<uint32_t>(vCandidates.size());
            bool bOverlap = true;
            for (uint32_t u = 0, uNext; u < uEnd; u = uNext, bOverlap = !bOverlap) {
                uNext = (bOverlap ? pKernel->firstMiss : pKernel->firstOverlap)(node, &corners[0].x, bHigh,
                                                                                vCandidates.data(), u, uEnd);
                ASSERT_LE(uNext, uEnd);
                for (uint32_t i = u; i < uNext; ++i) ASSERT_EQ(vOverlaps[i], bOverlap) << uSeed << ", " << i;
                if (uNext < uEnd) {
                    ASSERT_NE(vOverlaps[uNext], bOverlap) << uSeed << ", " << uNext;
                }
                uTurns += uNext < uEnd && u > 0;
                uLonely += uNext == u + 1;
            }
        }
    }
    EXPECT_GT(uTurns, 1000u);
    EXPECT_GT(uLonely, 300u) << "single answers among others";
}

INSTANTIATE_TEST_SUITE_P(Lanes, PartSweepTest, testing::Values(4u, 8u), testing::PrintToStringParamName());

}  // namespace
