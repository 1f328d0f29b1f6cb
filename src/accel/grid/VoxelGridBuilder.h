#pragma once

#include "accel/grid/VoxelGrid.h"

/// Builds the grid of the preprocessed scene in grid.pScene, about one voxel for each face. The outcome is that of
/// testing each face against each voxel. True without memory, with some voxels left to release.
[[nodiscard]] bool buildVoxelGrid(VoxelGrid& grid);
