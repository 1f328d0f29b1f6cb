#include "accel/grid/UniformSpaceSubdivision.h"

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <vector>

#include "accel/TriBoxIntersection.h"
#include "base/NLogger.h"
#include "scene/Scene.h"

using Velk::NMVector3f;

namespace {

constexpr char CACHE_FILE[] = "uss.tmp";
constexpr uint32_t FIRST_LISTINGS = 1024;
constexpr uint32_t HASH_ALIGNMENT = 32;
constexpr uint32_t CELL_STEP = 10;
constexpr uint32_t FACE_STEP = 4;

// Only a box with an axis that is too thin for a single voxel can ask for more voxels than there are faces. This many
// it gets in any case.
constexpr uint32_t VOXELS_GRANTED = 1u << 22;

// Rounding of a voxel's centre and half-extent and of a vertex relative to it, each half a unit in the last place of
// the largest coordinate, with some to spare.
constexpr float BOUNDS_MARGIN = 8.0f * FLT_EPSILON;

// A face that overlaps a voxel.
struct Listing {
    uint32_t uVoxel;
    uint32_t uFace;
};

// The voxels along one axis: voxel i reaches from boundary i to boundary i + 1. The boundaries are running sums, not
// products, and what the voxels list depends on their last bits.
class VoxelRow {
 public:
    VoxelRow(float fMin, float fSize, int32_t iVoxels) {
        vBoundaries.reserve(static_cast<size_t>(iVoxels) + 1);
        float fBoundary = fMin;
        for (int32_t i = 0; i <= iVoxels; ++i, fBoundary += fSize) vBoundaries.push_back(fBoundary);
        fMargin = std::max(fabsf(vBoundaries.front()), fabsf(vBoundaries.back())) * BOUNDS_MARGIN + FLT_MIN;
    }

    float centre(uint32_t u) const { return (vBoundaries[u] + vBoundaries[u + 1]) * 0.5f; }
    float half(uint32_t u) const { return (vBoundaries[u + 1] - vBoundaries[u]) * 0.5f; }

    // The voxels from uFirst up to uEnd that a face of these bounds can touch; all of them when they cannot be told
    // because a number is not finite.
    void findRange(float fLow, float fHigh, uint32_t& uFirst, uint32_t& uEnd) const {
        const auto lows = vBoundaries.begin(), highs = lows + 1;
        const auto uVoxels = vBoundaries.end() - highs;
        uFirst = static_cast<uint32_t>(std::lower_bound(highs, highs + uVoxels, fLow - fMargin) - highs);
        uEnd = static_cast<uint32_t>(std::upper_bound(lows, lows + uVoxels, fHigh + fMargin) - lows);
    }

 private:
    std::vector<float> vBoundaries;
    float fMargin;
};

// Finds the voxels of one face after another.
class FaceLister {
 public:
    explicit FaceLister(const UniformSpaceSubdivision& source)
        : grid(source),
          rows{{source.v3Min.x, source.v3Size.x, source.subdivDim[0]},
               {source.v3Min.y, source.v3Size.y, source.subdivDim[1]},
               {source.v3Min.z, source.v3Size.z, source.subdivDim[2]}} {}

    // Appends the voxels that a face overlaps, in voxel order. True without memory.
    bool list(uint32_t uFace, Velk::NDataVector<Listing>& listings) const {
        const FaceData& face = grid.pScene->vFaces[uFace];
        const NMVector3f A = face.pA->v3Position, B = face.pB->v3Position, C = face.pC->v3Position;
        uint32_t uFirst[3], uEnd[3];
        for (unsigned a = 0; a < 3; ++a) {
            rows[a].findRange(std::min({A[a], B[a], C[a]}), std::max({A[a], B[a], C[a]}), uFirst[a], uEnd[a]);
        }
        const auto uDimX = static_cast<uint32_t>(grid.subdivDim[0]), uDimZ = static_cast<uint32_t>(grid.subdivDim[2]);
        NMVector3f v3Centre, v3Half;
        for (uint32_t y = uFirst[1]; y < uEnd[1]; ++y) {
            v3Centre.y = rows[1].centre(y);
            v3Half.y = rows[1].half(y);
            for (uint32_t z = uFirst[2]; z < uEnd[2]; ++z) {
                v3Centre.z = rows[2].centre(z);
                v3Half.z = rows[2].half(z);
                for (uint32_t x = uFirst[0]; x < uEnd[0]; ++x) {
                    v3Centre.x = rows[0].centre(x);
                    v3Half.x = rows[0].half(x);
                    if (!TriBoxIntersection(v3Centre, v3Half, A, B, C)) continue;
                    if (listings.uSize == listings.uCapacity) listings.uGrowBy = listings.uCapacity;
                    if (listings.PushBack({(y * uDimZ + z) * uDimX + x, uFace})) return true;
                }
            }
        }
        return false;
    }

