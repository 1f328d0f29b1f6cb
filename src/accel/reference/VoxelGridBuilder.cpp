// Builds a uniform grid: chooses the voxels and lists in each the faces that overlap it.
#include "accel/reference/VoxelGridBuilder.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <memory>
#include <new>

#include "accel/TriBoxIntersection.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr uint32_t FIRST_LISTINGS = 1024;
constexpr uint32_t HASH_ALIGNMENT = 32;
constexpr uint32_t FACE_STEP = 4;

// Only a box too thin on some axis for a single voxel gives more voxels than there are faces. This many are always
// allowed.
constexpr uint32_t VOXELS_GRANTED = 1u << 22;

// In such a box a few long faces overlap most of millions of voxels, and listing them takes as many tests, and up to
// twelve bytes in memory and file for each. This many tests are always allowed, and so many for each face.
constexpr double TESTS_GRANTED = 1u << 24, TESTS_PER_FACE = 64.0;

// A voxel's centre, its half-extent and a vertex relative to the centre are each rounded by half an ulp of the largest
// coordinate. This is more than their sum.
constexpr float BOUNDS_MARGIN = 8.0f * FLT_EPSILON;

// A face that overlaps a voxel.
struct Listing {
    uint32_t uVoxel;
    uint32_t uFace;
};

// The voxels along one axis: voxel i reaches from boundary i to boundary i + 1. The boundaries are running sums, not
// products: the voxels' lists depend on their last bits.
class VoxelRow {
 public:
    // True when out of memory.
    bool create(float fMin, float fSize, int32_t iVoxelCount) {
        iVoxels = iVoxelCount;
        const size_t uLast = static_cast<size_t>(iVoxels);
        pBoundaries.reset(new (std::nothrow) float[uLast + 1]);
        if (!pBoundaries) return true;
        float fBoundary = fMin;
        for (size_t u = 0; u <= uLast; ++u, fBoundary += fSize) pBoundaries[u] = fBoundary;
        fMargin = std::max(fabsf(pBoundaries[0]), fabsf(pBoundaries[uLast])) * BOUNDS_MARGIN + FLT_MIN;
        return false;
    }

    float centre(uint32_t u) const { return (pBoundaries[u] + pBoundaries[u + 1]) * 0.5f; }
    float half(uint32_t u) const { return (pBoundaries[u + 1] - pBoundaries[u]) * 0.5f; }

    // The voxels from uFirst up to uEnd that a face of these bounds can touch; all of them for NaN and infinities.
    void findRange(float fLow, float fHigh, uint32_t& uFirst, uint32_t& uEnd) const {
        const float *pLows = pBoundaries.get(), *pHighs = pLows + 1;
        uFirst = static_cast<uint32_t>(std::lower_bound(pHighs, pHighs + iVoxels, fLow - fMargin) - pHighs);
        uEnd = static_cast<uint32_t>(std::upper_bound(pLows, pLows + iVoxels, fHigh + fMargin) - pLows);
    }

 private:
    std::unique_ptr<float[]> pBoundaries;
    int32_t iVoxels = 0;
    float fMargin = 0.0f;
};

// Finds the voxels of one face after another.
class FaceLister {
 public:
    explicit FaceLister(const VoxelGrid& source) : grid(source) {}

    // True when out of memory.
    bool create() {
        bool bFailed = false;
        for (unsigned a = 0; a < 3; ++a) {
            bFailed |= rows[a].create(grid.v3Min[a], grid.v3Size[a], grid.subdivDim[a]);
        }
        return bFailed;
    }

    // How many voxels list() tests for all faces together.
    double countTests() const {
        double dTests = 0.0;
        for (const FaceData& face : grid.pScene->vFaces) {
            uint32_t uFirst[3], uEnd[3];
            findVoxels(face, uFirst, uEnd);
            dTests += double{1} * (uEnd[0] - uFirst[0]) * (uEnd[1] - uFirst[1]) * (uEnd[2] - uFirst[2]);
        }
        return dTests;
    }

