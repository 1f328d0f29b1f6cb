// Face records and vertex normals.
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using FacesTest = FileTest;
using Velk::NMVector3f;

TEST_F(FacesTest, AxisAndTextureFrameFollowTheNormal) {
    const struct {
        NMVector3f v3Edge1, v3Edge2;  // the normal is along their product
        uint8_t uAxis;
        NMVector3f v3TexV;
    } cases[] = {
        {{0, 1, 0}, {0, 0, 1}, 0, {0, 1, 0}},  {{0, 0, 1}, {0, 1, 0}, 0, {0, 1, 0}},
        {{0, 0, 1}, {1, 0, 0}, 1, {0, 0, -1}}, {{1, 0, 0}, {0, 0, 1}, 1, {0, 0, 1}},
        {{1, 0, 0}, {0, 1, 0}, 2, {0, 1, 0}},  {{1, -1, 0}, {0, 0, 1}, 1, {0, 0, 1}},  // |x| = |y| goes to y,
        {{0, 1, -1}, {1, 0, 0}, 2, {0, 1, 0}}, {{1, 0, -1}, {0, 1, 0}, 2, {0, 1, 0}},  // any tie with z to z
    };
    for (const auto& c : cases) {
        Mesh mesh;
        mesh.add(c.v3Edge2, c.v3Edge1, {});
        Scene scene;
        loadMesh(scene, mesh);
        const FaceData& face = scene.vFaces[0];
        EXPECT_NEAR(dot(face.v3Normal, normalize(cross(c.v3Edge1, c.v3Edge2))), 1.0f, 1e-5f);
        EXPECT_EQ(face.uAxis, c.uAxis) << &c - cases;
        EXPECT_EQ(length(face.v3TexV - c.v3TexV), 0.0f) << &c - cases;
        EXPECT_LT(fabsf(dot(face.v3TexU, face.v3Normal)) + fabsf(dot(face.v3TexU, face.v3TexV)), 1e-5f);
        EXPECT_EQ(face.fTexUSize, dot(face.v3TexU, face.v3Max - face.v3Min)) << &c - cases;
    }
}

TEST_F(FacesTest, DegenerateFacesAreNeverHit) {
    Mesh mesh;
    mesh.add({1, 1, 1}, {1, 1, 1}, {1, 1, 1});
    mesh.add({1, 1, 1}, {4, 4, 4}, {4, 4, 4});
    mesh.add({0, 0, 0}, {1, 2, 3}, {2, 4, 6});
    mesh.add({0, 0, 0}, {1e-30f, 0, 0}, {0, 1e-30f, 0});
    mesh.add({9, 9, 9}, {9, 9, 9.0000001f}, {-9, -9, -9});
    Scene scene;
    loadMesh(scene, mesh);
    Random random(2);
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.vFaces[u];
        const NMVector3f A = face.pA->v3Position, v3Edge = face.pB->v3Position - A;
        EXPECT_FALSE(face.isSound()) << u;
        EXPECT_EQ(length(face.pA->v3Normal) + length(face.pC->v3Normal), 0.0f) << u;
        for (int i = 0; i < 500; ++i) {
            const NMVector3f v3Target = A + v3Edge * random.between(0, 1), v3Origin = random.vector(10000.0f);
            RayTestOutput hit;
            EXPECT_FALSE(scene.testTriangle(u, v3Origin, v3Target - v3Origin, &hit)) << u;
        }
    }
}

}  // namespace
