#pragma once

#include <cstdint>
#include <vector>

#include "base/Vectors.h"
#include "import/reader/Model.h"
#include "scene/Attributes.h"
#include "scene/Camera.h"
#include "scene/Lights.h"
#include "scene/SurfaceColours.h"

namespace rt {

class PreparedScene;

/// A model as a scene, in the very numbers that a scene's files would give.
struct StagedScene {
    std::vector<Velk::NMVector3f> vVertices;
    std::vector<uint32_t> vTriangles;  // three vertices each
    std::vector<uint32_t> vMaterials;  // one a triangle
    std::vector<AttributeInstance> vAttributes;
    std::vector<Light> vLights;
    SurfaceColours colours;
    Camera camera;

    StagedScene() = default;
    /// Moves the model's colours out.
    StagedScene(Model& model, const SceneCamera& sceneCamera, const std::vector<SceneLight>& vSceneLights);

    /// Writes it to a file that another process maps. True on failure, with errno set.
    [[nodiscard]] bool send(int iFile) const;

    /// Reads what another process has sent, which may have gone astray: lengths are checked against the file's. True
    /// when they do not fit, or colours do not fit the mesh.
    [[nodiscard]] bool receive(int iFile);

    /// Puts mesh, materials, colours and lights into a scene in place of what was there. Checks all indices and
    /// numbers. True when something is wrong or without memory, which is logged.
    [[nodiscard]] bool handOver(PreparedScene& scene) const;

 private:
    void takeColours(Model& model);
    bool sendColours(int iFile) const;
};

/// A material's name as a scene's file has it: one word of printable characters.
std::string materialWord(const std::string& sName);

}  // namespace rt
