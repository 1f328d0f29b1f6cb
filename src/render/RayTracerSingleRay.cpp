// One ray at a time: its colour, and the exhaustive searches that are the reference for the queries.
#include <algorithm>

#include "render/RayTracer.h"
#include "render/StreamShader.h"

using Velk::NMVector3f;

NMVector3f RayTracer::traceRay(const NMVector3f& v3Origin, const NMVector3f& v3Direction, unsigned uDepth,
                               float fRefractiveIndex) const {
    uDepth = std::min(uDepth, StreamShader::MAX_RECURSION);  // rays of this depth are not followed further
    RayStream& rays = pShader->rays(uDepth);
    rays.uCount = 0;
    rays.add(v3Origin, v3Direction, fMaxDistance);
    pShader->setMedium(uDepth, 0, fRefractiveIndex);
    return *pShader->trace(uDepth);
}

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
