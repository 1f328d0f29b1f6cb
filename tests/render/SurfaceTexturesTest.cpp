// Colours of places: textures, vertices, holes.
#include "render/studio/SurfaceTextures.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "render/studio/Tone.h"

using namespace rt;

namespace {

class SurfaceTexturesTest : public testing::Test {
 protected:
    // A square of edge 2 whose texture lies on it once; (0, 0) of the texture at the first corner.
    void SetUp() override {
        const float positions[] = {0, 0, 0, 2, 0, 0, 2, 2, 0, 0, 2, 0};
        const uint32_t triangles[] = {0, 1, 2, 0, 2, 3};
        ASSERT_FALSE(scene.setMesh({positions, 4, triangles, 2, nullptr}));
        colours.vPlaces = {{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}};
        colours.vRules.resize(1);
    }

    // Whole rows of texels of one grey each.
    void texture(uint32_t uWidth, const std::vector<uint8_t>& vGreys, uint8_t uAlpha = 255) {
        TextureImage image;
        image.uWidth = uWidth;
        image.uHeight = static_cast<uint32_t>(vGreys.size()) / uWidth;
        for (const uint8_t u : vGreys) image.vTexels.insert(image.vTexels.end(), {u, u, u, uAlpha});
        colours.vTextures = {image};
        colours.vRules[0].uTexture = 0;
    }

    // At a place of the texture, in screen levels, red.
    float at(float u, float v, float fPixel = 0.0f) const {
        // In the first triangle the weights of A, B, C are 1 - u, u - v, v.
        const SurfaceTextures textures(scene, colours);
        const RayTestOutput hit{{}, 0, true, 1 - u, u - v};
        return screenOf(textures.at(0, hit, fPixel).v3Albedo).x;
    }

    Scene scene;
    SurfaceColours colours;
};

TEST_F(SurfaceTexturesTest, NeighbouringTexelsBlendAndEdgesWrap) {
    texture(2, {0, 100, 50, 150});
    EXPECT_NEAR(at(0.75f, 0.25f), 100, 0.2f);  // the middle of a texel
    EXPECT_NEAR(at(0.75f, 0.74f), 148, 3);
    const float fMixed = at(0.5f, 0.25f);
    EXPECT_TRUE(fMixed > 60 && fMixed < 80) << fMixed;  // half the light of 100
    const struct {
        TextureImage::Wrap eWrap;
        float fAcross;  // at u = 1.0, between the last texel and what follows
        float fBeyond;  // at u = 1.75
    } cases[] = {{TextureImage::REPEAT, fMixed, 100}, {TextureImage::CLAMP, 100, 100}, {TextureImage::MIRROR, 100, 0}};
    for (const auto& c : cases) {
        colours.vTextures[0].wraps[0] = c.eWrap;
        EXPECT_NEAR(at(1.0f, 0.25f), c.fAcross, 0.5f) << c.eWrap;
        EXPECT_NEAR(at(1.75f, 0.25f), c.fBeyond, 0.5f) << c.eWrap;
    }
    colours.vPlaces.assign(6, {INFINITY, NAN});
    EXPECT_FALSE(std::isnan(at(0.5f, 0.25f)));
}

// Of stripes that are finer than pixels only the mean light is left, and between two sizes nothing jumps.
TEST_F(SurfaceTexturesTest, WhatIsSmallerThanAPixelIsAveraged) {
    std::vector<uint8_t> vStripes(64 * 64);
    for (size_t u = 0; u < vStripes.size(); ++u) vStripes[u] = u % 2 ? 180 : 60;
    texture(64, vStripes);
    EXPECT_GT(std::fabs(at(0.5078125f, 0.25f) - at(0.5234375f, 0.25f)), 100.0f);
    for (const float f : {0.5078125f, 0.5234375f, 0.3f}) EXPECT_NEAR(at(f, 0.25f, 0.25f), 134, 3) << f;
    for (float f = 1.0f / 32; f < 0.5f; f *= 1.01f) {
        EXPECT_NEAR(at(0.51f, 0.25f, f), at(0.51f, 0.25f, f * 1.01f), 2.5f) << f;
    }
}

TEST_F(SurfaceTexturesTest, NumbersAreNoColours) {
    texture(1, {128});
    ColourRule& rule = colours.vRules[0];
    rule.bPhysical = 1;
    rule.fMetal = rule.fRough = 0.5f;
    rule.v3Emission = {2, 2, 2};
    rule.uMetal = rule.uRough = rule.uEmission = 0;
    for (const uint32_t b : {0u, 1u}) {
        colours.vTextures[0].bNumbers = b;
        const SurfaceTextures::Colour colour = SurfaceTextures(scene, colours).at(0, {{}, 0, true, 0.1f, 0.5f}, 0);
        EXPECT_NEAR(colour.fMetal, b ? 0.251f : 0.108f, 0.001f);
        EXPECT_NEAR(colour.fRough, b ? 0.251f : 0.108f, 0.001f);
        EXPECT_NEAR(colour.v3Emission.x, b ? 1.004f : 0.432f, 0.002f);
    }
}

TEST_F(SurfaceTexturesTest, FactorsVerticesAndHolesCount) {
    colours.vCorners = {0x80FFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0, 0};
    colours.vRules[0].bVertices = 1;
    colours.vRules[0].v3Factor = {0.25f, 1, 1};
    EXPECT_NEAR(at(0.5f, 0.25f), 137, 1);  // a quarter of the light
    colours.vRules[0].fCutoff = 0.75f;
    const SurfaceTextures textures(scene, colours);
    EXPECT_TRUE(textures.hasHoles() && textures.has(0) && !textures.has(1));
    EXPECT_TRUE(textures.at(0, {{}, 0, true, 0.9f, 0.05f}, 0).bHole);
    EXPECT_FALSE(textures.at(0, {{}, 0, true, 0.1f, 0.5f}, 0).bHole);
    texture(1, {200}, 100);
    EXPECT_TRUE(SurfaceTextures(scene, colours).at(0, {{}, 0, true, 0.1f, 0.5f}, 0).bHole);
}

}  // namespace
