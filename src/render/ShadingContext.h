#pragma once

class Attributes;
class Lights;
class RayQueries;
class Scene;
struct RaytracerParameters;

/// Everything that shading reads of a render, and all that it knows of it. The owner keeps the parts alive and does not
/// change them while rays are traced.
struct ShadingContext {
    const Scene& scene;
    const Attributes& attributes;
    const Lights& lights;
    const RayQueries& queries;
    const RaytracerParameters& parameters;
};
