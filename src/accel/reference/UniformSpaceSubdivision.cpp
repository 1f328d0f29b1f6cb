// The life of a uniform grid: building or loading, finding the strays, release.
#include "accel/reference/UniformSpaceSubdivision.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <new>

#include "accel/CacheFile.h"
#include "accel/Rounding.h"
#include "accel/reference/VoxelGridBuilder.h"
#include "accel/reference/VoxelGridCache.h"
#include "base/InputReport.h"
#include "base/Progress.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr char CACHE_FILE[] = "uss.tmp";
constexpr uint32_t FIRST_STRAYS = 64;

// The largest distance from the face, on any axis, of a point that Scene::testTriangle accepts. Infinite for a needle,
// where there is no bound.
//
// The test computes lambda and mu, the weights of A and B, from coordinates relative to C, and accepts a point when
// both are at least 0 and their sum is at most 1. Its coefficients are stored, so take them as exact: q1 and q2, the
// columns of their inverse, stand for A - C and B - C. Rounding changes each weight by at most a times the larger one,
// where a is four units times the sum of |coefficient| |q|. With a <= 1/4 the weights of an accepted point are at most
// 4/3, so the exact ones lie in the triangle (-E, -E), (1 + 2E, -E), (-E, 1 + 2E) for E = 4/3 a and a few units.
// Nothing lies further from the face than the corners of that triangle lie from the vertices.
double findOvershoot(const FaceData& face) {
    const unsigned k = face.uAxis, ku = g_modulo[k + 1], kv = g_modulo[k + 2];
    const double lu = face.fLambdaU, lv = face.fLambdaV, mu = face.fMuU, mv = face.fMuV;
    const double dInverse = 1.0 / (lu * mv - lv * mu);
    const double q1u = mv * dInverse, q1v = -mu * dInverse, q2u = -lv * dInverse, q2v = lu * dInverse;
    const double qu = fabs(q1u) + fabs(q2u), qv = fabs(q1v) + fabs(q2v);
    const double a = 4 * ROUNDING_UNIT * std::max(fabs(lu) * qu + fabs(lv) * qv, fabs(mu) * qu + fabs(mv) * qv);
    if (!(a <= 0.25)) return INFINITY;
    const double E = 4.0 / 3.0 * a + 4 * ROUNDING_UNIT;
    const NMVector3f &A = face.pA->v3Position, &B = face.pB->v3Position, &C = face.pC->v3Position;
    double dFarthest = 0.0;
    const auto measure = [&](double dLambda, double dMu, const NMVector3f& v3Vertex) {
        const double u = C[ku] + dLambda * q1u + dMu * q2u, v = C[kv] + dLambda * q1v + dMu * q2v;
        const double w = face.fNd - face.fNu * u - face.fNv * v;
        dFarthest = std::max({dFarthest, fabs(u - v3Vertex[ku]), fabs(v - v3Vertex[kv]), fabs(w - v3Vertex[k])});
    };
    measure(1 + 2 * E, -E, A);
    measure(-E, 1 + 2 * E, B);
    measure(-E, -E, C);
    return dFarthest;
}

}  // namespace

bool UniformSpaceSubdivision::createSubdivision(const Scene* pNewScene, bool bResetCache) {
    releaseSubdivision();
    pScene = pNewScene;
    Velk::printProgress("Loading uss from file... ");
    const bool bLoaded = !bResetCache && loadSubdivision(CACHE_FILE);
    Velk::printProgress(bResetCache ? "RESET\n" : bLoaded ? "OK\n" : "FAILED\n");
    if (bLoaded) {
        warnIfOutdated(CACHE_FILE, *pScene);  // behind the line, which must stay in one piece
        return false;
    }
    Velk::printProgress("Building uss\n");
    if (buildVoxelGrid(*this) || collectStrays()) {
        const uint64_t uVoxels = uint64_t{1} * static_cast<uint32_t>(subdivDim[0]) *
                                 static_cast<uint32_t>(subdivDim[1]) * static_cast<uint32_t>(subdivDim[2]);
        Velk::memoryError(uVoxels * sizeof(uint32_t), "a grid of %d x %d x %d voxels, at least", subdivDim[0],
                          subdivDim[1], subdivDim[2]);
        releaseSubdivision();
        return true;
    }
    saveSubdivision(CACHE_FILE);
    return false;
}

void UniformSpaceSubdivision::releaseSubdivision() {
    releaseVoxels();
    strays.Release();
}

bool UniformSpaceSubdivision::loadSubdivision(const char* szPath) {
    if (readVoxelGrid(szPath, *this)) return false;
    if (!collectStrays()) return true;
    releaseSubdivision();
    return false;
}

int UniformSpaceSubdivision::saveSubdivision(const char* szPath) const {
    return writeVoxelGrid(szPath, *this) ? EOF : 0;
}

float UniformSpaceSubdivision::largestCoordinate() const {
    float f = 0.0f;
    for (unsigned a = 0; a < 3; ++a) f = std::max({f, fabsf(v3Min[a]), fabsf(v3Max[a])});
    return f;
}

// A needle can be hit so far away that the ray crosses other voxels than those that list it. And a face in the plane
// between two voxels, or on the far side of a box without a margin, can fail the overlap test with both by a rounding.
// True when out of memory.
bool UniformSpaceSubdivision::collectStrays() {
    const Velk::NAlignedArray<FaceData>& faces = pScene->vFaces;
    const std::unique_ptr<bool[]> pListed(new (std::nothrow) bool[faces.uCount]());
    if (!pListed || strays.create(FIRST_STRAYS, FIRST_STRAYS)) return true;
    for (uint32_t u = 0; u < uCells; ++u) {
        const FaceIndices& record = cells[u];
        for (const unsigned int uFace : record) pListed[uFace] = true;
    }
    const double dLimit = STRAY_ROUNDINGS * ROUNDING_UNIT * double{largestCoordinate()};
    for (uint32_t u = 0; u < faces.uCount; ++u) {
        if (!faces[u].isSound() || (pListed[u] && findOvershoot(faces[u]) <= dLimit)) continue;
        if (strays.uSize == strays.uCapacity) strays.uGrowBy = strays.uCapacity;
        if (strays.PushBack(u)) return true;
    }
    return false;
}

}  // namespace rt
