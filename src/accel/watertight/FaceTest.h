#pragma once

// The definition of what a ray meets, for one ray and one face. Everything else in this room only finds the same
// sooner.
//
// A ray is turned into an axis: the coordinates of a corner are taken relative to the origin, permuted so that the
// direction's largest component is the third, and sheared so that the ray is that axis. A corner's sheared coordinates
// are floats that depend on ray and corner alone, so faces that share a corner agree on where it is. From there on
// nothing is rounded: which side of an edge the ray passes is the sign of an exact number.
//
// All is inlined by force, since files for several instruction sets include it.

#include <cstdint>

#include "accel/watertight/WatertightRay.h"

namespace rt {

/// A face's corners as the tests read them.
struct WatertightFace {
    float fAt[3][3];  // by axis and corner
    uint32_t uFace;
};
static_assert(sizeof(WatertightFace) == 40, "a face test reads 40 bytes");

/// A ray, turned so that it is the third of its own axes.
struct ShearedRay {
    static constexpr float FARTHEST_ORIGIN = 0x1p126f;              // sheared coordinates stay finite
    static constexpr float SHORTEST = 0x1p-16f, LONGEST = 0x1p16f;  // largest component of a direction as it comes

    unsigned uAxis[3];  // the last is that of the direction's largest component
    float fOrigin[3];
    float fDir[3];
    float fShear[3];      // the direction for each unit of the third axis
    float fNear, fFar;    // in lengths of fDir
    double dScale = 1.0;  // a power of two: what a length of fDir is in lengths of the direction that came

    [[gnu::always_inline]] void turn(unsigned uLargest) {
        uAxis[2] = uLargest;
        uAxis[0] = uLargest == 2 ? 0 : uLargest + 1;
        uAxis[1] = uLargest == 0 ? 2 : uLargest - 1;
    }

    /// True when the ray meets nothing whatever there is: it is not a number or infinite, its origin is as good as
    /// infinite, it has no direction or no length.
    [[gnu::always_inline]] bool prepare(const WatertightRay& ray) {
        float fSize[3];
        for (unsigned a = 0; a < 3; ++a) {
            fSize[a] = __builtin_fabsf(ray.fDir[a]);
            if (!(__builtin_fabsf(ray.fOrigin[a]) <= FARTHEST_ORIGIN) || !(fSize[a] < __builtin_huge_valf()))
                return true;
        }
        if (!(ray.fNear <= ray.fFar)) return true;
        turn(fSize[0] >= fSize[1] ? (fSize[0] >= fSize[2] ? 0 : 2) : (fSize[1] >= fSize[2] ? 1 : 2));
        const float fLargest = fSize[uAxis[2]];
        if (fLargest == 0.0f) return true;
        dScale = 1.0;
        if (!(fLargest >= SHORTEST && fLargest <= LONGEST)) {
            int iExponent;
            __builtin_frexp(fLargest, &iExponent);
            dScale = __builtin_ldexp(1.0, -iExponent);
        }
        for (unsigned a = 0; a < 3; ++a) {
            fOrigin[a] = ray.fOrigin[a];
            fDir[a] = static_cast<float>(ray.fDir[a] * dScale);
        }
        for (unsigned a = 0; a < 3; ++a) fShear[a] = fDir[a] / fDir[uAxis[2]];
        fNear = static_cast<float>(ray.fNear / dScale);
        fFar = static_cast<float>(ray.fFar / dScale);
        return false;
    }
};

/// The side on which the ray passes the edge from a to b: 1, -1, or 0 when both are the same point. The sign of
/// ax by - ay bx. Rounding keeps order, so products that differ when rounded to float are ordered as the exact ones,
/// and in double a product of two floats is exact. A ray through the edge is taken for one at (e, e^2), e > 0 as small
/// as may be, which meets no edge of any face.
[[gnu::always_inline]] inline int sideOfEdge(float ax, float ay, float bx, float by) {
    const float fPlus = ax * by, fMinus = ay * bx;
    if (fPlus != fMinus) return fPlus > fMinus ? 1 : -1;
    const double dPlus = static_cast<double>(ax) * by, dMinus = static_cast<double>(ay) * bx;
    if (dPlus != dMinus) return dPlus > dMinus ? 1 : -1;
    if (ay != by) return ay > by ? 1 : -1;
    return (bx > ax) - (bx < ax);
}

/// The hit of a ray that passes inside a face, whose corners are given by their sheared coordinates. False when it lies
/// beyond the ray's ends. Sets fT, in lengths of ray.fDir, fU, fV and bFront.
[[gnu::always_inline]] inline bool meetsWithin(const ShearedRay& ray, const float* x, const float* y, const float* z,
                                               bool bPlus, WatertightHit& hit) {
    // Weights of the corners, wrong by 2^-53 of themselves and all of one sign, so that t lies within the corners'.
    const auto cross = [&](unsigned c, unsigned d) __attribute__((always_inline)) {
        return static_cast<double>(x[c]) * y[d] - static_cast<double>(y[c]) * x[d];
    };
    const float fDir = ray.fDir[ray.uAxis[2]];
    const double dA = cross(1, 2), dB = cross(2, 0), dC = cross(0, 1), dArea = dA + dB + dC;
    const double dFactor = 1.0 / (dArea * fDir);
    hit.fT = static_cast<float>((dA * z[0] + dB * z[1] + dC * z[2]) * dFactor);
    hit.fU = static_cast<float>(dA * dFactor * fDir);
    hit.fV = static_cast<float>(dB * dFactor * fDir);
    hit.bFront = bPlus != (fDir > 0.0f);
    return hit.fT >= ray.fNear && hit.fT <= ray.fFar;
}

/// The face test: true when the ray meets the face within its ends, and then sets the hit but for the face's index.
/// Requires a prepared ray and corners within 2^60.
[[gnu::always_inline]] inline bool meetsFace(const ShearedRay& ray, const WatertightFace& face, WatertightHit& hit) {
    const unsigned i = ray.uAxis[0], j = ray.uAxis[1], k = ray.uAxis[2];
    float x[3], y[3], z[3];
    for (unsigned c = 0; c < 3; ++c) {
        z[c] = face.fAt[k][c] - ray.fOrigin[k];
        x[c] = (face.fAt[i][c] - ray.fOrigin[i]) - ray.fShear[i] * z[c];
        y[c] = (face.fAt[j][c] - ray.fOrigin[j]) - ray.fShear[j] * z[c];
    }
    const int iSide = sideOfEdge(x[0], y[0], x[1], y[1]);
    if (iSide == 0 || sideOfEdge(x[1], y[1], x[2], y[2]) != iSide || sideOfEdge(x[2], y[2], x[0], y[0]) != iSide) {
        return false;
    }
    return meetsWithin(ray, x, y, z, iSide > 0, hit);
}

/// Of two hits on a ray, true when the first is nearer; at the same t the lower face counts as nearer.
[[gnu::always_inline]] inline bool isNearer(float fT, uint32_t uFace, float fOtherT, uint32_t uOtherFace) {
    return fT < fOtherT || (fT == fOtherT && uFace < uOtherFace);
}

}  // namespace rt