 private:
    const UniformSpaceSubdivision& grid;
    VoxelRow rows[3];
};

// Turns listings in face order into one record for each voxel that has any. True without memory.
bool sortListings(const Velk::NDataVector<Listing>& listings, UniformSpaceSubdivision& grid) {
    Velk::NAlignedArray<uint32_t>& hashes = grid.hashes;
    for (uint32_t& uCount : hashes) uCount = 0;
    for (const Listing& listing : listings) ++hashes[listing.uVoxel];
    const auto uCells =
        static_cast<uint32_t>(std::count_if(hashes.begin(), hashes.end(), [](uint32_t u) { return u; }));
    if (grid.cells.create(std::max(4u, uCells), CELL_STEP)) return true;
    for (uint32_t& uHash : hashes) {
        const uint32_t uCount = uHash;
        uHash = NO_INDEX;
        if (!uCount) continue;
        uHash = grid.cells.uSize++;
        if (grid.cells[uHash].create(uCount, FACE_STEP)) return true;
    }
    for (const Listing& listing : listings) {
        if (grid.cells[hashes[listing.uVoxel]].PushBack(listing.uFace)) return true;
    }
    return false;
}

}  // namespace

bool UniformSpaceSubdivision::createSubdivision(const Scene* pNewScene, bool bResetCache) {
    releaseSubdivision();
    pScene = pNewScene;
    printf("Loading uss from file... ");
    const bool bLoaded = !bResetCache && loadSubdivision(CACHE_FILE);
    printf(bResetCache ? "RESET\n" : bLoaded ? "OK\n" : "FAILED\n");
    if (!bLoaded) {
        printf("Building uss\n");
        chooseResolution();
    }
    if ((!bLoaded && fill()) || collectStrays()) {
        ReportError("Not enough memory for the grid");
        releaseSubdivision();
        return true;
    }
    if (!bLoaded) saveSubdivision(CACHE_FILE);
    return false;
}

void UniformSpaceSubdivision::releaseSubdivision() {
    for (FaceIndices& record : cells) record.Release();
    cells.Release();
    hashes.Release();
    strays.Release();
}

// About one voxel for each face, as close to cubes as the box allows.
void UniformSpaceSubdivision::chooseResolution() {
    v3Min = pScene->boxScene.v3Min;
    v3Max = pScene->boxScene.v3Max;
    const uint32_t uFaces = pScene->vFaces.uCount;
    const NMVector3f S = v3Max - v3Min;
    // The double function, rounded once: the single-precision one differs in the last bit between C libraries.
    const float k = static_cast<float>(cbrt(static_cast<double>(static_cast<float>(uFaces) / (S.x * S.y * S.z))));
    for (unsigned a = 0; a < 3; ++a) subdivDim[a] = std::max(1, Velk::truncateToInt(S[a] * k));

    const double dMost = std::min(std::max(double{VOXELS_GRANTED}, 2.0 * uFaces), double{INT32_MAX});
    while (double{1} * subdivDim[0] * subdivDim[1] * subdivDim[2] > dMost) {
        *std::max_element(subdivDim, subdivDim + 3) /= 2;
    }
    for (unsigned a = 0; a < 3; ++a) v3Size[a] = S[a] / static_cast<float>(subdivDim[a]);
}

// Gives every voxel the faces that overlap it. The outcome is that of testing each face against each voxel; only
// voxels near enough to the face's bounds are tested. True without memory.
bool UniformSpaceSubdivision::fill() {
    const int32_t iVoxels = subdivDim[0] * subdivDim[1] * subdivDim[2];
    if (hashes.allocate(static_cast<uint32_t>(iVoxels), HASH_ALIGNMENT)) return true;
    const FaceLister lister(*this);
    Velk::NDataVector<Listing> listings;
    bool bFailed = listings.create(FIRST_LISTINGS, FIRST_LISTINGS);
    for (uint32_t u = 0; u < pScene->vFaces.uCount && !bFailed; ++u) bFailed = lister.list(u, listings);
    bFailed = bFailed || sortListings(listings, *this);
    listings.Release();
    return bFailed;
}

// A face in the plane between two voxels, or on the far side of a box without a margin, can fail the overlap test of
// both by a rounded bit. The queries test such faces for every ray. True without memory.
bool UniformSpaceSubdivision::collectStrays() {
    std::vector<bool> vListed(pScene->vFaces.uCount, false);
    for (const FaceIndices& record : cells) {
        for (const unsigned int uFace : record) vListed[uFace] = true;
    }
    strays.uGrowBy = FIRST_LISTINGS;
    for (uint32_t u = 0; u < pScene->vFaces.uCount; ++u) {
        if (!vListed[u] && pScene->vFaces[u].isSound() && strays.PushBack(u)) return true;
    }
    return false;
}
