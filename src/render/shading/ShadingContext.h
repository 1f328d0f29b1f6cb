#pragma once

namespace rt {

class Attributes;
class Lights;
class RayQueries;
class Scene;
struct RaytracerParameters;

/// The parts of a render that shading reads; it knows nothing else of the renderer. The owner keeps them alive and does
/// not change them while rays are traced.
struct ShadingContext {
    const Scene& scene;
    const Attributes& attributes;
    const Lights& lights;
    const RayQueries& queries;
    const RaytracerParameters& parameters;
};

}  // namespace rt
