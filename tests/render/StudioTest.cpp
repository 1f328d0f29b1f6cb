// Pictures in a studio's light.
#include "render/studio/StudioRenderer.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

class StudioTest : public FileTest {
 protected:
    // Renders in squares of uEdge pixels.
    std::string render(const Mesh& mesh, const StudioSettings& settings, unsigned uEdge = 1000, bool bTree = false) {
        makeScene(mesh, 120, 90).write("test");
        rayTracer.queries.eKind = bTree ? RayKind::TREE : RayKind::WATERTIGHT;
        EXPECT_FALSE(rayTracer.load("Scenes/scene_descs/test.txt", false));
        EXPECT_FALSE(rayTracer.preprocessScene());
        const Frame frame = rayTracer.frame();
        const unsigned uChannels = settings.bTransparent ? 4 : 3;
        const size_t uStride = size_t{frame.uWidth} * uChannels;
        std::string sPicture(uStride * frame.uHeight, '?');
        rayTracer.colours = colours;
        const SurfaceTextures textures(rayTracer.scene, rayTracer.colours);
        const auto pRenderer = std::make_unique<StudioRenderer>(rayTracer, textures, frame, settings);
        const TileGrid tiles = frame.tiles(uEdge);
        for (uint64_t u = 0; u < tiles.count(); ++u) {
            const Tile tile = tiles.tile(u);
            const size_t uFirst = tile.y * uStride + size_t{tile.x} * uChannels;
            pRenderer->render(tile, reinterpret_cast<uint8_t*>(sPicture.data()) + uFirst, uStride);
        }
        return sPicture;
    }

    RayTracer rayTracer;
    SurfaceColours colours;
};

Mesh ball(unsigned uLevels, unsigned uMaterial) {
    Mesh mesh;
    mesh.addSphere({0, 0, 0}, 4.0f, uLevels, uMaterial);
    return mesh;
}

// Every build must write these bytes: 32 and 64 bits, any compiler, with and without kernels.
TEST_F(StudioTest, TheBytesAreTheSameEverywhereAndInTilesOfAnySize) {
    Random random(11);
    const struct {
        const char* szName;
        const Mesh mesh;
        uint64_t uHash;
    } cases[] = {{"soup", makeSoup(random, 250, 5.0f), 8982171597360184504u},
                 {"showcase", makeShowcase(), 15873303828438539928u}};
    for (const auto& c : cases) {
        const std::string sWhole = render(c.mesh, {});
        EXPECT_EQ(hashOf(sWhole), c.uHash) << c.szName;
        EXPECT_TRUE(sWhole == render(c.mesh, {}, 37)) << c.szName;
    }
}

// The same for metals in the light of a sky with a sun.
TEST_F(StudioTest, TheBytesInASkyAreTheSameEverywhereAndInTilesOfAnySize) {
    std::vector<float> vLight;
    for (unsigned u = 0; u < 3 * 32 * 16; ++u)
        vLight.push_back(u == 450 ? 900.0f : 0.1f + 0.01f * static_cast<float>(u % 97));
    const SkyMap sky(vLight.data(), 32, 16, 25.0f);
    StudioSettings settings;
    settings.pSky = &sky;
    settings.bSkyBehind = true;
    const float ROUGH[] = {0.0f, 0.25f, 0.6f};
    for (unsigned u = 0; u < 3; ++u) {
        colours.vRules.emplace_back();
        colours.vRules.back().bPhysical = 1;
        colours.vRules.back().fMetal = 1.0f - 0.5f * static_cast<float>(u);
        colours.vRules.back().fRough = ROUGH[u];
        colours.vRules.back().v3Factor = {0.9f, 0.6f, 0.3f};
    }
    const std::string sWhole = render(makeShowcase(), settings);
    EXPECT_EQ(hashOf(sWhole), 2450552353562931144u);
    EXPECT_TRUE(sWhole == render(makeShowcase(), settings, 37));
}

