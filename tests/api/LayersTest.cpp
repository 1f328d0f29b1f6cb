// Parts and layers through the public face: what is told of a mesh is what pixels show.
#include <atomic>
#include <cmath>
#include <string>
#include <vector>

#include "raytracer/Layers.h"
#include "raytracer/Messages.h"
#include "support/FileTest.h"

namespace {

std::string sSaid;

// Two triangles across the view, the right one twice as far away.
constexpr float POSITIONS[] = {-4, -1.5, 2, 0, -1.5, 2, 0, 1.5, 2, 0, -8, 4, 20, -8, 4, 0, 20, 4};
constexpr uint32_t TRIANGLES[] = {0, 1, 2, 3, 4, 5};

TEST(LayersTest, PartsAndLayersTellOfTheMesh) {
    raytracer::setErrorSink([](bool, const char* sz) { sSaid += std::string(sz) + "\n"; });
    raytracer::Scene scene;
    ASSERT_FALSE(scene.setMesh({POSITIONS, 6, TRIANGLES, 2}));
    EXPECT_EQ(scene.parts().size(), 1u);
    EXPECT_TRUE(scene.addPart(1, "late"));
    ASSERT_FALSE(scene.addPart(0, "left") || scene.addPart(1, "none") || scene.addPart(1, "right"));
    EXPECT_TRUE(scene.addPart(0, "early") || scene.addPart(3, "beyond"));
    const std::vector<raytracer::Part> vParts = scene.parts();
    ASSERT_EQ(vParts.size(), 3u);
    EXPECT_TRUE(vParts[2].sPath == "right" && vParts[1].uTriangles == 0 && vParts[2].uTriangles == 1);
    std::vector<float> vPositions(scene.vertexCount() * 3);
    uint32_t uCorners[6], uParts[2];
    scene.copyMesh(vPositions.data(), uCorners, uParts);
    EXPECT_TRUE(std::equal(vPositions.begin(), vPositions.end(), POSITIONS) &&
                std::equal(uCorners, uCorners + 6, TRIANGLES));
    EXPECT_TRUE(uParts[0] == 0 && uParts[1] == 2);

    const raytracer::View view = raytracer::lookAt({{0, 0, 0}, {0, 0, 1}, {0, 1, 0}, 90}, 4, 2);
    uint32_t uMesh[8];
    float fDepth[8], fAway[8];
    raytracer::Layers layers;
    layers.pMesh = uMesh, layers.pDepth = fDepth, layers.pDistance = fAway;
    EXPECT_TRUE(raytracer::renderLayers(scene, view, layers, 2)) << "it is not prepared";
    ASSERT_FALSE(scene.prepare(raytracer::Use::PICTURES));
    sSaid.clear();
    ASSERT_FALSE(raytracer::renderLayers(scene, view, layers, 2));
    const uint32_t uNone = raytracer::NO_TRIANGLE, wanted[] = {uNone, 0, 2, 2, 0, 0, 2, 2};
    for (unsigned u = 0; u < 8; ++u) {
        EXPECT_EQ(uMesh[u], wanted[u]) << u;
        const float fAhead = wanted[u] == uNone ? HUGE_VALF : wanted[u] ? 4.0f : 2.0f;
        const float x = (static_cast<float>(u % 4) - 1.5f) / 2;
        EXPECT_FLOAT_EQ(fDepth[u], fAhead);
        EXPECT_FLOAT_EQ(fAway[u], fAhead * std::sqrt(1 + x * x + 0.0625f));
    }
    const std::atomic<bool> bStop{true};
    EXPECT_TRUE(raytracer::renderLayers(scene, view, layers, 2, &bStop));
    EXPECT_EQ(sSaid, "");
    raytracer::setErrorSink(nullptr);
}

}  // namespace
