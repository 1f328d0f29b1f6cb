#pragma once

#include <pybind11/numpy.h>

#include <cstdint>

#include "binding/Arrays.h"
#include "binding/RaycastingScene.h"

/// Where answers about triangles go.
namespace python {

/// The number that stands for no geometry and no triangle.
constexpr uint32_t INVALID_ID = 0xFFFFFFFFu;

/// The arrays that all answers about triangles have, filled from any thread without the interpreter's lock.
class HitArrays {
 public:
    /// For arrays of the rows' shape.
    explicit HitArrays(const std::vector<pybind11::ssize_t>& vShape);

    /// Writes row u. uGeometry is the caller's memory of where it was last.
    void put(size_t u, const PreparedMeshes& meshes, uint32_t uTriangle, float fU, float fV, uint32_t& uGeometry) {
        float* pNormal = pNormals + 3 * u;
        if (uTriangle == raytracer::NO_TRIANGLE) {
            pGeometries[u] = pPrimitives[u] = INVALID_ID;
            pWeights[2 * u] = pWeights[2 * u + 1] = 0.0f;
            pNormal[0] = pNormal[1] = pNormal[2] = 0.0f;
            return;
        }
        uGeometry = meshes.geometryOf(uTriangle, uGeometry);
        pGeometries[u] = uGeometry;
        pPrimitives[u] = uTriangle - meshes.vFirst[uGeometry];
        pWeights[2 * u] = fU;
        pWeights[2 * u + 1] = fV;
        const float* pFrom = &meshes.vNormals[size_t{3} * uTriangle];
        for (unsigned a = 0; a < 3; ++a) pNormal[a] = pFrom[a];
    }

    /// The arrays by their names, without the normals if these are not wanted.
    pybind11::dict named(bool bNormals = true) const;

 private:
    pybind11::array_t<uint32_t> geometries, primitives;
    pybind11::array_t<float> weights, normals;
    uint32_t *pGeometries, *pPrimitives;
    float *pWeights, *pNormals;
};

/// The meshes as they are now, waited for without the interpreter's lock.
std::shared_ptr<const PreparedMeshes> preparedOf(RaycastingScene& scene);

/// The same for what the tree does not answer: throws RuntimeError for its rays.
std::shared_ptr<const PreparedMeshes> watertightOf(RaycastingScene& scene, const char* szQuery);

}  // namespace python
