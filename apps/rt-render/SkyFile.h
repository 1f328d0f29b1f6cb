#pragma once

#include <memory>

#include "render/studio/SkyMap.h"
#include "rt-render/options/RenderOptions.h"
#include "scene/SkyPicture.h"

namespace rt {

/// Reads the file of light that the options name, if they do. True on failure, which is reported.
[[nodiscard]] bool readSky(const RenderOptions& options, SkyPicture& sky, std::unique_ptr<SkyMap>& pMap);

}  // namespace rt
