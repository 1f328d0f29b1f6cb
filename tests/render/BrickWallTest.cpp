#include "render/BrickWall.h"

#include <gtest/gtest.h>

#include <cmath>

#include "render/Noise.h"
#include "support/Meshes.h"

namespace {

using Velk::NMVector2f;
using Velk::NMVector3f;

TEST(BrickWall, AnUprightBrickIsFlatInsideAndGoneAtTheRim) {
    const NMVector2f v2Size{600, 125}, v2Centre{300, 62.5f}, v2Mortar{0.05f, 0.1f};
    Random random(1);
    for (int i = 0; i < 5000; ++i) {
        const NMVector2f q{random.between(0, 1), random.between(0, 1)};
        float fHeight = -1.0f;
        NMVector3f n{9, 9, 9};
        DrawBrick({q.x * 600, q.y * 125}, v2Centre, v2Size, v2Mortar, 0.0f, &fHeight, &n);
        const bool bFlat = q.x > 0.051f && q.x < 0.949f && q.y > 0.101f && q.y < 0.899f;
        ASSERT_TRUE(bFlat ? fHeight == 1.0f : fHeight >= 0.0f && fHeight <= 1.0f) << q.x << " " << q.y;
        ASSERT_NEAR(length(n), fHeight > 0.0f ? 1.0f : 15.588f, 1e-3f) << "the joint leaves the normal alone";
        ASSERT_TRUE(!bFlat || n.z == 1.0f);
    }
}

TEST(BrickWall, ColoursNormalsAndDirtStayInRangeForAnyInput) {
    const float hostile[] = {0.0f, -1.0f, 1e-30f, 1e30f, HUGE_VALF, NAN};
    for (uint32_t uSeed = 0; uSeed < 20000; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        float f[7] = {random.between(0, 1),
                      random.between(0, 1),
                      random.between(100, 9000),
                      random.between(100, 9000),
                      600,
                      125,
                      20};
        const bool bDirt = random.below(2), bHostile = random.below(2);
        if (bHostile) f[random.below(7)] = hostile[random.below(6)];
        AttributeInstance attribute{};
        attribute.fKts = 0.25f;
        NMVector3f n{0, 0, 1};
        const NMVector3f v3Colour = Wall({f[0], f[1]}, f[2], f[3], f[4], f[5], f[6], 0.125f, bDirt, &n, &attribute);
        if (bDirt) {
            EXPECT_TRUE(attribute.fKts >= 0.0f && attribute.fKts <= 1.0f) << attribute.fKts;
        } else {
            EXPECT_EQ(attribute.fKts, 0.25f);
        }
        if (bHostile) continue;
        EXPECT_NEAR(length(n), 1.0f, 1e-5f);
        EXPECT_GT(n.z, 0.0f);
        const float fHeight = Height({f[0], f[1]}, f[2], f[3], f[4], f[5], f[6]);
        EXPECT_TRUE(fHeight >= 0.0f && fHeight <= 1.0f);
        for (unsigned u = 0; u < 3; ++u) EXPECT_TRUE(v3Colour[u] > 0.05f && v3Colour[u] < 0.6f) << v3Colour[u];
    }
}

TEST(BrickWall, JointsAndBricksHaveTheirColours) {
    for (int iColumn = 0; iColumn < 50; ++iColumn) {
        const bool bDark = BrickColorNoise(static_cast<uint32_t>(iColumn), 7, 3) < 3;
        const NMVector3f v3Joint = getBrickColour(0, iColumn, 7), v3Brick = getBrickColour(1, iColumn, 7);
        EXPECT_LT(length(v3Joint - NMVector3f{bDark ? 0.53333f : 0.55f, 0.425f, 0.31667f}), 1e-4f);
        EXPECT_LT(length(v3Brick - NMVector3f{bDark ? 0.38333f : 0.48333f, 0.21667f, 0.11667f}), 1e-4f);
    }
}

}  // namespace
