#pragma once

#include <memory>

#include "base/Vectors.h"
#include "raytracer/Picture.h"
#include "raytracer/Scene.h"
#include "render/RayTracer.h"
#include "render/studio/SkyMap.h"
#include "render/studio/SurfaceTextures.h"
#include "scene/Camera.h"

/// The private data of a public scene.
struct raytracer::Scene::Data {
    rt::PreparedScene scene;
    rt::Camera camera;  // of the description, not scaled
    bool bPrepared = false;
    bool bPictures = false;
    uint32_t uGround = rt::NO_INDEX;
    std::unique_ptr<const rt::SkyMap> pSky;                // of the scene's sky
    std::unique_ptr<const rt::SurfaceTextures> pTextures;  // of a scene that is prepared for pictures

    /// Takes the scene's sky. True, with a report, when there is no such sky. Throws std::bad_alloc.
    bool makeSky();

    const rt::WatertightQueries* watertightFor(const char* szWhat) const;
};

namespace raytracer {

inline Velk::NMVector3f vectorOf(const float (&f)[3]) {
    return {f[0], f[1], f[2]};
}

/// Gives the library access to a public scene's private data, and what its public functions share.
class Inside {
 public:
    static const Scene::Data& of(const Scene& scene) { return *scene.pData; }

    /// True, with a report, when there is no such picture of a scene.
    static bool isRefused(const Scene::Data& data, const View& view);

    /// The frame of all samples.
    static rt::Frame frameOf(const View& view, const rt::Scene& scene);

    /// What is there of the view's window.
    static rt::Tile windowOf(const View& view);
};

}  // namespace raytracer
