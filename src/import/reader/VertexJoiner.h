#pragma once
// Makes the shared vertices of a model out of the corners of its triangles.

#include <cstdint>
#include <vector>

#include "import/model/Model.h"

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

    /// Triangles that name their corners by number: positions in the scene's world, three numbers a triangle, and,
    /// where vCornerNormals is not empty, as many numbers of packed normals; a larger one than there are stands for
    /// none.
    struct Indexed {
        const std::vector<Velk::NMVector3f>& vPositions;
        const std::vector<uint32_t>& vVertices;
        const std::vector<uint32_t>& vCornerNormals;
        const std::vector<uint32_t>& vPackedNormals;
        std::vector<uint32_t> vPlaces;  // NO_PLACE for each position; the joiner's own
        std::vector<size_t> vDropped;   // the triangles of the last call without an area
    };
    static constexpr uint32_t NO_PLACE = 0xFFFFFFFFu;

    /// Adds the triangles uFirst to uEnd. Those without an area are dropped; the others keep their order.
    void add(Indexed& indexed, size_t uFirst, size_t uEnd, uint32_t uMaterial);

    /// Ten bits a component; 0 stands for no normal.
    static uint32_t packNormal(const Velk::NMVector3f& n);

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
