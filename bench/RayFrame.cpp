// The rays of one frame, and the check of their answers by a search over all faces.
#include "RayFrame.h"

#include <algorithm>
#include <cmath>

#include "TileTracer.h"
#include "render/RayTracer.h"

using namespace rt;

using Velk::NMVector3f;

namespace {

constexpr uint32_t TILE_SIZE = 32;
constexpr float RELATIVE_TOLERANCE = 1e-4f;
constexpr float TOLERANCE = 0.05f;  // in a domain of 10000 units

// Bits 0, 2, 4, 6 and 8 of a number, close together.
uint32_t evenBits(uint32_t u) {
    return (u & 1) | (u >> 1 & 2) | (u >> 2 & 4) | (u >> 3 & 8) | (u >> 4 & 16);
}

// Along the Z curve: any four, eight, sixteen neighbours in the list make a square or half of one.
std::vector<Ray> makePrimaryRays(const RayTracer& rt, uint32_t x0, uint32_t y0) {
    const uint32_t uWidth = rt.parameters.uWidth, uHeight = rt.parameters.uHeight;
    std::vector<Ray> vRays;
    for (uint32_t i = 0; i < TILE_SIZE * TILE_SIZE; ++i) {
        const uint32_t x = x0 + evenBits(i), y = y0 + evenBits(i >> 1);
        if (x < uWidth && y < uHeight) {
            const float fx = static_cast<float>(x) / static_cast<float>(uWidth);
            const float fy = static_cast<float>(y) / static_cast<float>(uHeight);
            const NMVector3f v3Target = rt.v3ImageOrigin + rt.v3ImageSpanX * fx + rt.v3ImageSpanY * fy;
            vRays.push_back({rt.v3Eye, normalize(v3Target - rt.v3Eye), rt.fMaxDistance});
        }
    }
    return vRays;
}

NMVector3f shadingNormal(const RayTracer& rt, const FaceData& face, const RayTestOutput& hit) {
    if (!(rt.attributes.vAttributes[face.uAttribute].uFlags & AF_SMOOTH)) return face.v3Normal;
    return face.pA->v3Normal * hit.fU + face.pB->v3Normal * hit.fV + face.pC->v3Normal * (1.0f - hit.fU - hit.fV);
}

std::vector<Ray> makeShadowRays(const RayTracer& rt, const Light& light, const TreeTracer& tracer, size_t uRays) {
    std::vector<Ray> vRays;
    for (size_t i = 0; i < uRays; ++i) {
        const FaceData* pFace = tracer.face(i);
        if (!pFace) continue;
        const RayTestOutput& hit = tracer.hit(i);
        const NMVector3f v3Way = light.v3Position - hit.v3Hit;
        const float fDistance = length(v3Way);
        const NMVector3f v3Dir = v3Way / fDistance;
        const float fCosine = dot(shadingNormal(rt, *pFace, hit), v3Dir) * (hit.bFrontFace ? 1.0f : -1.0f);
        if (fCosine < 0.0f) continue;
        vRays.push_back({hit.v3Hit + v3Dir, v3Dir, fDistance});
    }
    return vRays;
}

}  // namespace

RayFrame makeRayFrame(RayTracer& rt) {
    RayFrame frame;
    TreeTracer tracer(rt.queries);
    for (uint32_t y = 0; y < rt.parameters.uHeight; y += TILE_SIZE) {
        for (uint32_t x = 0; x < rt.parameters.uWidth; x += TILE_SIZE) {
            RayTile tile;
            tile.vPrimary = makePrimaryRays(rt, x, y);
            frame.uPrimary += tile.vPrimary.size();
            tracer.prepareNearest(tile.vPrimary);
            tracer.findNearest();
            for (uint32_t u = 0; u < rt.lights.uCount; ++u) {
                tile.vShadow.push_back(makeShadowRays(rt, rt.lights.pLights[u], tracer, tile.vPrimary.size()));
                frame.uShadow += tile.vShadow.back().size();
            }
            frame.vTiles.push_back(std::move(tile));
        }
    }
    return frame;
}

bool isSameDistance(float a, float b) {
    if (a == FrameAnswers::MISS || b == FrameAnswers::MISS) return a == b;
    return std::abs(a - b) <= TOLERANCE + RELATIVE_TOLERANCE * a;
}

size_t countDifferences(const FrameAnswers& a, const FrameAnswers& b) {
    size_t uCount = 0;
    for (size_t i = 0; i < a.vDistance.size(); ++i) uCount += !isSameDistance(a.vDistance[i], b.vDistance[i]);
    for (size_t i = 0; i < a.vBlocked.size(); ++i) uCount += a.vBlocked[i] != b.vBlocked[i];
    return uCount;
}

size_t countDifferencesFromBruteForce(const RayTracer& rt, const RayFrame& frame, const FrameAnswers& answers,
                                      size_t uStep) {
    size_t uCount = 0, uPrimary = 0, uShadow = 0;
    for (const RayTile& tile : frame.vTiles) {
        for (const Ray& ray : tile.vPrimary) {
            const float fDistance = answers.vDistance[uPrimary];
            if (uPrimary++ % uStep) continue;
            RayTestOutput hit;
            const bool bHit = rt.dummyFindTriangle(ray.v3Origin, ray.v3Dir, &hit);
            uCount += !isSameDistance(fDistance, bHit ? hit.fT : FrameAnswers::MISS);
        }
        for (const std::vector<Ray>& vShadow : tile.vShadow) {
            for (const Ray& ray : vShadow) {
                const bool bBlocked = answers.vBlocked[uShadow];
                if (uShadow++ % uStep) continue;
                uCount += rt.dummyFindObstacle(ray.v3Origin, ray.v3Dir, nullptr, ray.fMaxDist) != bBlocked;
            }
        }
    }
    return uCount;
}
