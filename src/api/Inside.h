#pragma once

#include "base/Vectors.h"
#include "raytracer/Scene.h"
#include "render/RayTracer.h"
#include "scene/Camera.h"

/// The private data of a public scene.
struct raytracer::Scene::Data {
    rt::PreparedScene scene;
    rt::Camera camera;  // of the description, not scaled
    bool bPrepared = false;
    bool bPictures = false;

    const rt::WatertightQueries* watertightFor(const char* szWhat) const;
};

namespace raytracer {

inline Velk::NMVector3f vectorOf(const float (&f)[3]) {
    return {f[0], f[1], f[2]};
}

/// Gives the library access to a public scene's private data.
class Inside {
 public:
    static const Scene::Data& of(const Scene& scene) { return *scene.pData; }
};

}  // namespace raytracer
