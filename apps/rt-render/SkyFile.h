#pragma once

#include <memory>

#include "render/studio/SkyMap.h"
#include "rt-render/options/RenderOptions.h"

namespace rt {

/// Reads the file of light that the options name, if they do. True on failure, which is reported.
[[nodiscard]] bool readSky(const RenderOptions& options, std::unique_ptr<SkyMap>& pSky);

}  // namespace rt
