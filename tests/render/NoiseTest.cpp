// Values of the noise that no picture shows.
#include "render/shading/Noise.h"

#include <gtest/gtest.h>

using namespace rt;

namespace {

// What the pictures of known bytes do not show; every other change of the noise changes them.
TEST(Noise, HasKnownValues) {
    EXPECT_EQ(NoiseFunction(0), 1376312589.0f / 2147483648.0f);
    EXPECT_EQ(NoiseFunctionState(), NoiseFunction(0x0020E011));
    EXPECT_EQ(NoiseFunctionState(), NoiseFunction((0x0020E011u << 13) ^ 0x0020E011u));
    EXPECT_FLOAT_EQ(InterpolatedNoise(2.25f), 0.75f * SmoothedNoise(2) + 0.25f * SmoothedNoise(3));
    EXPECT_EQ(Cloud(3, 4, 0.5f, 1), 0.0f);
    const float x[] = {1, 2, 3.5f, 5, 6}, step[] = {0, 0, 0.5f, 1, 1};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(LinearStep(x[i], 2, 5), step[i]);
        const float fNoStep = HermiteStep(x[i], 2, 2) + LinearStep(x[i], 2, 2) + HermiteStepDeriverative(x[i], 2, 2);
        EXPECT_EQ(fNoStep, 0.0f) << x[i];
    }
}

}  // namespace
