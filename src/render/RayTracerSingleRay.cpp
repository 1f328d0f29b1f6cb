// Single-ray operations that rendering does not use: the texture step, and brute-force searches to check the queries.
#include "render/RayTracer.h"
#include "render/shading/BrickWall.h"
#include "render/shading/Surface.h"

namespace rt {

using Velk::NMVector3f;

NMVector3f RayTracer::procedeTexture(const FaceData* pFace, const RayTestOutput&, NMVector3f v3Point,
                                     NMVector3f* pNormal, AttributeInstance* pAttribute) const {
    return brickTexture(parameters, *pFace, v3Point, pNormal, pAttribute);
}

const FaceData* RayTracer::dummyFindTriangle(const NMVector3f& v3Origin, const NMVector3f& v3Direction,
                                             RayTestOutput* pOut) const {
    const FaceData* pNearest = nullptr;
    pOut->fT = fMaxDistance;
    for (const FaceData& face : scene.vFaces) {
        RayTestOutput hit;
        if (!scene.testTriangle(&face, v3Origin, v3Direction, pOut->fT, &hit)) continue;
        *pOut = hit;
        pNearest = &face;
    }
    return pNearest;
}

bool RayTracer::dummyFindObstacle(const NMVector3f& v3Origin, const NMVector3f& v3Direction, const FaceData* pExclude,
                                  float fMaxDist) const {
    for (const FaceData& face : scene.vFaces) {
        RayTestOutput hit;
        if (&face != pExclude && scene.testTriangle(&face, v3Origin, v3Direction, fMaxDist, &hit)) return true;
    }
    return false;
}

}  // namespace rt
