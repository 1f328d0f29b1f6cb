#pragma once
// Walks over the meshes that a reader's scene places.

#include <assimp/mesh.h>
#include <assimp/scene.h>

#include <cstddef>
#include <functional>

#include "import/model/Vector3d.h"

namespace rt {

using Visit = std::function<void(const aiMesh&, unsigned uMesh, const Map3d&, const aiNode&)>;

/// Calls visit for each mesh of each node, parents first, with the way from the mesh's numbers to map's.
void visitMeshes(const aiScene& scene, const aiNode& node, const Map3d& map, const Visit& visit);

/// False for points, lines and indices beyond the mesh.
bool isTriangle(const aiMesh& mesh, const aiFace& face);

/// Calls visit(p), with three corners, for each triangle that the scene places.
void visitTriangles(const aiScene& scene, const Map3d& map, const std::function<void(const Vector3d (&p)[3])>& visit);

/// Bounds and number of the triangles that the nodes place.
struct Measure {
    Box3d box;
    size_t uTriangles = 0;
    bool bFinite = true;
};

Measure measure(const aiScene& scene, const Map3d& world);

}  // namespace rt
