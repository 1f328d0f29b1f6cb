#include "accel/KDTree.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using Velk::NMVector3f;

using KDTreeQueriesTest = FileTest;

Mesh makeMesh(const std::string& sKind, Random& random) {
    if (sKind == "soup") return makeSoup(random, 700, 4.0f);
    if (sKind == "few") return makeSoup(random, 1 + random.below(3), 20.0f);
    if (sKind == "slivers") return makeSlivers(random, 400);
    if (sKind == "planes") return makePlanes(random, 200);
    Mesh mesh;
    if (sKind == "twins") {  // every face twice, turned over
        mesh = makeSoup(random, 400, 3.0f);
        for (uint32_t u = 0; u < 400; ++u) mesh.vTriangles.push_back({3 * u + 2, 3 * u + 1, 3 * u, 0});
        return mesh;
    }
    mesh.addSphere({1, 2, 3}, 4.0f, 3);
    mesh.addQuad({-10, -2, -10}, {20, 0, 0}, {0, 0, 20});
    return mesh;
}

struct Ray {
    NMVector3f v3Origin, v3Dir;
    float fMaxDist;
};

// From inside or outside, to a point inside or a vertex or exactly along an axis; of any length.
Ray makeRay(Random& random, const Scene& scene) {
    const NMVector3f v3Vertex = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
    Ray ray{random.inside(scene.boxScene), {}, 0};
    if (random.below(2)) ray.v3Origin = ray.v3Origin + random.vector(20000.0f);
    const uint32_t uKind = random.below(4);
    NMVector3f v3Target = uKind < 2 ? random.inside(scene.boxScene) : v3Vertex;
    if (uKind == 3) {
        const unsigned uAxis = random.below(3);
        const float fFrom = ray.v3Origin[uAxis];
        ray.v3Origin = v3Target = v3Vertex + random.vector(1.0f);
        ray.v3Origin[uAxis] = fFrom;
    }
    ray.v3Dir = v3Target - ray.v3Origin;
    if (random.below(2)) ray.v3Dir = normalize(ray.v3Dir);
    ray.fMaxDist = random.between(0.0f, 60000.0f) / length(ray.v3Dir);
    return ray;
}

// Two kinds of face may be passed by, rarely: one in an axis plane, where a segment ends on the split plane of a node
// whose own box ends there too (only the far side is looked at); and a sliver, whose computed hit may lie beside it.
TEST_F(KDTreeQueriesTest, FindWhatASearchOverAllFacesFinds) {
    unsigned uHits = 0, uPassedBy = 0;
    for (const char* szKind : {"soup", "ball", "twins", "few", "planes", "slivers"}) {
        const bool bExact = *szKind != 'p' && szKind[1] != 'l';
        for (uint32_t uSeed = 0; uSeed < 3; ++uSeed) {
            Random random(uSeed);
            Scene scene;
            loadMesh(scene, makeMesh(szKind, random));
            KDTree tree;
            EXPECT_EQ(tree.findNearestFace({}, {0, 0, 1}, 9.0f, nullptr), nullptr) << "no tree yet";
            testing::internal::CaptureStdout();
            ASSERT_FALSE(tree.buildTree(&scene, true));
            testing::internal::GetCapturedStdout();
            for (uint32_t uRay = 0; uRay < 1000; ++uRay) {
                SCOPED_TRACE(szKind + std::string(", seed ") + std::to_string(uSeed) + ", ray " + std::to_string(uRay));
                const Ray ray = makeRay(random, scene);
                float fNearest = HUGE_VALF;
                RayTestOutput hit{{}, HUGE_VALF, false, 0, 0}, again;
                for (const FaceData& face : scene.vFaces) {
                    const bool bHit = scene.testTriangle(&face, ray.v3Origin, ray.v3Dir, ray.fMaxDist, &again);
                    if (bHit) fNearest = std::min(fNearest, again.fT);
                }
                const FaceData* pFace = tree.findNearestFace(ray.v3Origin, ray.v3Dir, ray.fMaxDist, &hit);
                const bool bObstacle = tree.findObstacle(ray.v3Origin, ray.v3Dir, ray.fMaxDist);
                ASSERT_GE(hit.fT, fNearest);
                ASSERT_EQ(pFace == nullptr, hit.fT == HUGE_VALF) << "a miss leaves the record alone";
                ASSERT_LE(bObstacle, fNearest < HUGE_VALF);
                if (pFace) {
                    ASSERT_TRUE(scene.testTriangle(pFace, ray.v3Origin, ray.v3Dir, ray.fMaxDist, &again));
                    ASSERT_TRUE(again.fT == hit.fT && again.fU == hit.fU && again.bFrontFace == hit.bFrontFace);
                }
                const bool bAgree = hit.fT == fNearest && bObstacle == (fNearest < HUGE_VALF);
                ASSERT_TRUE(bAgree || !bExact) << hit.fT << " " << fNearest << " " << bObstacle;
                ++(bAgree ? uHits : uPassedBy);
            }
        }
    }
    EXPECT_LT(uPassedBy, uHits / 300);
}

}  // namespace
