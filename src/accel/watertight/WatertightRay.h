#pragma once

#include <cstdint>

namespace rt {

/// A ray of any size: the points origin + t direction with t between fNear and fFar. The direction need not be a unit
/// vector; t counts its lengths.
struct WatertightRay {
    float fOrigin[3];
    float fDir[3];
    float fNear;
    float fFar;
};
static_assert(sizeof(WatertightRay) == 32, "arrays of rays count on eight floats");

/// Where a ray meets a face: at fU times corner A plus fV times corner B plus the rest times corner C.
struct WatertightHit {
    static constexpr uint32_t NO_FACE = 0xFFFFFFFFu;

    float fT;
    float fU;
    float fV;
    uint32_t uFace;   // NO_FACE: none is met, and all else is 0
    uint32_t bFront;  // 1 when A, B, C run counterclockwise, seen from where the ray comes from
};
static_assert(sizeof(WatertightHit) == 20, "arrays of hits count on five words");

}  // namespace rt
