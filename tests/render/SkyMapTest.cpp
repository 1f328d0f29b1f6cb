// Light of pictures all around.
#include "render/studio/SkyMap.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "render/studio/StudioLights.h"

using namespace rt;
using Velk::NMVector3f;

namespace {

constexpr uint32_t WIDTH = 64, HEIGHT = 32;

// Grey light with a bright place of 2 x 2 pixels, whose middle is at a corner of pixels.
SkyMap skyWith(float fBright, uint32_t uColumn, uint32_t uRow, float fTurn = 0.0f) {
    std::vector<float> vLight(3 * WIDTH * HEIGHT, 0.5f);
    for (uint32_t y = uRow - 1; y <= uRow; ++y) {
        for (uint32_t x = uColumn - 1; x <= uColumn; ++x) {
            for (unsigned c = 0; c < 3; ++c) vLight[3 * (y * WIDTH + x) + c] = fBright;
        }
    }
    return SkyMap(vLight.data(), WIDTH, HEIGHT, fTurn);
}

TEST(SkyMapTest, BrightPlacesAreLampsWhereTheyLie) {
    const struct {
        uint32_t uColumn, uRow;
        float fTurn;
        NMVector3f v3To;
    } cases[] = {
        {32, 16, 0, {0, 0, 1}}, {48, 16, 0, {1, 0, 0}}, {48, 16, 90, {0, 0, -1}}, {32, 8, 0, {0, 0.7071f, 0.7071f}}};
    for (const auto& c : cases) {
        const SkyMap sky = skyWith(1e6f, c.uColumn, c.uRow, c.fTurn);
        EXPECT_GT(dot(sky.lamp(0).v3To, c.v3To), 0.999f) << c.uColumn << " " << c.fTurn;
        EXPECT_GT(sky.radiance(c.v3To).x, 10.0f * sky.radiance(c.v3To * -1.0f).x);
        EXPECT_LT(sky.gleam(c.v3To, 0.0f).x, 10.0f * sky.gleam(c.v3To * -1.0f, 0.0f).x) << "the lamp is no sky";
        // White paper that faces it.
        const float fPaper = sky.lamp(0).v3Irradiance.y + sky.irradiance(sky.lamp(0).v3To).y;
        EXPECT_NEAR(fPaper, 1.15f, 0.02f);
        EXPECT_FALSE(sky.lamp(1).v3Irradiance.y > 0.0f);
    }
}

TEST(SkyMapTest, EvenLightIsEvenAndWithoutLamps) {
    const SkyMap sky = skyWith(0.5f, 1, 1);
    EXPECT_FALSE(sky.lamp(0).v3Irradiance.y > 0.0f);
    for (const NMVector3f& v3 : {NMVector3f{0, 1, 0}, {0, -1, 0}, {0.6f, 0, 0.8f}}) {
        EXPECT_NEAR(sky.irradiance(v3).x, 1.15f, 0.01f);
        EXPECT_NEAR(sky.radiance(v3).x, 1.15f, 0.01f);
        for (const float f : {0.0f, 0.2f, 0.4f, 1.0f}) EXPECT_NEAR(sky.gleam(v3, f).x, 1.15f, 0.02f);
    }
    const std::vector<float> vDark(3 * WIDTH * HEIGHT, 0.0f);
    EXPECT_TRUE(SkyMap(vDark.data(), WIDTH, HEIGHT, 0).isDark());
}

TEST(SkyMapTest, LampsOfOneColourAreAskedFor) {
    for (unsigned c = 0; c < 3; ++c) {
        std::vector<float> vLight(3 * WIDTH * HEIGHT, 0.1f);
        for (unsigned i = 0; i < 3; ++i) vLight[3 * (8 * WIDTH + 20) + i] = i == c ? 1e5f : 0.0f;
        const SkyMap sky(vLight.data(), WIDTH, HEIGHT, 0);
        ASSERT_GT(sky.lamp(0).v3Irradiance[c], 0.5f) << c;
        EXPECT_GT(StudioLights(Frame(), &sky).direction(0, 0).fShare, 0.0f) << c;
    }
}

// What the directions say of the light on a surface agrees with the whole picture's.
TEST(SkyMapTest, DirectionsStandForTheLight) {
    const SkyMap sky = skyWith(2.0f, 40, 12);  // too dark for a lamp
    ASSERT_FALSE(sky.lamp(0).v3Irradiance.y > 0.0f);
    const auto sumOf = [&](const NMVector3f& v3Normal, unsigned uCount) {
        float fSum = 0.0f;
        for (unsigned u = 0; u < uCount; ++u) {
            const SkyMap::Direction& direction = sky.direction(u, uCount);
            fSum += direction.fShare * std::max(0.0f, dot(direction.v3, v3Normal));
        }
        return fSum;
    };
    const NMVector3f v3Towards{0.5f, 0.5f, 0.7f}, v3Away = v3Towards * -1.0f;
    for (const unsigned uCount : {SkyMap::FEW, SkyMap::MANY}) {
        EXPECT_NEAR(sumOf(v3Towards, uCount) / sumOf(v3Away, uCount),
                    sky.irradiance(v3Towards).y / sky.irradiance(v3Away).y, 0.05f);
    }
}

}  // namespace
