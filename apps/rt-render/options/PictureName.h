#pragma once

#include "rt-render/options/RenderOptions.h"

namespace rt {

/// Completes the picture's name, and finds out what kind of output it means: a file, layers alone, a film, standard
/// output. True when it cannot be one, which is reported. Requires checked cameras and layers.
[[nodiscard]] bool completePicture(RenderOptions& options);

}  // namespace rt