TEST_F(StudioTest, NoSideIsBlackAndWhitePaperIsNotBurntOut) {
    const std::string sBall = render(ball(4, 0), {});
    const auto [least, most] = std::minmax_element(
        sBall.begin(), sBall.end(), [](char a, char b) { return static_cast<uint8_t>(a) < static_cast<uint8_t>(b); });
    EXPECT_GT(static_cast<uint8_t>(*least), 30);
    EXPECT_LT(static_cast<uint8_t>(*most), 255);
}

// A ball of few triangles with mean normals differs from one of many by its outline alone: where light ends, shadows of
// its own triangles do not show.
TEST_F(StudioTest, LightEndsSmoothlyOnRoundSurfaces) {
    StudioSettings settings;
    settings.bTransparent = true;
    const std::string sCoarse = render(ball(2, 1), settings), sFine = render(ball(6, 1), settings);
    int iSum = 0;
    for (size_t u = 0; u < sFine.size(); u += 4) {
        if (sCoarse[u + 3] != '\xFF' || sFine[u + 3] != '\xFF') continue;
        iSum += std::abs(static_cast<uint8_t>(sCoarse[u]) - static_cast<uint8_t>(sFine[u]));
    }
    EXPECT_LT(iSum, 1700);  // 1761 with those shadows
}

TEST_F(StudioTest, AlphaIsNothingOutsideAllInsideAndBetweenAtEdges) {
    StudioSettings settings;
    const std::string sOpaque = render(ball(4, 0), settings);
    settings.bTransparent = true;
    const std::string sClear = render(ball(4, 0), settings);
    unsigned uCounts[3] = {};
    for (size_t u = 0; u < sClear.size() / 4; ++u) {
        const uint8_t uAlpha = static_cast<uint8_t>(sClear[u * 4 + 3]);
        ++uCounts[uAlpha == 0 ? 0 : uAlpha == 255 ? 1 : 2];
        EXPECT_TRUE(uAlpha != 255 || sClear.substr(u * 4, 3) == sOpaque.substr(u * 3, 3)) << u;
    }
    EXPECT_TRUE(uCounts[0] > 500 && uCounts[1] > 500 && uCounts[2] > 50) << uCounts[0] << " " << uCounts[1];
}

// Material 0 lies as a floor under the ball: what no shadow reaches is the background to the byte.
TEST_F(StudioTest, OfAGroundOnlyTheShadowIsSeen) {
    Mesh mesh = ball(4, 2);
    const uint32_t u = static_cast<uint32_t>(mesh.vVertices.size());
    for (const Velk::NMVector3f& v3 :
         {Velk::NMVector3f{-90, -4.1f, -90}, {90, -4.1f, -90}, {90, -4.1f, 90}, {-90, -4.1f, 90}})
        mesh.vVertices.push_back(v3);
    mesh.vTriangles.push_back({u, u + 1, u + 2, 0});
    mesh.vTriangles.push_back({u, u + 2, u + 3, 0});
    StudioSettings settings;
    settings.v3Top = settings.v3Bottom = {200, 200, 200};
    const std::string sFloor = render(mesh, settings);
    settings.uGround = 0;
    const std::string sShadow = render(mesh, settings);
    EXPECT_GT(std::count(sShadow.begin(), sShadow.end(), '\xC8'),
              std::count(sFloor.begin(), sFloor.end(), '\xC8') + 2000);
    EXPECT_TRUE(std::any_of(sShadow.begin(), sShadow.end(), [](char c) { return static_cast<uint8_t>(c) < 120; }));
    // Grey pixels in a row change evenly: no edge of a lamp's part shows in the shadow.
    const auto grey = [&sShadow](size_t uPixel) {
        const std::string sPixel = sShadow.substr(uPixel * 3, 3);
        return sPixel == std::string(3, sPixel[0]) ? static_cast<uint8_t>(sPixel[0]) : -1000;
    };
    int iSum = 0;
    for (size_t i = 1; i + 1 < sShadow.size() / 3; ++i) {
        const int iBefore = grey(i - 1), iHere = grey(i), iBehind = grey(i + 1);
        if (std::min({iBefore, iHere, iBehind}) >= 0) iSum += std::abs(iBefore - 2 * iHere + iBehind);
    }
    EXPECT_LT(iSum, 2650);  // 2851 with stairs
}

}  // namespace
