#pragma once

#include "raytracer/Scene.h"
#include "render/RayTracer.h"
#include "scene/Camera.h"

/// What stands behind the public scene.
struct raytracer::Scene::Data {
    rt::PreparedScene scene;
    rt::Camera camera;  // of the description, not scaled
    bool bPrepared = false;
    bool bPictures = false;
};

namespace raytracer {

/// The one way from a public scene to its inside.
class Inside {
 public:
    static const Scene::Data& of(const Scene& scene) { return *scene.pData; }
};

}  // namespace raytracer
