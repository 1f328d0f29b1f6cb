// The names O, D, N, P, L, H and so on are those of the shading formulas: origin, direction, normal, point, to the
// light, half-way vector.
#include <cmath>

#include "render/BrickWall.h"
#include "render/RayTracer.h"

using Velk::NMVector3f;

namespace {

const NMVector3f g_v3Background{1.0f, 0.0f, 1.0f};  // seen where a ray leaves the scene
constexpr float BRIGHTNESS_EXPONENT = 0.7f;

// The fixed curve from the light sum to a multiple of the material's colour.
float brightness(float fSum) {
    const double d = static_cast<double>(fSum);
    const double dLog = 30.0 * log(d);
    return static_cast<float>(pow(d, static_cast<double>(BRIGHTNESS_EXPONENT)) + (dLog > 0.0 ? dLog : 0.0));
}

}  // namespace

NMVector3f RayTracer::traceRay(const NMVector3f& O, const NMVector3f& D, unsigned uDepth, float fRefractiveIndex) {
    RayTestOutput hit;
    const FaceData* pFace = kdTree.findNearestFace(O, D, fMaxDistance, &hit);
    if (!pFace) return g_v3Background;
    AttributeInstance attribute = attributes.vAttributes[pFace->uAttribute];  // a copy: the texture may change it
    const NMVector3f P = hit.v3Hit;
    NMVector3f N = pFace->v3Normal;
    NMVector3f S = attribute.v3Color;
    if (attribute.uFlags & AF_SMOOTH) {
        N = pFace->pA->v3Normal * hit.fU + pFace->pB->v3Normal * hit.fV +
            pFace->pC->v3Normal * (1.0f - hit.fU - hit.fV);
    }
    if (pFace->uAttribute == parameters.uTexturedAttribute) S = procedeTexture(pFace, hit, P, &N, &attribute);

    NMVector3f C = NMVector3f{} + S * brightness(sumLights(hit, D, N, attribute));
    if (uDepth >= MAX_RECURSION) return C;
    if (attribute.fKts > 0.0f) {
        const NMVector3f R = D - N * (2.0f * dot(N, D));
        const NMVector3f RC = traceRay(P + R, R, uDepth + 1, fRefractiveIndex);
        C = C * (1.0f - attribute.fKts) + multiply(S, RC) * attribute.fKts;
    }
    if (attribute.fKf > 0.0f && attribute.fEta != 0.0f) {
        const float r = fRefractiveIndex / attribute.fEta;
        const NMVector3f v3Side = N * (attribute.fEta > fRefractiveIndex ? 1.0f : -1.0f);
        const float c = dot(D, v3Side);
        const float k = 1.0f - r * r * (1.0f - c * c);
        if (k > 0.0f) {
            const NMVector3f T = D * r + v3Side * (c * r - sqrtf(k));
            C = C + multiply(S, traceRay(P + T, T, uDepth + 1, attribute.fEta)) * attribute.fKf;
        }
    }
    return C;
}

float RayTracer::sumLights(const RayTestOutput& hit, const NMVector3f& D, const NMVector3f& N,
                           const AttributeInstance& attribute) {
    const NMVector3f P = hit.v3Hit;
    const float s = hit.bFrontFace ? 1.0f : -1.0f;
    const float fExponent = static_cast<float>(static_cast<uint32_t>(attribute.iGs));
    float fSum = 0.0f;
    for (uint32_t u = 0; u < lights.uCount; ++u) {
        const Light& light = lights.pLights[u];
        NMVector3f L = light.v3Position - P;
        const float fDistance = length(L);
        L = L / fDistance;
        const float fCosine = dot(N, L) * s;
        if (!(fCosine >= 0.0f)) continue;
        if (kdTree.findObstacle(P + L, L, fDistance)) continue;
        const float a = scene.fDomainFactor / fDistance;
        const NMVector3f H = normalize(L - D);
        const float fSpecular = powf(dot(H, N) * s, fExponent);
        fSum = fSum + light.fFlux * a * a * (attribute.fKd * fCosine + attribute.fKs * fSpecular);
    }
    return fSum;
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
