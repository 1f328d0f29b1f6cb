#pragma once

#include <cstdint>

#include "base/NAlignedArray.h"
#include "base/NDataVector.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"

class Scene;

/// The voxels of a uniform grid and the faces that overlap each, as the builder makes them and the cache file stores
/// them. A plain record: the owner must call releaseVoxels().
struct VoxelGrid {
    using FaceIndices = Velk::NDataVector<unsigned int>;  // ascending

    const Scene* pScene = nullptr;
    Velk::NDataVector<FaceIndices> cells;  // one record for each voxel that has faces, in voxel order
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

    void releaseVoxels() {
        for (FaceIndices& record : cells) record.Release();
        cells.Release();
        hashes.Release();
    }
};
