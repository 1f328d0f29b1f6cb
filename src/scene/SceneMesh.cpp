// Copies a mesh from memory into a scene.
#include <algorithm>

#include "base/InputReport.h"
#include "base/LargeBlock.h"
#include "base/NewArray.h"
#include "scene/Scene.h"

namespace rt {

namespace {

constexpr uint32_t COPY_BLOCK = 4096;  // after so many it is asked whether to stop

}  // namespace

bool Scene::setMesh(const MeshArrays& mesh, StopFlag pStop) {
    const auto refuse = [this](const char* szWhat, uint32_t u) {
        Velk::inputError("mesh", 0, nullptr, szWhat, u);
        releaseScene();
        return true;
    };
    if (!mesh.uVertices) return refuse("no vertices", 0);
    pVertices = Velk::newArray<SceneVertex>(mesh.uVertices);
    if (!pVertices || vFaces.allocate(mesh.uTriangles, FACE_ALIGNMENT)) {
        Velk::memoryError(uint64_t{mesh.uVertices} * sizeof(SceneVertex) + uint64_t{mesh.uTriangles} * sizeof(FaceData),
                          "a mesh of %u triangles", mesh.uTriangles);
        releaseScene();
        return true;
    }
    uVertexCount = mesh.uVertices;
    Velk::preferLargePages(pVertices, size_t{uVertexCount} * sizeof(SceneVertex));
    for (uint32_t u = 0; u < uVertexCount; ++u) {
        if (u % COPY_BLOCK == 0 && isStopped(pStop)) return releaseScene(), true;
        const float* p = mesh.pPositions + size_t{u} * 3;
        pVertices[u] = {{p[0], p[1], p[2]}, {}};
        if (!Velk::isFinite(pVertices[u].v3Position)) return refuse("vertex %u is not finite", u);
    }
    for (uint32_t u = 0; u < mesh.uTriangles; ++u) {
        if (u % COPY_BLOCK == 0 && isStopped(pStop)) return releaseScene(), true;
        const uint32_t* p = mesh.pTriangles + size_t{u} * 3;
        if (std::max({p[0], p[1], p[2]}) >= uVertexCount)
            return refuse("triangle %u has a vertex that is not there", u);
        FaceData& face = vFaces[u];
        face.pA = pVertices + p[0];
        face.pB = pVertices + p[1];
        face.pC = pVertices + p[2];
        face.uAttribute = mesh.pMaterials ? mesh.pMaterials[u] : 0;
    }
    bLoaded = true;
    return false;
}

}  // namespace rt
