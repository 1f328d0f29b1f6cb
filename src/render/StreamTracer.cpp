// The names D, N, P, L, H and so on are those of the shading formulas: direction, normal, point, to the light, half-way
// vector.
#include "render/StreamTracer.h"

#include <cmath>

#include "render/RayTracer.h"

using Velk::NMVector3f;

namespace {

const NMVector3f g_v3Background{1.0f, 0.0f, 1.0f};  // seen where a ray leaves the scene
constexpr float BRIGHTNESS_EXPONENT = 0.7f;

// The fixed curve from the light sum to a multiple of the material's colour. The logarithm adds nothing below 1.
float brightness(float fSum) {
    const double d = static_cast<double>(fSum);
    const double dPower = pow(d, static_cast<double>(BRIGHTNESS_EXPONENT));
    return static_cast<float>(d > 1.0 ? dPower + 30.0 * log(d) : dPower + 0.0);
}

// What one light adds to the sum, the flux and the distance left out.
float reflected(float fKd, float fKs, float fExponent, float fCosine, float fHalfway) {
    // The power is finite for a base up to 1, and then a product with zero changes nothing.
    if (fKs == 0.0f && fabsf(fHalfway) <= 1.0f) return fKd * fCosine + 0.0f;
    return fKd * fCosine + fKs * powf(fHalfway, fExponent);
}

}  // namespace

StreamTracer::StreamTracer(const RayTracer& source)
    : tracer(source), pLevels(new Level[RayTracer::MAX_RECURSION + 1]) {}

const NMVector3f* StreamTracer::trace(unsigned uDepth) {
    Level& level = pLevels[uDepth];
    tracer.queries.findNearestFaces(level.rays, level.uFaces, level.hits);
    level.uSurfaces = 0;
    for (uint32_t u = 0; u < level.rays.uCount; ++u) {
        if (level.uFaces[u] == NO_INDEX) {
            level.v3Colours[u] = g_v3Background;
        } else {
            level.surfaces[level.uSurfaces++] = makeSurface(level, u);
        }
    }
    sumLights(level);
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        level.v3Colours[surface.uRay] = NMVector3f{} + surface.S * brightness(surface.fSum);
    }
    if (uDepth < RayTracer::MAX_RECURSION) {
        reflect(uDepth);
        refract(uDepth);
    }
    return level.v3Colours;
}

StreamTracer::Surface StreamTracer::makeSurface(const Level& level, uint32_t uRay) const {
    const FaceData& face = tracer.scene.vFaces[level.uFaces[uRay]];
    const RayTestOutput& hit = level.hits[uRay];
    const AttributeInstance& attribute = tracer.attributes.vAttributes[face.uAttribute];
    Surface surface;
    surface.uRay = uRay;
    surface.P = hit.v3Hit;
    surface.N = face.v3Normal;
    surface.S = attribute.v3Color;
    surface.fSide = hit.bFrontFace ? 1.0f : -1.0f;
    surface.fKd = attribute.fKd;
    surface.fKs = attribute.fKs;
    surface.fExponent = static_cast<float>(static_cast<uint32_t>(attribute.iGs));
    surface.fKts = attribute.fKts;
    surface.fKf = attribute.fKf;
    surface.fEta = attribute.fEta;
    surface.fSum = 0.0f;
    if (face.uAttribute == tracer.parameters.uTexturedAttribute) {
        AttributeInstance changed = attribute;  // a copy: the texture may change it
        surface.S = tracer.procedeTexture(&face, hit, surface.P, &surface.N, &changed);
        surface.fKts = changed.fKts;
    } else if (attribute.uFlags & AF_SMOOTH) {
        surface.N =
            face.pA->v3Normal * hit.fU + face.pB->v3Normal * hit.fV + face.pC->v3Normal * (1.0f - hit.fU - hit.fV);
    }
    return surface;
}

