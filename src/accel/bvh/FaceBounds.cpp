// Computes for each face the box in which the face test can accept a ray.
#include "accel/bvh/FaceBounds.h"

#include <algorithm>
#include <cmath>

#include "accel/Rounding.h"
#include "scene/Scene.h"

namespace rt {

namespace {

constexpr float DEFAULT_DISTANCE = 4.0f;  // of origins, in multiples of the scene's reach, when it is not known
constexpr float MAX_DISTANCE = 64.0f;     // from further away the boxes would be larger than small faces
constexpr float MAX_REACH = 1e12f;        // products of three coordinates stay finite

}  // namespace

FaceBounds::FaceBounds(const Scene& scene, float fFarthestOrigin) {
    for (const Velk::NMVector3f& v3 : {scene.boxScene.v3Min, scene.boxScene.v3Max}) {
        fReach = std::max({fReach, fabsf(v3.x), fabsf(v3.y), fabsf(v3.z)});
    }
    if (!(fReach <= MAX_REACH)) return;
    // Secondary rays start on faces, or slightly off them.
    const float fFarthest =
        fFarthestOrigin > 0.0f ? 1.01f * std::max(fFarthestOrigin, fReach) : DEFAULT_DISTANCE * fReach;
    fOriginLimit = std::min(fFarthest, MAX_DISTANCE * fReach);
}

// The box of the triangle (-E, -E), (1 + 2 E, -E), (-E, 1 + 2 E) in lambda and mu, which holds all hits that the face
// test may accept when its rounding is at most E, and a margin for all other rounding. docs/queries.md ("The boxes of
// the faces") derives both.
bool FaceBounds::bound(const FaceData& face, float* pMin, float* pMax) const {
    const unsigned k = face.uAxis, ku = g_modulo[k + 1], kv = g_modulo[k + 2];
    const Velk::NMVector3f& C = face.pC->v3Position;
    const double dLimit = static_cast<double>(fOriginLimit), dLargest = dLimit + static_cast<double>(fReach);
    const double lu = face.fLambdaU, lv = face.fLambdaV, mu = face.fMuU, mv = face.fMuV;
    const double dDeterminant = lu * mv - lv * mu;
    if (dDeterminant == 0.0) {
        std::fill_n(pMin, 3, -2.0f * fOriginLimit);
        std::fill_n(pMax, 3, 2.0f * fOriginLimit);
        return true;
    }
    const double dInverse = 1.0 / dDeterminant;
    const double q1u = mv * dInverse, q1v = -mu * dInverse, q2u = -lv * dInverse, q2v = lu * dInverse;
    const double qu = fabs(q1u) + fabs(q2u), qv = fabs(q1v) + fabs(q2v);
    const double a = 4 * ROUNDING_UNIT * std::max(fabs(lu) * qu + fabs(lv) * qv, fabs(mu) * qu + fabs(mv) * qv);
    const bool bNeedle = !(a <= 0.25);
    const double dCoefficients = std::max(fabs(lu) + fabs(lv), fabs(mu) + fabs(mv));
    const double E = bNeedle ? 8 * ROUNDING_UNIT * dLargest * dCoefficients : 4.0 / 3.0 * a;

    const double corners[3][2] = {{-E, -E}, {1 + 2 * E, -E}, {-E, 1 + 2 * E}};
    double dMin[3] = {INFINITY, INFINITY, INFINITY}, dMax[3] = {-INFINITY, -INFINITY, -INFINITY};
    for (const auto& corner : corners) {
        const double u = C[ku] + corner[0] * q1u + corner[1] * q2u, v = C[kv] + corner[0] * q1v + corner[1] * q2v;
        const double point[3] = {face.fNd - face.fNu * u - face.fNv * v, u, v};
        for (unsigned i = 0; i < 3; ++i) {
            dMin[i] = std::min(dMin[i], point[i]);
            dMax[i] = std::max(dMax[i], point[i]);
        }
    }
    const double dMargin = 64 * ROUNDING_UNIT * (dLargest + fabs(static_cast<double>(face.fNd)));
    for (unsigned i = 0; i < 3; ++i) {
        const unsigned uAxis = g_modulo[k + i];
        const double dLow = bNeedle ? std::max(-dLimit, dMin[i]) : dMin[i];
        const double dHigh = bNeedle ? std::min(dLimit, dMax[i]) : dMax[i];
        pMin[uAxis] = static_cast<float>(dLow - dMargin);
        pMax[uAxis] = static_cast<float>(dHigh + dMargin);
    }
    return bNeedle;
}

}  // namespace rt
