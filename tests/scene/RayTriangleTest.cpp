// The tests of a ray against a triangle.
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using RayTriangleTest = FileTest;
using Velk::NMVector3f;

// Both tests find the mixture of the vertices that a ray was aimed at, each in its own convention.
TEST_F(RayTriangleTest, FindsTheWeightsOfThePointAimedAt) {
    Random random(1);
    Scene scene;
    loadMesh(scene, makeSoup(random, 5000, 8.0f));
    unsigned uHits = 0;
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.vFaces[u];
        const NMVector3f A = face.pA->v3Position, B = face.pB->v3Position, C = face.pC->v3Position;
        const float a = random.between(-0.3f, 1.0f), b = random.between(-0.3f, 1.0f), c = 1.0f - a - b;
        const NMVector3f v3Target = A * a + B * b + C * c, v3Origin = v3Target + random.vector(9000.0f);
        const NMVector3f v3Dir = (v3Target - v3Origin) * 0.5f;
        const float fRim = std::min({a, b, c}), fSlope = dot(face.v3Normal, normalize(v3Dir));
        if (fabsf(fRim) < 0.01f || fabsf(fSlope) < 0.05f || length(cross(A - C, B - C)) < 1e4f) continue;  // ill-posed
        RayTestOutput hit{}, edge{};
        ASSERT_EQ(scene.testTriangle(u, v3Origin, v3Dir, &hit), fRim > 0) << u;
        ASSERT_EQ(scene.rayTriangleTestFast(u, v3Origin, v3Dir, 9.0f, &edge), fRim > 0) << u;
        if (fRim < 0) continue;
        ++uHits;
        for (const float f : {hit.fT - 2, edge.fT - 2, hit.fU - a, hit.fV - b, edge.fU - b, edge.fV - c}) {
            EXPECT_NEAR(f, 0.0f, 0.01f) << u;
        }
        EXPECT_LT(length(hit.v3Hit - v3Target) + length(edge.v3Hit - v3Target), 1.0f);
        EXPECT_EQ(hit.bFrontFace, fSlope < 0) << u;
        EXPECT_EQ(edge.bFrontFace, fSlope > 0) << u;
    }
    EXPECT_GT(uHits, 500u);
}

TEST_F(RayTriangleTest, RimAndEndsBelongToItParallelRaysDoNot) {
    Mesh mesh;  // a right triangle in the plane z = 0: all numbers are exact
    mesh.add({0, 0, 0}, {2, 0, 0}, {0, 2, 0});
    Scene scene;
    loadMesh(scene, mesh, false);
    scene.precalculateFaces();
    RayTestOutput hit{};
    const auto isHit = [&](const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxT = HUGE_VALF) {
        return scene.testTriangle(&scene.vFaces[0], v3Origin, v3Dir, fMaxT, &hit);
    };
    EXPECT_TRUE(isHit({0.5f, 0.5f, 0}, {0, 0, 1}, 0.0f)) << "t = 0";
    EXPECT_TRUE(isHit({0.5f, 0.5f, -4}, {0, 0, 2}, 2.0f)) << "t = the limit";
    EXPECT_FALSE(isHit({0.5f, 0.5f, -4}, {0, 0, 2}, 1.9999f));
    EXPECT_FALSE(isHit({0.5f, 0.5f, 1e-6f}, {0, 0, 1})) << "behind the origin";
    EXPECT_TRUE(scene.rayTriangleTestFast(0u, {0.5f, 0.5f, 1}, {0, 0, 1}, 5.0f, &hit)) << "the edge test looks back";
    for (const NMVector3f& v3 : {NMVector3f{0, 0, -3}, {2, 0, -3}, {0, 2, -3}, {1, 1, -3}, {1, 0, -3}, {0, 1, -3}}) {
        EXPECT_TRUE(isHit(v3, {0, 0, 1})) << v3.x << " " << v3.y;
    }
    for (const NMVector3f& v3 : {NMVector3f{-1e-3f, 1, -3}, {1, -1e-3f, -3}, {1.001f, 1, -3}}) {
        EXPECT_FALSE(isHit(v3, {0, 0, 1})) << v3.x << " " << v3.y;
    }
    EXPECT_FALSE(isHit({0, 0, 0}, {1, 0, 0})) << "in its plane";
    EXPECT_FALSE(isHit({-1, 0.5f, 1e-9f}, {1, 0, -5e-8f})) << "nearly in its plane";
}

}  // namespace
