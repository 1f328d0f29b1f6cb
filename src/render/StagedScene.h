#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/Vectors.h"
#include "scene/Attributes.h"
#include "scene/Camera.h"
#include "scene/FaceData.h"
#include "scene/Lights.h"
#include "scene/SceneParts.h"
#include "scene/SkyPicture.h"
#include "scene/SurfaceColours.h"

namespace rt {

class PreparedScene;

/// A scene on its way from one process to another, in the very numbers that a scene's files would give. As bytes it
/// begins with the version of the library that wrote it, which alone reads it.
struct StagedScene {
    std::vector<Velk::NMVector3f> vVertices;
    std::vector<uint32_t> vTriangles;  // three vertices each
    std::vector<uint32_t> vMaterials;  // one a triangle
    std::vector<AttributeInstance> vAttributes;
    std::vector<Light> vLights;
    SurfaceColours colours;
    SceneParts parts;
    SkyPicture sky;
    Camera camera;
    uint32_t uGround = NO_INDEX;  // the material of a ground that was put under a model

    /// Takes bytes one after the other. True on failure.
    using Write = std::function<bool(const void* p, size_t uBytes)>;

    /// Writes it as bytes, the same ones for the same scene. True when write was.
    [[nodiscard]] bool pack(const Write& write) const;

    /// Reads such bytes, which may be anything: lengths are checked against uBytes. True when they are no scene of this
    /// version, colours or parts do not fit the mesh, or there is no such sky; sReason then says so.
    [[nodiscard]] bool unpack(const void* p, size_t uBytes, std::string& sReason);

    /// The same by way of a file in memory. True on failure, with errno set by send().
    [[nodiscard]] bool send(int iFile) const;
    [[nodiscard]] bool receive(int iFile);

    /// Copies a scene that was filled and not prepared yet, with its camera.
    void takeFrom(const PreparedScene& scene, const Camera& view);

    /// Puts mesh, materials, colours, parts, sky and lights into a scene in place of what was there. Checks all indices
    /// and numbers. True when something is wrong or without memory, which is logged.
    [[nodiscard]] bool handOver(PreparedScene& scene) const;
};

}  // namespace rt
