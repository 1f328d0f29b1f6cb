// The kd-tree's walk against a search over all faces.
#include "render/RayTracer.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NMVector3f;

using KDTreeQueriesTest = FileTest;

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
    for (uint32_t uSeed = 0; uSeed < 3; ++uSeed) {
        Random random(uSeed);
        const std::vector<Mesh> vMeshes = makeMeshes(random);
        for (size_t uMesh = 0; uMesh < vMeshes.size(); ++uMesh) {
            const bool bExact = uMesh < 4;  // the faces at random
            RayTracer rayTracer;
            Scene& scene = rayTracer.scene;
            KDTree& tree = rayTracer.queries.kdTree;
            loadMesh(scene, vMeshes[uMesh]);
            EXPECT_EQ(tree.findNearestFace({}, {0, 0, 1}, 9.0f, nullptr), nullptr) << "no tree yet";
            ASSERT_FALSE(tree.buildTree(&scene, true));
            for (uint32_t uRay = 0; uRay < 1000; ++uRay) {
                SCOPED_TRACE(testing::Message() << "mesh " << uMesh << ", seed " << uSeed << ", ray " << uRay);
                const auto [O, D, fMaxDist] = makeRay(random, scene);
                RayTestOutput hit{{}, HUGE_VALF, false, 0, 0}, judge, again;
                rayTracer.fMaxDistance = fMaxDist;
                const FaceData* pJudge = rayTracer.dummyFindTriangle(O, D, &judge);
                const float fNearest = pJudge ? judge.fT : HUGE_VALF;
                unsigned uAtIt = 0;  // faces: the judge's own, and those at the same t
                for (const FaceData& face : scene.vFaces) uAtIt += scene.testTriangle(&face, O, D, judge.fT, &again);
                ASSERT_EQ(rayTracer.dummyFindObstacle(O, D, nullptr, judge.fT), uAtIt > 0);
                ASSERT_EQ(rayTracer.dummyFindObstacle(O, D, pJudge, judge.fT), uAtIt > 1);

                const FaceData* pFace = tree.findNearestFace(O, D, fMaxDist, &hit);
                const bool bObstacle = tree.findObstacle(O, D, fMaxDist);
                ASSERT_GE(hit.fT, fNearest);
                ASSERT_EQ(pFace == nullptr, hit.fT == HUGE_VALF) << "a miss leaves the record alone";
                ASSERT_LE(bObstacle, pJudge != nullptr);
                if (pFace) {
                    ASSERT_TRUE(scene.testTriangle(pFace, O, D, fMaxDist, &again));
                    ASSERT_EQ(again.fT, hit.fT);
                    ASSERT_EQ(again.fU, hit.fU);
                    ASSERT_EQ(again.bFrontFace, hit.bFrontFace);
                }
                const bool bAgree = hit.fT == fNearest && bObstacle == (pJudge != nullptr);
                ASSERT_LE(bExact, bAgree) << hit.fT << " " << fNearest << " " << bObstacle;
                ++(bAgree ? uHits : uPassedBy);
            }
        }
    }
    EXPECT_LT(uPassedBy, uHits / 300);
}

}  // namespace
