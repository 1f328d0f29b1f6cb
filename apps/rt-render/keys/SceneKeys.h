#pragma once

#include <string>

#include "render/RayTracer.h"

namespace rt {

/// Hash of a loaded scene's triangles, and of the program's version, since another one may build another tree.
std::string geometryKey(const Scene& scene);

/// Hash of all that a prepared renderer's colours depend on. sGeometryKey: of its scene.
std::string sceneKey(const RayTracer& rayTracer, const std::string& sGeometryKey);

}  // namespace rt
