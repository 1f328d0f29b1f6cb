// Hands queries to the kernel: streams packet by packet, arrays as they are.
#include "accel/watertight/WatertightQueries.h"

#include <algorithm>
#include <cassert>

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
void scatter(const T* pFrom, uint64_t uMask, T* pTo) {
    for (; uMask; uMask &= uMask - 1) pTo[__builtin_ctzll(uMask)] = *pFrom++;
}

constexpr WatertightHit MISS{0, 0, 0, WatertightHit::NO_FACE, 0};

}  // namespace

bool WatertightQueries::build(const float* pPositions, uint32_t uVertices, const uint32_t* pIndices, uint32_t uFaces,
                              unsigned uThreads, StopFlag pStop) {
    return bvh.build(pPositions, uVertices, pIndices, uFaces, uThreads, pStop);
}

void WatertightQueries::nearestOf(const RayStream& stream, WatertightHit* pHits) const {
    if (!bvh.vNodes.uCount) return static_cast<void>(std::fill_n(pHits, stream.uCount, MISS));
    const WatertightData source = data();
    forEachPacket(stream, [&](uint32_t u, uint32_t uRays) {
        WatertightRay rays[RayStream::LANES];
        WatertightHit hits[RayStream::LANES];
        const uint64_t uAlone = pKernel->pfnNearestOfPacket(source, lanesFrom(stream, u), uRays, pHits + u);
        const uint32_t uCount = gather(stream, u, uAlone, rays);
        if (uCount) pKernel->pSingles->pfnNearest(source, rays, uCount, hits);
        scatter(hits, uAlone, pHits + u);
    });
}

void WatertightQueries::anyOf(const RayStream& stream, bool* pMeets) const {
    if (!bvh.vNodes.uCount) return static_cast<void>(std::fill_n(pMeets, stream.uCount, false));
    const WatertightData source = data();
    forEachPacket(stream, [&](uint32_t u, uint32_t uRays) {
        WatertightRay rays[RayStream::LANES];
        bool bMeets[RayStream::LANES];
        const WatertightMet met = pKernel->pfnAnyOfPacket(source, lanesFrom(stream, u), uRays);
        for (uint32_t i = 0; i < uRays; ++i) pMeets[u + i] = met.uMet >> i & 1;
        const uint32_t uCount = gather(stream, u, met.uAlone, rays);
        if (uCount) pKernel->pSingles->pfnAny(source, rays, uCount, bMeets);
        scatter(bMeets, met.uAlone, pMeets + u);
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
