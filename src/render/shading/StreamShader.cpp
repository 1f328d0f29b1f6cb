// Shading of streams: hits, lights with their shadow rays, reflection and refraction. D, P, N, S, L and H are those of
// Surface.h.
#include "render/shading/StreamShader.h"

#include <cmath>

#include "accel/queries/RayQueries.h"
#include "scene/Lights.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

const NMVector3f g_v3Background{1.0f, 0.0f, 1.0f};  // seen where a ray leaves the scene

}  // namespace

const NMVector3f* StreamShader::trace(unsigned uDepth) {
    Level& level = levels[uDepth];
    context.queries.findNearestFaces(level.rays, uFaces, hits);
    makeSurfaces(level);
    sumLights(level);
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        // Adding black turns -0 into 0, as the sum of a single ray's contributions does.
        level.v3Colours[level.uSurfaceRays[u]] = NMVector3f{} + level.surfaces[u].S * brightness(fSums[u]);
    }
    if (uDepth < MAX_RECURSION) {
        reflect(uDepth);
        refract(uDepth);
    }
    return level.v3Colours;
}

// Splits the rays into those that hit a surface and those that see the background.
void StreamShader::makeSurfaces(Level& level) {
    level.uSurfaces = 0;
    for (uint32_t u = 0; u < level.rays.uCount; ++u) {
        if (uFaces[u] == NO_INDEX) {
            level.v3Colours[u] = g_v3Background;
            continue;
        }
        makeSurface(context, context.scene.vFaces[uFaces[u]], hits[u], &level.surfaces[level.uSurfaces]);
        level.uSurfaceRays[level.uSurfaces] = u;
        fSums[level.uSurfaces++] = 0.0f;
    }
}

// Adds up the light that reaches each surface, using shadow rays. Goes light by light, so that all shadow rays of a
// stream end at one point.
void StreamShader::sumLights(Level& level) {
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        for (unsigned a = 0; a < 3; ++a) {
            incidence.P[a][u] = surface.P[a];
            incidence.N[a][u] = surface.N[a];
            incidence.D[a][u] = level.rays.fDir[a][level.uSurfaceRays[u]];
        }
        incidence.fSide[u] = surface.fSide;
    }
    for (uint32_t uLight = 0; uLight < context.lights.uCount; ++uLight) {
        findIncidence(context.lights.pLights[uLight], level.uSurfaces);
        shadows.uCount = 0;
        for (uint32_t u = 0; u < level.uSurfaces; ++u) {
            if (!(incidence.fCosine[u] >= 0.0f)) continue;
            uShaded[shadows.uCount] = u;
            const NMVector3f L{incidence.L[0][u], incidence.L[1][u], incidence.L[2][u]};
            // Starts one unit off the surface to avoid self-shadowing.
            shadows.add(level.surfaces[u].P + L, L, incidence.fDistance[u]);
        }
        context.queries.findObstacles(shadows, bBlocked);
        for (uint32_t uRay = 0; uRay < shadows.uCount; ++uRay) {
            if (bBlocked[uRay]) continue;
            const uint32_t u = uShaded[uRay];
            fSums[u] = fSums[u] + incidence.fIrradiance[u] *
                                      level.surfaces[u].reflected(incidence.fCosine[u], incidence.fHalfway[u]);
        }
    }
}

// Computes the incidence of a light on each surface. Back-facing surfaces are included: the vectorised loop is faster
// than one that skips them.
void StreamShader::findIncidence(const Light& light, uint32_t uSurfaces) {
    const float fDomainFactor = context.scene.fDomainFactor;
    for (uint32_t u = 0; u < uSurfaces; ++u) {
        const auto at = [u](const float(&f)[3][RayStream::ROOM]) { return NMVector3f{f[0][u], f[1][u], f[2][u]}; };
        const NMVector3f N = at(incidence.N);
        NMVector3f L = light.v3Position - at(incidence.P);
        const float fDistance = length(L);
        L = L / fDistance;
        const float a = fDomainFactor / fDistance;
        const NMVector3f H = normalize(L - at(incidence.D));
        incidence.L[0][u] = L.x;
        incidence.L[1][u] = L.y;
        incidence.L[2][u] = L.z;
        incidence.fDistance[u] = fDistance;
        incidence.fIrradiance[u] = light.fFlux * a * a;
        incidence.fCosine[u] = dot(N, L) * incidence.fSide[u];
        incidence.fHalfway[u] = dot(H, N) * incidence.fSide[u];
    }
}

// Traces the secondary rays of the next depth and blends each colour into that of its parent.
template <typename Mix>
void StreamShader::traceSecondary(unsigned uDepth, const Mix& mix) {
    Level &level = levels[uDepth], &next = levels[uDepth + 1];
    const uint32_t uCount = next.rays.uCount;  // noted before tracing, which may change it
    if (!uCount) return;
    trace(uDepth + 1);
    for (uint32_t u = 0; u < uCount; ++u) {
        const uint32_t uSurface = next.uParents[u];
        NMVector3f& C = level.v3Colours[level.uSurfaceRays[uSurface]];
        C = mix(level.surfaces[uSurface], C, next.v3Colours[u]);
    }
}

void StreamShader::reflect(unsigned uDepth) {
    Level &level = levels[uDepth], &next = levels[uDepth + 1];
    next.rays.uCount = 0;
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        if (!(surface.fKts > 0.0f)) continue;
        const uint32_t uRay = level.uSurfaceRays[u];
        const NMVector3f D = level.rays.dir(uRay);
        const NMVector3f R = D - surface.N * (2.0f * dot(surface.N, D));
        next.uParents[next.rays.uCount] = u;
        next.fMedium[next.rays.uCount] = level.fMedium[uRay];
        next.rays.add(surface.P + R, R, level.rays.fMaxDist[uRay]);
    }
    traceSecondary(uDepth, [](const Surface& surface, const NMVector3f& C, const NMVector3f& v3Seen) {
        return C * (1.0f - surface.fKts) + multiply(surface.S, v3Seen) * surface.fKts;
    });
}

void StreamShader::refract(unsigned uDepth) {
    Level &level = levels[uDepth], &next = levels[uDepth + 1];
    next.rays.uCount = 0;
    for (uint32_t u = 0; u < level.uSurfaces; ++u) {
        const Surface& surface = level.surfaces[u];
        if (!(surface.fKf > 0.0f) || surface.fEta == 0.0f) continue;
        const uint32_t uRay = level.uSurfaceRays[u];
        const float fMedium = level.fMedium[uRay];
        const NMVector3f D = level.rays.dir(uRay);
        const float r = fMedium / surface.fEta;
        const NMVector3f v3Side = surface.N * (surface.fEta > fMedium ? 1.0f : -1.0f);
        const float c = dot(D, v3Side);
        const float k = 1.0f - r * r * (1.0f - c * c);
        if (!(k > 0.0f)) continue;  // total reflection, or NaN
        const NMVector3f T = D * r + v3Side * (c * r - sqrtf(k));
        next.uParents[next.rays.uCount] = u;
        next.fMedium[next.rays.uCount] = surface.fEta;
        next.rays.add(surface.P + T, T, level.rays.fMaxDist[uRay]);
    }
    traceSecondary(uDepth, [](const Surface& surface, const NMVector3f& C, const NMVector3f& v3Seen) {
        return C + multiply(surface.S, v3Seen) * surface.fKf;
    });
}

}  // namespace rt
