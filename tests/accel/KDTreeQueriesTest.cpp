#include "accel/KDTree.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using Velk::NMVector3f;

class KDTreeQueriesTest : public FileTest {
 protected:
    static void build(KDTree& tree, const Scene& scene) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(tree.buildTree(&scene, true));
        testing::internal::GetCapturedStdout();
    }
};

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
            build(tree, scene);
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

TEST_F(KDTreeQueriesTest, EndsOfARayBelongToIt) {
    Mesh mesh;
    mesh.addQuad({-1, -1, 0}, {2, 0, 0}, {0, 2, 0});
    mesh.addQuad({-1, -1, 1}, {2, 0, 0}, {0, 2, 0});
    Scene scene;
    loadMesh(scene, mesh);
    KDTree tree;
    RayTestOutput hit;
    const NMVector3f v3On{3, 1, 0}, v3Out{3, 1, -1e5f}, v3Dir{0, 0, 1};
    EXPECT_FALSE(tree.findObstacle(v3On, v3Dir, 1.0f)) << "no tree";
    EXPECT_EQ(tree.findNearestFace(v3Out, v3Dir, 9e9f, &hit), nullptr) << "no tree";
    build(tree, scene);
    const float fBack = scene.pVertices[4].v3Position.z;
    EXPECT_TRUE(tree.findObstacle(v3On, v3Dir, 1.0f)) << "t = 0";
    EXPECT_TRUE(tree.findObstacle({3, 1, 1}, v3Dir, fBack - 1.0f)) << "t = the distance";
    EXPECT_FALSE(tree.findObstacle({3, 1, 1}, v3Dir, fBack - 1.01f));
    EXPECT_NE(tree.findNearestFace(v3Out, v3Dir, 1e5f, &hit), nullptr) << "t = the distance";
    EXPECT_EQ(tree.findNearestFace(v3Out, v3Dir, 9.99e4f, &hit), nullptr);
    for (const NMVector3f& v3Away : {NMVector3f{0, 0, -1}, {1, 0, 0}, {0, -1, 0}}) {
        EXPECT_EQ(tree.findNearestFace(v3Out, v3Away, 9e9f, &hit), nullptr) << "outside, and not coming in";
    }
}

TEST_F(KDTreeQueriesTest, HostileRaysAndScenesAreSurvived) {
    for (const float fSize : {1e30f, 1e38f, 1e-30f, 0.0f}) {
        Random random(1);
        Mesh mesh;
        for (int i = 0; i < 600; ++i) mesh.vVertices.push_back(random.vector(fSize));
        for (uint32_t u = 0; u < 600; u += 3) mesh.vTriangles.push_back({u, u + 1, u + 2, 0});
        Scene scene;
        loadMesh(scene, mesh);
        KDTree tree;
        build(tree, scene);
        RayTestOutput hit;
        const float special[] = {NAN, HUGE_VALF, -HUGE_VALF, 0.0f, -0.0f, 1e38f, 1e-45f, 1.0f};
        for (int i = 0; i < 3000; ++i) {
            float f[7];
            for (float& fValue : f) fValue = special[random.below(8)];
            tree.findNearestFace({f[0], f[1], f[2]}, {f[3], f[4], f[5]}, f[6], &hit);
            tree.findObstacle({f[0], f[1], f[2]}, {f[3], f[4], f[5]}, f[6]);
        }
    }
}

}  // namespace
