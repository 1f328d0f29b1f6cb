#pragma once

#include <cassert>
#include <cstdint>

#include "base/Vectors.h"

namespace rt {

/// Rays for the stream queries of RayQueries, component by component, so that several are traced at once. Rays that are
/// close in space should be close in the stream. Room for CAPACITY rays and a packet of padding, about 30 kB.
struct RayStream {
    static constexpr uint32_t CAPACITY = 1024;
    static constexpr uint32_t LANES = 64;  // rays of one packet
    static constexpr uint32_t ROOM = CAPACITY + LANES;

    alignas(64) float fOrigin[3][ROOM];
    alignas(64) float fDir[3][ROOM];
    alignas(64) float fMaxDist[ROOM];
    uint32_t uCount = 0;

    /// Requires uCount < CAPACITY.
    void add(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fDistance) {
        assert(uCount < CAPACITY);
        for (unsigned a = 0; a < 3; ++a) {
            fOrigin[a][uCount] = v3Origin[a];
            fDir[a][uCount] = v3Dir[a];
        }
        fMaxDist[uCount++] = fDistance;
    }

    /// Makes all directions unit vectors, several at once.
    void normalizeDirs() {
        for (uint32_t u = 0; u < uCount; ++u) {
            const Velk::NMVector3f D = normalize(dir(u));
            for (unsigned a = 0; a < 3; ++a) fDir[a][u] = D[a];
        }
    }

    Velk::NMVector3f origin(uint32_t u) const { return {fOrigin[0][u], fOrigin[1][u], fOrigin[2][u]}; }
    Velk::NMVector3f dir(uint32_t u) const { return {fDir[0][u], fDir[1][u], fDir[2][u]}; }
};

}  // namespace rt
