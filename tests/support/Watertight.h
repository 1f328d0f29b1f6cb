#pragma once

#include <cstdint>
#include <vector>

#include "accel/watertight/FaceTest.h"
#include "accel/watertight/WatertightQueries.h"
#include "support/Meshes.h"

using namespace rt;

/// Builds the hierarchy of a mesh. True on failure.
[[nodiscard]] bool buildBoxes(WatertightQueries& queries, const Mesh& mesh, unsigned uThreads = 1);

/// Surfaces of balls and of tetrahedra with corners in common: they cross, touch and cover each other, fold along edges
/// and have faces of no area or nearly none, in scales from the smallest to the largest.
Mesh makeClosed(Random& random, uint32_t uKind);

/// A ray from anywhere to a corner, an edge or a face, or along one.
WatertightRay aimed(Random& random, const Mesh& mesh);

/// The corners of a face as the tests of one face read them.
WatertightFace cornersOf(const Mesh& mesh, uint32_t uFace);

/// What a search over all faces meets, the nearest first.
std::vector<WatertightHit> meetAll(const Mesh& mesh, const WatertightRay& ray);
