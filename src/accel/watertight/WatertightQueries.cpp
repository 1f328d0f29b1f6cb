// Hands queries to the kernel: streams packet by packet, arrays as they are.
#include "accel/watertight/WatertightQueries.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "base/simd/Float4.h"

namespace rt {

namespace {

// Calls visit(first ray, rays) for each packet of a stream.
template <typename Visit>
void forEachPacket(const RayStream& stream, const Visit& visit) {
    assert(stream.uCount <= RayStream::CAPACITY);
    for (uint32_t u = 0; u < stream.uCount; u += RayStream::LANES) {
        visit(u, std::min(RayStream::LANES, stream.uCount - u));
    }
}

WatertightLanes lanesFrom(const RayStream& stream, uint32_t u) {
    return {{stream.fOrigin[0] + u, stream.fOrigin[1] + u, stream.fOrigin[2] + u},
            {stream.fDir[0] + u, stream.fDir[1] + u, stream.fDir[2] + u},
            stream.fMaxDist + u};
}

// Copies the rays of a mask from a packet of a stream. Returns their number.
uint32_t gather(const RayStream& stream, uint32_t uFirst, uint64_t uMask, WatertightRay* pRays) {
    uint32_t uCount = 0;
    for (; uMask; uMask &= uMask - 1) {
        const uint32_t u = uFirst + static_cast<uint32_t>(__builtin_ctzll(uMask));
        WatertightRay& ray = pRays[uCount++];
        for (unsigned a = 0; a < 3; ++a) {
            ray.fOrigin[a] = stream.fOrigin[a][u];
            ray.fDir[a] = stream.fDir[a][u];
        }
        ray.fNear = 0.0f;
        ray.fFar = stream.fMaxDist[u];
    }
    return uCount;
}

// Puts what was asked for the rays of a mask where it belongs.
template <typename T>
void putBack(const T* pFrom, uint64_t uMask, T* pTo) {
    for (; uMask; uMask &= uMask - 1) pTo[__builtin_ctzll(uMask)] = *pFrom++;
}

uint64_t allOf(uint32_t uRays) {
    return uRays == 64 ? ~uint64_t{0} : (uint64_t{1} << uRays) - 1;
}

constexpr uint32_t STEP = 16;     // of which the first four rays are looked at
constexpr float MOST_FACES = 48;  // that a packet is worth it for; measured with meshes of 1800 to 980000 faces

// Tells packets whose rays share the boxes that they meet from those whose rays are quicker alone. No answer depends
// on it.
class Scatter {
 public:
    explicit Scatter(const WatertightBvh& bvh);

    // Whether some of the rays, from uFirst on, spread over about as many faces as there are rays: where they begin,
    // or in the middle of the mesh. Faces are taken to be spread evenly over a box.
    bool isWide(const RayStream& stream, uint32_t uFirst, uint32_t uRays) const;

