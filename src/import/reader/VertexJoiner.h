#pragma once
// Makes the shared vertices of a model out of the corners of its triangles.

#include <cstdint>
#include <vector>

#include "import/reader/Model.h"

namespace rt {

/// Collects triangles with their corners' positions and, where the file has them, normals. finish() joins corners at
/// the same place where the surface is smooth there and parts them at creases, because the renderer's normals are those
/// of shared vertices: a crease follows the file's normals, or an angle of CREASE_DEGREES where it has none.
class VertexJoiner {
 public:
    static constexpr float CREASE_DEGREES = 40.0f;

    /// Adds a triangle. pNormals is null or points at one normal a corner. Returns true when it was dropped because it
    /// has no area.
    bool add(const Velk::NMVector3f pPositions[3], const Velk::NMVector3f* pNormals, uint32_t uMaterial);

    /// Expects about this many triangles.
    void reserve(size_t uTriangles);

    /// Fills the model's vertices and triangles, and marks the materials that are smooth somewhere. The joiner is empty
    /// then. Requires materials for all indices.
    void finish(Model& model);

    size_t triangles() const { return vTriangles.size(); }

 private:
    uint32_t placeAt(const Velk::NMVector3f& v3Position);
    void growTable();

    std::vector<Velk::NMVector3f> vPlaces;  // each position once
    std::vector<uint32_t> vTable;           // hash table of indices into vPlaces
    std::vector<ModelTriangle> vTriangles;  // of places
    std::vector<uint32_t> vNormals;         // one packed normal a corner; empty until a triangle has some
};

}  // namespace rt
