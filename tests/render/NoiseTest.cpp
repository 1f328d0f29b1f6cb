#include "render/Noise.h"

#include <gtest/gtest.h>

#include "support/Meshes.h"

namespace {

TEST(Noise, HashesHaveKnownValuesAndRange) {
    EXPECT_EQ(NoiseFunction(0), 1376312589.0f / 2147483648.0f);
    EXPECT_EQ(NoiseFunction(0, 0), NoiseFunction(0));
    EXPECT_EQ(NoiseFunctionState(), NoiseFunction(0x0020E011));
    EXPECT_EQ(NoiseFunctionState(), NoiseFunction((0x0020E011u << 13) ^ 0x0020E011u));
    Random random(1);
    double dSum = 0;
    for (int i = 0; i < 20000; ++i) {
        const uint32_t x = random.below(0xFFFFFFFFu), y = random.below(0xFFFFFFFFu);
        for (const float f : {NoiseFunction(x), NoiseFunction(x, y), SmoothedNoise(x)}) {
            ASSERT_TRUE(f >= 0.0f && f <= 1.0f) << x << " " << y;
            dSum += static_cast<double>(f);
        }
        const int iClass = BrickColorNoise(x % 10000, y % 10000, 3);
        ASSERT_TRUE(iClass >= 1 && iClass <= 4) << x << " " << y;
    }
    EXPECT_NEAR(dSum / 60000, 0.5, 0.01);
}

TEST(Noise, CurvesHaveKnownPoints) {
    const float x[] = {1, 2, 3.5f, 5, 6}, step[] = {0, 0, 0.5f, 1, 1}, slope[] = {0, 0, 1.5f, 0, 0};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(HermiteStep(x[i], 2, 5), step[i]);
        EXPECT_EQ(LinearStep(x[i], 2, 5), step[i]);
        EXPECT_EQ(HermiteStepDeriverative(x[i], 2, 5), slope[i]);
        EXPECT_EQ(HermiteStep(x[i], 2, 2) + LinearStep(x[i], 2, 2), 0.0f) << "no step at all";
        EXPECT_NEAR(InterpolateBSpline(step[i], 0.7f, 0.7f, 0.7f, 0.7f), 0.7f, 1e-6f);
    }
    EXPECT_NEAR(InterpolateBSpline(0, 1, 2, 3, 8), 2.0f, 1e-6f);
    EXPECT_NEAR(InterpolateBSpline(1, 1, 2, 3, 8), 22.0f / 6.0f, 1e-6f);
}

TEST(Noise, LatticeNoiseIsContinuousAndPeriodic) {
    Random random(2);
    for (int i = 0; i < 5000; ++i) {
        const float x = static_cast<float>(random.below(6400)) / 64.0f,
                    y = static_cast<float>(random.below(6400)) / 64.0f;
        EXPECT_EQ(SmoothNoise(x + 100.0f, y), SmoothNoise(x, y));
        EXPECT_EQ(SmoothNoise(x, y + 300.0f), SmoothNoise(x, y));
        EXPECT_NEAR(SmoothNoise(x + 0.001f, y + 0.001f), SmoothNoise(x, y), 0.005f) << x << " " << y;
        EXPECT_NEAR(InterpolatedNoise(x + 0.001f), InterpolatedNoise(x), 0.002f) << x;
        EXPECT_EQ(Cloud(x, y, 2, 1), (SmoothNoise(x / 2, y / 2) * 2 + SmoothNoise(x, y)) / 2);
    }
    EXPECT_EQ(Cloud(3, 4, 0.5f, 1), 0.0f);
    EXPECT_EQ(SmoothNoise(7, 3), NoiseFunction(6, 2)) << "at whole numbers the left neighbour";
}

}  // namespace
