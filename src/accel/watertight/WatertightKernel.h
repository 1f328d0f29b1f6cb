#pragma once

#include <cstddef>
#include <cstdint>

#include "accel/watertight/WatertightBvh.h"
#include "accel/watertight/WatertightRay.h"

namespace rt {

/// What a kernel needs to know of a hierarchy: plain pointers.
struct WatertightData {
    const WatertightNode* pNodes;
    const WatertightFace* pFaces;
    float fReach[4];  // largest coordinate on each axis, and a spare
};

/// Pointers to the components of a packet's rays, each with 64 lanes readable.
struct WatertightLanes {
    const float* pOrigin[3];
    const float* pDir[3];
    const float* pFar;
};

/// Takes what is met.
struct WatertightTaker {
    void (*pfnTake)(void* pOwner, const WatertightHit& hit);
    void* pOwner;
};

/// The queries of rays that need not have anything in common.
struct WatertightSingles {
    /// The nearest hit of each ray.
    void (*pfnNearest)(const WatertightData& data, const WatertightRay* pRays, size_t uRays, WatertightHit* pHits);

    /// Whether each ray meets anything.
    void (*pfnAny)(const WatertightData& data, const WatertightRay* pRays, size_t uRays, bool* pMeets);

    /// Hands over each face that a ray meets, in no order, with t in lengths of ShearedRay::fDir.
    void (*pfnAll)(const WatertightData& data, const WatertightRay& ray, const WatertightTaker& taker);
};

/// Rays of a packet, bit i for ray i.
struct WatertightMet {
    uint64_t uMet;    // that meet something
    uint64_t uAlone;  // of which nothing is known
};

/// The queries for one instruction set, which all answer alike.
struct WatertightKernel {
    const char* szName;
    const WatertightSingles* pSingles;

    /// The nearest hit of each of up to 64 rays that begin at t = 0, in pHits, but for those that are better asked
    /// alone. Returns these, bit i for ray i.
    uint64_t (*pfnNearestOfPacket)(const WatertightData& data, const WatertightLanes& rays, uint32_t uRays,
                                   WatertightHit* pHits);

    /// Which of them meet anything, and which are better asked alone.
    WatertightMet (*pfnAnyOfPacket)(const WatertightData& data, const WatertightLanes& rays, uint32_t uRays);
};

/// The kernel for this machine's best instruction set.
const WatertightKernel& bestWatertightKernel();

/// The kernel of the given name ("generic", "sse2", "avx2", "avx512", "neon"), null when this machine or build has
/// none.
const WatertightKernel* findWatertightKernel(const char* szName);

}  // namespace rt