 private:
    float fCentre[3];
    float fHalf;     // half the longest side of the box around all faces
    float fPerEdge;  // one by the length of a face's edge
};

Scatter::Scatter(const WatertightBvh& bvh) {
    const float* f = bvh.fHalf;
    for (unsigned a = 0; a < 3; ++a) fCentre[a] = bvh.fCentre[a];
    fHalf = std::max({f[0], f[1], f[2]});
    const float fArea = 4.0f * (f[0] * f[1] + f[1] * f[2] + f[2] * f[0]);  // of three sides
    fPerEdge = std::sqrt(static_cast<float>(std::max(1u, bvh.vFaces.uCount)) / (2.0f * fArea));
}

bool Scatter::isWide(const RayStream& stream, uint32_t uFirst, uint32_t uRays) const {
    if (uRays < STEP) return false;
    Float4 low[3], high[3], lowEnd[3], highEnd[3];
    for (uint32_t u = 0; u + 4 <= uRays; u += STEP) {
        Float4 from[3], dir[3], away = 0.0f, size = 0.0f;
        for (unsigned a = 0; a < 3; ++a) {
            from[a] = Float4::loadUnaligned(stream.fOrigin[a] + uFirst + u);
            dir[a] = Float4::loadUnaligned(stream.fDir[a] + uFirst + u);
            away = max(abs(from[a] - fCentre[a]), away);
            size = max(abs(dir[a]), size);
        }
        const Float4 t = min(max(away, Float4(fHalf)) / size, Float4::loadUnaligned(stream.fMaxDist + uFirst + u));
        for (unsigned a = 0; a < 3; ++a) {
            const Float4 end = from[a] + dir[a] * t;
            low[a] = u ? min(low[a], from[a]) : from[a];
            high[a] = u ? max(high[a], from[a]) : from[a];
            lowEnd[a] = u ? min(lowEnd[a], end) : end;
            highEnd[a] = u ? max(highEnd[a], end) : end;
        }
    }
    float fFaces[3];
    for (unsigned a = 0; a < 3; ++a) {
        const float fFrom = largest(high[a]) - smallest(low[a]), fTo = largest(highEnd[a]) - smallest(lowEnd[a]);
        fFaces[a] = 1.0f + std::max(fFrom, fTo) * fPerEdge;
    }
    const float fNarrowest = std::min({fFaces[0], fFaces[1], fFaces[2]});
    return fFaces[0] * fFaces[1] * fFaces[2] > MOST_FACES * fNarrowest;
}

constexpr WatertightHit MISS{0, 0, 0, WatertightHit::NO_FACE, 0};

}  // namespace

bool WatertightQueries::build(const float* pPositions, uint32_t uVertices, const uint32_t* pIndices, uint32_t uFaces,
                              unsigned uThreads, StopFlag pStop) {
    return bvh.build(pPositions, uVertices, pIndices, uFaces, uThreads, pStop);
}

void WatertightQueries::nearestOf(const RayStream& stream, WatertightHit* pHits, bool bScattered) const {
    if (!bvh.vNodes.uCount) return static_cast<void>(std::fill_n(pHits, stream.uCount, MISS));
    const WatertightData source = data();
    const Scatter scatter(bvh);
    forEachPacket(stream, [&](uint32_t u, uint32_t uRays) {
        WatertightRay rays[RayStream::LANES];
        WatertightHit hits[RayStream::LANES];
        const bool bWide = bScattered && scatter.isWide(stream, u, uRays);
        const uint64_t uAlone =
            bWide ? allOf(uRays) : pKernel->pfnNearestOfPacket(source, lanesFrom(stream, u), uRays, pHits + u);
        const uint32_t uCount = gather(stream, u, uAlone, rays);
        if (uCount) pKernel->pSingles->pfnNearest(source, rays, uCount, hits);
        putBack(hits, uAlone, pHits + u);
    });
}

void WatertightQueries::anyOf(const RayStream& stream, bool* pMeets, bool bScattered) const {
    if (!bvh.vNodes.uCount) return static_cast<void>(std::fill_n(pMeets, stream.uCount, false));
    const WatertightData source = data();
    const Scatter scatter(bvh);
    forEachPacket(stream, [&](uint32_t u, uint32_t uRays) {
        WatertightRay rays[RayStream::LANES];
        bool bMeets[RayStream::LANES];
        const bool bWide = bScattered && scatter.isWide(stream, u, uRays);
        const WatertightMet met =
            bWide ? WatertightMet{0, allOf(uRays)} : pKernel->pfnAnyOfPacket(source, lanesFrom(stream, u), uRays);
        for (uint32_t i = 0; i < uRays; ++i) pMeets[u + i] = met.uMet >> i & 1;
        const uint32_t uCount = gather(stream, u, met.uAlone, rays);
        if (uCount) pKernel->pSingles->pfnAny(source, rays, uCount, bMeets);
        putBack(bMeets, met.uAlone, pMeets + u);
    });
}

void WatertightQueries::nearest(const WatertightRay* pRays, size_t uRays, WatertightHit* pHits) const {
    if (!bvh.vNodes.uCount) return static_cast<void>(std::fill_n(pHits, uRays, MISS));
    pKernel->pSingles->pfnNearest(data(), pRays, uRays, pHits);
}

void WatertightQueries::any(const WatertightRay* pRays, size_t uRays, bool* pMeets) const {
    if (!bvh.vNodes.uCount) return static_cast<void>(std::fill_n(pMeets, uRays, false));
    pKernel->pSingles->pfnAny(data(), pRays, uRays, pMeets);
}

void WatertightQueries::all(const WatertightRay& ray, std::vector<WatertightHit>& vHits) const {
    vHits.clear();
    if (!bvh.vNodes.uCount) return;
    const auto take = [](void* pOwner, const WatertightHit& hit) {
        static_cast<std::vector<WatertightHit>*>(pOwner)->push_back(hit);
    };
    pKernel->pSingles->pfnAll(data(), ray, {take, &vHits});
    std::sort(vHits.begin(), vHits.end(),
              [](const WatertightHit& l, const WatertightHit& r) { return isNearer(l.fT, l.uFace, r.fT, r.uFace); });
    ShearedRay sheared;
    if (sheared.prepare(ray)) return;
    for (WatertightHit& hit : vHits) hit.fT = static_cast<float>(hit.fT * sheared.dScale);
}

size_t WatertightQueries::count(const WatertightRay& ray) const {
    size_t uCount = 0;
    if (!bvh.vNodes.uCount) return uCount;
    const auto take = [](void* pOwner, const WatertightHit&) { ++*static_cast<size_t*>(pOwner); };
    pKernel->pSingles->pfnAll(data(), ray, {take, &uCount});
    return uCount;
}

size_t WatertightQueries::bytes() const {
    return bvh.vNodes.uCount * sizeof(WatertightNode) + bvh.vFaces.uCount * sizeof(WatertightFace);
}

WatertightData WatertightQueries::data() const {
    return {bvh.vNodes.pData, bvh.vFaces.pData, {bvh.fReach[0], bvh.fReach[1], bvh.fReach[2], 0.0f}};
}

}  // namespace rt
