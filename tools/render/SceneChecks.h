#pragma once

#include <string>

#include "render/RayTracer.h"
#include "tools/render/TilePool.h"

// What is not wrong with a scene, but makes a picture that nobody wants. All print warnings.

/// Before rendering: materials, lights, and the camera of a preprocessed scene. sLights: where the lights come from.
void warnAboutScene(const RayTracer& rayTracer, const std::string& sLights);

/// A resolution whose sides have another ratio than the camera's screen. Requires a loaded scene.
void warnAboutStretching(const RayTracer& rayTracer);

/// After rendering: a picture of one colour.
void warnAboutPicture(const TilePool& pool, const std::string& sPicture);
