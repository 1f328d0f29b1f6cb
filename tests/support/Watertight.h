#pragma once

#include <cstdint>
#include <vector>

#include "accel/watertight/FaceTest.h"
#include "support/Meshes.h"

using namespace rt;

/// Triangles as the watertight queries take them.
struct Triangles {
    std::vector<float> vPositions;
    std::vector<uint32_t> vIndices;

    uint32_t faces() const { return static_cast<uint32_t>(vIndices.size() / 3); }
    uint32_t vertices() const { return static_cast<uint32_t>(vPositions.size() / 3); }
    const float* vertex(uint32_t u) const { return vPositions.data() + size_t{3} * u; }
    uint32_t addVertex(float x, float y, float z);
    void addFace(uint32_t a, uint32_t b, uint32_t c) { vIndices.insert(vIndices.end(), {a, b, c}); }
    void addSphere(float fRadius, unsigned uLevels);
};

/// Surfaces of balls and of tetrahedra with corners in common: they cross, touch and cover each other, fold along edges
/// and have faces of no area or nearly none, in scales from the smallest to the largest.
Triangles makeClosed(Random& random, uint32_t uKind);

/// A ray from anywhere to a corner, an edge or a face, or along one.
WatertightRay aimed(Random& random, const Triangles& mesh);

/// The corners of a face as the tests of one face read them.
WatertightFace cornersOf(const Triangles& mesh, uint32_t uFace);

/// What a search over all faces meets, the nearest first.
std::vector<WatertightHit> meetAll(const Triangles& mesh, const WatertightRay& ray);
