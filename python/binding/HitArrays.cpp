// Makes the arrays of answers.
#include "binding/HitArrays.h"

#include <stdexcept>
#include <string>

#include "binding/Blocks.h"

namespace python {

namespace {

std::vector<py::ssize_t> withTail(std::vector<py::ssize_t> vShape, py::ssize_t iTail) {
    vShape.push_back(iTail);
    return vShape;
}

}  // namespace

HitArrays::HitArrays(const std::vector<py::ssize_t>& vShape)
    : geometries(vShape),
      primitives(vShape),
      weights(withTail(vShape, 2)),
      normals(withTail(vShape, 3)),
      pGeometries(geometries.mutable_data()),
      pPrimitives(primitives.mutable_data()),
      pWeights(weights.mutable_data()),
      pNormals(normals.mutable_data()) {}

py::dict HitArrays::named(bool bNormals) const {
    py::dict result;
    result["geometry_ids"] = geometries;
    result["primitive_ids"] = primitives;
    result["primitive_uvs"] = weights;
    if (bNormals) result["primitive_normals"] = normals;
    return result;
}

std::shared_ptr<const PreparedMeshes> preparedOf(RaycastingScene& scene) {
    std::shared_ptr<const PreparedMeshes> pMeshes = scene.ready();
    if (!pMeshes) runApart([&](const std::atomic<bool>& bStop) { pMeshes = scene.prepared(bStop); });
    return pMeshes;
}

std::shared_ptr<const PreparedMeshes> watertightOf(RaycastingScene& scene, const char* szQuery) {
    if (scene.eRays == raytracer::Rays::TREE)
        throw std::runtime_error(std::string(szQuery) + " needs a scene of rays='watertight'");
    return preparedOf(scene);
}

}  // namespace python
