#pragma once

// The queries of packets of a kernel, as templates over the vector type F of rays and B of boxes. Has internal linkage,
// like everything that is compiled for several instruction sets.

#include "accel/watertight/PacketSearch.h"

namespace rt {

namespace {

template <typename F, typename B>
struct WatertightKernelOf {
    static uint64_t nearestOfPacket(const WatertightData& data, const WatertightLanes& source, uint32_t uRays,
                                    WatertightHit* pHits) {
        PacketLanes<F> lanes(source);
        const uint64_t uAlone = search<true>(data, lanes, uRays);
        for (uint32_t u = 0; u < uRays; ++u) {
            const bool bHit = lanes.lanesWithHit() >> u & 1;
            pHits[u] = bHit ? lanes.hit(u) : WatertightHit{0, 0, 0, WatertightHit::NO_FACE, 0};
        }
        return uAlone;
    }

    static WatertightMet anyOfPacket(const WatertightData& data, const WatertightLanes& source, uint32_t uRays) {
        PacketLanes<F> lanes(source);
        const uint64_t uAlone = search<false>(data, lanes, uRays);
        return {lanes.lanesWithHit(), uAlone};
    }

    static constexpr WatertightKernel make(const char* szName, const WatertightSingles* pSingles) {
        return {szName, pSingles, nearestOfPacket, anyOfPacket};
    }

 private:
    static constexpr int FEW = 3;  // lanes that are better off alone

    // Searches for the rays that travel together. Returns those that do not.
    template <bool NEAREST>
    static uint64_t search(const WatertightData& data, PacketLanes<F>& lanes, uint32_t uRays) {
        uint64_t uClasses[6];
        const uint64_t uAll = uRays == 64 ? ~uint64_t{0} : (uint64_t{1} << uRays) - 1;
        uint64_t uAlone = uAll & ~lanes.sort(uAll, uClasses);
        for (unsigned i = 0; i < 6; ++i) {
            if (!uClasses[i]) continue;
            if (__builtin_popcountll(uClasses[i]) <= FEW) {
                uAlone |= uClasses[i];
                continue;
            }
            lanes.turn(i / 2, i % 2 != 0);
            PacketSearch<F, B>(lanes, data).template search<NEAREST>(uClasses[i]);
        }
        return uAlone;
    }
};

}  // namespace

}  // namespace rt
