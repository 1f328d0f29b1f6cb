#pragma once

#include "accel/reference/VoxelGrid.h"

namespace rt {

/// Builds the grid of the preprocessed scene in grid.pScene, about one voxel for each face. The result is that of
/// testing each face against each voxel. True when out of memory; the caller must release the voxels then, too.
[[nodiscard]] bool buildVoxelGrid(VoxelGrid& grid);

}  // namespace rt
