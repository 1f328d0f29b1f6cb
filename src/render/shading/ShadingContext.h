#pragma once

namespace rt {

class Attributes;
class Lights;
class RayQueries;
class Scene;
struct RaytracerParameters;

/// What shading reads. The owner keeps it alive and unchanged while rays are traced.
struct ShadingContext {
    const Scene& scene;
    const Attributes& attributes;
    const Lights& lights;
    const RayQueries& queries;
    const RaytracerParameters& parameters;
};

}  // namespace rt
