#pragma once

#include <cstdint>
#include <memory>

#include "base/NArrays.h"
#include "base/NewArray.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"

namespace rt {

class Scene;

/// The voxels of a uniform grid and the faces that overlap each, as the builder makes them and the cache file stores
/// them.
struct VoxelGrid {
    using FaceIndices = Velk::NDataVector<unsigned int>;  // ascending

    const Scene* pScene = nullptr;
    std::unique_ptr<FaceIndices[]> cells;  // one record for each voxel that has faces, in voxel order
    uint32_t uCells = 0;                   // how many
    Velk::NAlignedArray<uint32_t> hashes;  // for each voxel its index in cells, NO_INDEX when it has no faces
    Velk::NMVector3f v3Min{};
    Velk::NMVector3f v3Max{};
    Velk::NMVector3f v3Size{};  // of one voxel
    int32_t subdivDim[3] = {};  // voxels along each axis, at least one

    /// Index of a voxel in hashes: x varies fastest, then z, then y.
    uint32_t voxelIndex(int32_t x, int32_t y, int32_t z) const {
        const auto uDimX = static_cast<uint32_t>(subdivDim[0]), uDimZ = static_cast<uint32_t>(subdivDim[2]);
        return (static_cast<uint32_t>(y) * uDimZ + static_cast<uint32_t>(z)) * uDimX + static_cast<uint32_t>(x);
    }

    /// Makes room for n records, which are empty. True when out of memory.
    bool createCells(uint32_t n) {
        cells.reset(Velk::newArray<FaceIndices>(n));
        uCells = cells ? n : 0;
        return !cells;
    }

    void releaseVoxels() {
        cells.reset();
        uCells = 0;
        hashes.Release();
    }
};

}  // namespace rt
