#pragma once

#include <string>

#include "render/RayTracer.h"
#include "render/TilePool.h"

namespace rt {

// What is not wrong with a scene, but makes a picture that nobody wants. All print warnings.

/// Before rendering: materials, lights, and the first frame of a preprocessed scene. sModel: the model that it was made
/// of, whose lights are a matter for --verbose; empty for a scene of files.
void warnAboutScene(const RayTracer& rayTracer, const Frame& frame, const std::string& sModel);

/// A resolution whose sides have another ratio than the camera's screen. Requires a loaded scene.
void warnAboutStretching(const RayTracer& rayTracer);

/// After rendering: a picture of one colour, and the reason. True for such a one.
bool warnAboutPicture(const RayTracer& rayTracer, const Frame& frame, const TilePool& pool, bool bStudio,
                      const std::string& sPicture);

}  // namespace rt
