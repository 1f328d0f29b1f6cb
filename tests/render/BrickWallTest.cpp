// The brick wall and its noise, where no picture shows them.
#include "render/shading/BrickWall.h"

#include <gtest/gtest.h>

#include <cmath>

#include "render/shading/Noise.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

TEST(BrickWall, StaysInRangeForAnyInput) {
    const float hostile[] = {0.0f, -1.0f, 1e-30f, 1e30f, HUGE_VALF, NAN};
    for (uint32_t uSeed = 0; uSeed < 5000; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        float f[7] = {0, 0, 0, 0, 600, 125, 20};
        for (unsigned u = 0; u < 4; ++u) f[u] = u < 2 ? random.between(0, 1) : random.between(100, 9000);
        const bool bHostile = random.below(2);
        if (bHostile) f[random.below(7)] = hostile[random.below(6)];
        AttributeInstance attribute{};
        Velk::NMVector3f n{0, 0, 1};
        const Velk::NMVector3f v3 = Wall({f[0], f[1]}, f[2], f[3], f[4], f[5], f[6], 0.125f, true, &n, &attribute);
        EXPECT_TRUE(attribute.fKts >= 0.0f && attribute.fKts <= 1.0f) << attribute.fKts;
        if (bHostile) continue;
        EXPECT_NEAR(Height({f[0], f[1]}, f[2], f[3], f[4], f[5], f[6]), 0.5f, 0.5f);
        EXPECT_TRUE(fabsf(length(n) - 1.0f) < 1e-5f && n.z > 0.0f);
        for (unsigned u = 0; u < 3; ++u) EXPECT_LT(v3[u], 0.6f);
    }
}

// Every other change of the noise changes the pictures of known bytes.
TEST(Noise, StepsWithoutWidthAndTheStateAreKnown) {
    EXPECT_EQ(NoiseFunctionState(), NoiseFunction(0x0020E011));
    EXPECT_EQ(NoiseFunctionState(), NoiseFunction((0x0020E011u << 13) ^ 0x0020E011u));
    for (const float f : {1.0f, 2.0f, 3.0f}) {
        EXPECT_EQ(HermiteStep(f, 2, 2) + LinearStep(f, 2, 2) + HermiteStepDeriverative(f, 2, 2), 0.0f) << f;
    }
    EXPECT_EQ(LinearStep(3.5f, 2, 5), 0.5f);
    EXPECT_FLOAT_EQ(InterpolatedNoise(2.25f), 0.75f * SmoothedNoise(2) + 0.25f * SmoothedNoise(3));
    EXPECT_EQ(Cloud(3, 4, 0.5f, 1), 0.0f);
}

}  // namespace
