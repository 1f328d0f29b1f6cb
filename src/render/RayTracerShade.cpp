#include <algorithm>

#include "render/BrickWall.h"
#include "render/RayTracer.h"
#include "render/StreamTracer.h"

using Velk::NMVector3f;

NMVector3f RayTracer::traceRay(const NMVector3f& v3Origin, const NMVector3f& v3Direction, unsigned uDepth,
                               float fRefractiveIndex) {
    uDepth = std::min(uDepth, MAX_RECURSION);  // no ray goes on from there
    RayStream& rays = streamTracer().rays(uDepth);
    rays.uCount = 0;
    rays.add(v3Origin, v3Direction, fMaxDistance);
    streamTracer().setMedium(uDepth, 0, fRefractiveIndex);
    return *streamTracer().trace(uDepth);
}

StreamTracer& RayTracer::streamTracer() {
    if (!pStreamTracer) pStreamTracer.reset(new StreamTracer(*this));
    return *pStreamTracer;
}

NMVector3f RayTracer::procedeTexture(const FaceData* pFace, const RayTestOutput&, NMVector3f v3Point,
                                     NMVector3f* pNormal, AttributeInstance* pAttribute) const {
    const NMVector3f d = v3Point - pFace->v3Min;
    // A face without extent along a texture axis has coordinate 0 there.
    const float u = pFace->fTexUSize != 0.0f ? dot(pFace->v3TexU, d) / pFace->fTexUSize : 0.0f;
    const float v = pFace->fTexVSize != 0.0f ? dot(pFace->v3TexV, d) / pFace->fTexVSize : 0.0f;
    NMVector3f t{0.0f, 0.0f, 1.0f};
    const NMVector3f v3Colour =
        Wall({u, v}, pFace->fTexUSize, pFace->fTexVSize, parameters.fBrickWidth, parameters.fBrickHeight,
             parameters.fMortarWidth, parameters.fAngleCoeff, parameters.bDirt, &t, pAttribute);
    *pNormal = TransformPoint(t, pFace->v3TexU, pFace->v3TexV, pFace->v3Normal);
    return v3Colour;
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