    // Appends the voxels that a face overlaps, in voxel order. True when out of memory.
    bool list(uint32_t uFace, Velk::NDataVector<Listing>& listings) const {
        const FaceData& face = grid.pScene->vFaces[uFace];
        const NMVector3f A = face.pA->v3Position, B = face.pB->v3Position, C = face.pC->v3Position;
        uint32_t uFirst[3], uEnd[3];
        findVoxels(face, uFirst, uEnd);
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
    // The voxels from uFirst up to uEnd, on each axis, that a face can touch.
    void findVoxels(const FaceData& face, uint32_t (&uFirst)[3], uint32_t (&uEnd)[3]) const {
        const NMVector3f &A = face.pA->v3Position, &B = face.pB->v3Position, &C = face.pC->v3Position;
        for (unsigned a = 0; a < 3; ++a) {
            rows[a].findRange(std::min({A[a], B[a], C[a]}), std::max({A[a], B[a], C[a]}), uFirst[a], uEnd[a]);
        }
    }

    const VoxelGrid& grid;
    VoxelRow rows[3];
};

// Turns listings in face order into one record for each voxel that has any. True when out of memory.
bool sortListings(const Velk::NDataVector<Listing>& listings, VoxelGrid& grid) {
    Velk::NAlignedArray<uint32_t>& hashes = grid.hashes;
    for (uint32_t& uCount : hashes) uCount = 0;
    for (const Listing& listing : listings) ++hashes[listing.uVoxel];
    const auto uCells =
        static_cast<uint32_t>(std::count_if(hashes.begin(), hashes.end(), [](uint32_t u) { return u; }));
    if (grid.createCells(uCells)) return true;
    uint32_t uNext = 0;
    for (uint32_t& uHash : hashes) {
        const uint32_t uCount = uHash;
        uHash = NO_INDEX;
        if (!uCount) continue;
        uHash = uNext++;
        if (grid.cells[uHash].create(uCount, FACE_STEP)) return true;
    }
    for (const Listing& listing : listings) {
        if (grid.cells[hashes[listing.uVoxel]].PushBack(listing.uFace)) return true;
    }
    return false;
}

void sizeVoxels(VoxelGrid& grid) {
    const NMVector3f S = grid.v3Max - grid.v3Min;
    for (unsigned a = 0; a < 3; ++a) grid.v3Size[a] = S[a] / static_cast<float>(grid.subdivDim[a]);
}

void halveLongestAxis(VoxelGrid& grid) {
    *std::max_element(grid.subdivDim, grid.subdivDim + 3) /= 2;
}

// About one voxel for each face, as close to cubes as the box allows. True when it is too thin on an axis for one.
bool chooseResolution(VoxelGrid& grid) {
    grid.v3Min = grid.pScene->boxScene.v3Min;
    grid.v3Max = grid.pScene->boxScene.v3Max;
    const uint32_t uFaces = grid.pScene->vFaces.uCount;
    const NMVector3f S = grid.v3Max - grid.v3Min;
    // The double function, rounded once: the single-precision one differs in the last bit between C libraries.
    const float k = static_cast<float>(cbrt(static_cast<double>(static_cast<float>(uFaces) / (S.x * S.y * S.z))));
    bool bThin = false;
    for (unsigned a = 0; a < 3; ++a) {
        const int32_t iVoxels = Velk::truncateToInt(S[a] * k);
        bThin = bThin || iVoxels < 1;
        grid.subdivDim[a] = std::max(1, iVoxels);
    }
    const double dMost = std::min(std::max(double{VOXELS_GRANTED}, 2.0 * uFaces), double{INT32_MAX});
    while (double{1} * grid.subdivDim[0] * grid.subdivDim[1] * grid.subdivDim[2] > dMost) {
        halveLongestAxis(grid);
    }
    sizeVoxels(grid);
    return bThin;
}

// Prepares the rows of voxels, and makes those of a thin box fewer until listing is affordable. True when out of
// memory.
bool makeRows(VoxelGrid& grid, bool bThin, FaceLister& lister) {
    if (lister.create()) return true;
    const double dMost = std::max(TESTS_GRANTED, TESTS_PER_FACE * grid.pScene->vFaces.uCount);
    while (bThin && lister.countTests() > dMost) {
        halveLongestAxis(grid);
        sizeVoxels(grid);
        if (lister.create()) return true;
    }
    return false;
}

}  // namespace

bool buildVoxelGrid(VoxelGrid& grid) {
    const bool bThin = chooseResolution(grid);
    FaceLister lister(grid);
    if (makeRows(grid, bThin, lister)) return true;
    const int32_t iVoxels = grid.subdivDim[0] * grid.subdivDim[1] * grid.subdivDim[2];
    if (grid.hashes.allocate(static_cast<uint32_t>(iVoxels), HASH_ALIGNMENT)) return true;
    Velk::NDataVector<Listing> listings;
    bool bFailed = listings.create(FIRST_LISTINGS, FIRST_LISTINGS);
    for (uint32_t u = 0; u < grid.pScene->vFaces.uCount && !bFailed; ++u) bFailed = lister.list(u, listings);
    bFailed = bFailed || sortListings(listings, grid);
    return bFailed;
}

}  // namespace rt