// Adds up the lights that each surface faces and that no face hides, light by light, so that the shadow rays to one
// light travel together.
void StreamTracer::sumLights(Level& level) {
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        for (unsigned a = 0; a < 3; ++a) {
            incidence.P[a][u] = surface.P[a];
            incidence.N[a][u] = surface.N[a];
        }
        incidence.fSide[u] = surface.fSide;
    }
    for (uint32_t uLight = 0; uLight < tracer.lights.uCount; ++uLight) {
        const Light& light = tracer.lights.pLights[uLight];
        findIncidence(light.v3Position, level.uSurfaces);
        shadows.uCount = 0;
        for (uint32_t u = 0; u < level.uSurfaces; ++u) {
            if (!(incidence.fCosine[u] >= 0.0f)) continue;
            uShaded[shadows.uCount] = u;
            const NMVector3f L{incidence.L[0][u], incidence.L[1][u], incidence.L[2][u]};
            // One unit off the surface, or it would hide itself.
            shadows.add(level.surfaces[u].P + L, L, incidence.fDistance[u]);
        }
        tracer.queries.findObstacles(shadows, bBlocked);
        for (uint32_t uRay = 0; uRay < shadows.uCount; ++uRay) {
            if (bBlocked[uRay]) continue;
            Surface& surface = level.surfaces[uShaded[uRay]];
            const NMVector3f L = shadows.dir(uRay), D = level.rays.dir(surface.uRay);
            const float a = tracer.scene.fDomainFactor / shadows.fMaxDist[uRay];
            const NMVector3f H = normalize(L - D);
            surface.fSum =
                surface.fSum + light.fFlux * a * a *
                                   reflected(surface.fKd, surface.fKs, surface.fExponent,
                                             incidence.fCosine[uShaded[uRay]], dot(H, surface.N) * surface.fSide);
        }
    }
}

// The direction, distance and cosine of a light for each surface.
void StreamTracer::findIncidence(const NMVector3f& v3Light, uint32_t uSurfaces) {
    for (uint32_t u = 0; u < uSurfaces; ++u) {
        const NMVector3f P{incidence.P[0][u], incidence.P[1][u], incidence.P[2][u]};
        const NMVector3f N{incidence.N[0][u], incidence.N[1][u], incidence.N[2][u]};
        NMVector3f L = v3Light - P;
        const float fDistance = length(L);
        L = L / fDistance;
        incidence.L[0][u] = L.x;
        incidence.L[1][u] = L.y;
        incidence.L[2][u] = L.z;
        incidence.fDistance[u] = fDistance;
        incidence.fCosine[u] = dot(N, L) * incidence.fSide[u];
    }
}

// Traces the rays that wait one depth further on and mixes what each sees into the colour of the ray that sent it.
template <typename Mix>
void StreamTracer::follow(unsigned uDepth, const Mix& mix) {
    Level &level = pLevels[uDepth], &next = pLevels[uDepth + 1];
    const uint32_t uCount = next.rays.uCount;  // noted before tracing, which may change it
    if (!uCount) return;
    trace(uDepth + 1);
    for (uint32_t u = 0; u < uCount; ++u) {
        const Surface& surface = level.surfaces[next.uParents[u]];
        NMVector3f& C = level.v3Colours[surface.uRay];
        C = mix(surface, C, next.v3Colours[u]);
    }
}

void StreamTracer::reflect(unsigned uDepth) {
    Level &level = pLevels[uDepth], &next = pLevels[uDepth + 1];
    next.rays.uCount = 0;
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        if (!(surface.fKts > 0.0f)) continue;
        const NMVector3f D = level.rays.dir(surface.uRay);
        const NMVector3f R = D - surface.N * (2.0f * dot(surface.N, D));
        next.uParents[next.rays.uCount] = u;
        next.fMedium[next.rays.uCount] = level.fMedium[surface.uRay];
        next.rays.add(surface.P + R, R, tracer.fMaxDistance);
    }
    follow(uDepth, [](const Surface& surface, const NMVector3f& C, const NMVector3f& v3Seen) {
        return C * (1.0f - surface.fKts) + multiply(surface.S, v3Seen) * surface.fKts;
    });
}

void StreamTracer::refract(unsigned uDepth) {
    Level &level = pLevels[uDepth], &next = pLevels[uDepth + 1];
    next.rays.uCount = 0;
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        if (!(surface.fKf > 0.0f) || surface.fEta == 0.0f) continue;
        const float fMedium = level.fMedium[surface.uRay];
        const NMVector3f D = level.rays.dir(surface.uRay);
        const float r = fMedium / surface.fEta;
        const NMVector3f v3Side = surface.N * (surface.fEta > fMedium ? 1.0f : -1.0f);
        const float c = dot(D, v3Side);
        const float k = 1.0f - r * r * (1.0f - c * c);
        if (!(k > 0.0f)) continue;  // total reflection, or not a number
        const NMVector3f T = D * r + v3Side * (c * r - sqrtf(k));
        next.uParents[next.rays.uCount] = u;
        next.fMedium[next.rays.uCount] = surface.fEta;
        next.rays.add(surface.P + T, T, tracer.fMaxDistance);
    }
    follow(uDepth, [](const Surface& surface, const NMVector3f& C, const NMVector3f& v3Seen) {
        return C + multiply(surface.S, v3Seen) * surface.fKf;
    });
}
