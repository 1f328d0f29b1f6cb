#pragma once

#include "accel/reference/VoxelGrid.h"

namespace rt {

/// Reads a grid's cache file, described in docs/caches.md, into an empty grid whose pScene is set. True when there is
/// none, or when it belongs to another scene or breaks any rule of a grid; the grid is empty then.
[[nodiscard]] bool readVoxelGrid(const char* szPath, VoxelGrid& grid);

/// Writes the cache file, whole or not at all. True on failure, which is logged.
[[nodiscard]] bool writeVoxelGrid(const char* szPath, const VoxelGrid& grid);

}  // namespace rt
