// Walks over the meshes that a reader's scene places.
#include "import/model/MeshWalk.h"

#include <algorithm>

#include "import/model/AssimpTypes.h"

namespace rt {

void visitMeshes(const aiScene& scene, const aiNode& node, const Map3d& map, const Visit& visit) {
    const Map3d here = map.after(toMap(node.mTransformation));
    for (unsigned u = 0; u < node.mNumMeshes; ++u) {
        if (node.mMeshes[u] < scene.mNumMeshes) visit(*scene.mMeshes[node.mMeshes[u]], node.mMeshes[u], here, node);
    }
    for (unsigned u = 0; u < node.mNumChildren; ++u) visitMeshes(scene, *node.mChildren[u], here, visit);
}

bool isTriangle(const aiMesh& mesh, const aiFace& face) {
    return face.mNumIndices == 3 &&
           std::max({face.mIndices[0], face.mIndices[1], face.mIndices[2]}) < mesh.mNumVertices;
}

void visitTriangles(const aiScene& scene, const Map3d& map, const std::function<void(const Vector3d (&p)[3])>& visit) {
    visitMeshes(scene, *scene.mRootNode, map, [&](const aiMesh& mesh, unsigned, const Map3d& here, const aiNode&) {
        for (unsigned u = 0; u < mesh.mNumFaces; ++u) {
            const aiFace& face = mesh.mFaces[u];
            if (!isTriangle(mesh, face)) continue;
            Vector3d p[3];
            for (unsigned i = 0; i < 3; ++i) p[i] = here.point(toDouble(mesh.mVertices[face.mIndices[i]]));
            visit(p);
        }
    });
}

Measure measure(const aiScene& scene, const Map3d& world) {
    Measure result;
    visitTriangles(scene, world, [&result](const Vector3d(&p)[3]) {
        ++result.uTriangles;
        for (const Vector3d& corner : p) {
            result.bFinite = result.bFinite && isFinite(corner);
            result.box.add(corner);
        }
    });
    return result;
}

}  // namespace rt
