#pragma once

#include <string>

#include "render/RayTracer.h"

namespace rt {

/// Why a frame's picture of this preprocessed scene shows nothing but black: its materials, its lights,
/// or where they are. One line for people. Looks at the scene along some rays; not while others render.
std::string causeOfDarkness(const RayTracer& rayTracer, const Frame& frame);

}  // namespace rt
