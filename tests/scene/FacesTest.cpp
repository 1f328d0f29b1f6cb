// Face records and vertex normals.
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using FacesTest = FileTest;
using Velk::NMVector3f;

// All else that is derived from a face's vertices shows in the pictures of known bytes.
TEST_F(FacesTest, AxisOfANormalWithEqualComponentsIsTheLast) {
    const std::tuple<NMVector3f, NMVector3f, unsigned> cases[] = {
        {{1, -1, 0}, {0, 0, 1}, 1}, {{0, 1, -1}, {1, 0, 0}, 2}, {{1, 0, -1}, {0, 1, 0}, 2}};
    for (const auto& [v3Edge1, v3Edge2, uAxis] : cases) {
        Mesh mesh;
        mesh.add(v3Edge2, v3Edge1, {});
        Scene scene;
        loadMesh(scene, mesh);
        EXPECT_EQ(scene.vFaces[0].uAxis, uAxis);
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
