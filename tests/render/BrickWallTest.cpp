// The brick wall for ordinary and hostile parameters.
#include "render/shading/BrickWall.h"

#include <gtest/gtest.h>

#include <cmath>

#include "render/shading/Noise.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NMVector2f;
using Velk::NMVector3f;

TEST(BrickWall, ColoursNormalsAndDirtStayInRangeForAnyInput) {
    const float hostile[] = {0.0f, -1.0f, 1e-30f, 1e30f, HUGE_VALF, NAN};
    for (uint32_t uSeed = 0; uSeed < 20000; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        float f[7] = {0, 0, 0, 0, 600, 125, 20};
        for (unsigned u = 0; u < 4; ++u) f[u] = u < 2 ? random.between(0, 1) : random.between(100, 9000);
        const bool bDirt = random.below(2), bHostile = random.below(2);
        if (bHostile) f[random.below(7)] = hostile[random.below(6)];
        AttributeInstance attribute{};
        attribute.fKts = 0.25f;
        NMVector3f n{0, 0, 1};
        const NMVector3f v3Colour = Wall({f[0], f[1]}, f[2], f[3], f[4], f[5], f[6], 0.125f, bDirt, &n, &attribute);
        EXPECT_GE(attribute.fKts, bDirt ? 0.0f : 0.25f);
        EXPECT_LE(attribute.fKts, bDirt ? 1.0f : 0.25f);
        if (bHostile) continue;
        EXPECT_NEAR(length(n), 1.0f, 1e-5f);
        EXPECT_GT(n.z, 0.0f);
        const float fHeight = Height({f[0], f[1]}, f[2], f[3], f[4], f[5], f[6]);
        EXPECT_GE(fHeight, 0.0f);
        EXPECT_LE(fHeight, 1.0f);
        for (unsigned u = 0; u < 3; ++u) EXPECT_NEAR(v3Colour[u], 0.325f, 0.275f);
    }
}

}  // namespace
