#pragma once

#include <cstdint>
#include <vector>

#include "scene/Scene.h"

using namespace rt;

/// The numbers of a scene's mesh, as a program has them that did not read a file.
struct SceneArrays {
    std::vector<float> vPositions;
    std::vector<uint32_t> vTriangles, vMaterials;

    explicit SceneArrays(const Scene& scene) {
        for (uint32_t u = 0; u < scene.uVertexCount; ++u) {
            for (unsigned a = 0; a < 3; ++a) vPositions.push_back(scene.pVertices[u].v3Position[a]);
        }
        for (const FaceData& face : scene.vFaces) {
            for (const SceneVertex* p : {face.pA, face.pB, face.pC}) {
                vTriangles.push_back(static_cast<uint32_t>(p - scene.pVertices));
            }
            vMaterials.push_back(face.uAttribute);
        }
    }

    MeshArrays view() const {
        return {vPositions.data(), static_cast<uint32_t>(vPositions.size() / 3), vTriangles.data(),
                static_cast<uint32_t>(vTriangles.size() / 3), vMaterials.data()};
    }
};
