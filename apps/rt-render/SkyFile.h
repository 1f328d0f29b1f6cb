#pragma once

#include <memory>

#include "render/studio/SkyMap.h"
#include "rt-render/options/RenderOptions.h"

namespace rt {

/// Reads the file of light that the options name, if they do, and puts it into them; the map must outlive them. True on
/// failure, which is reported.
[[nodiscard]] bool readSky(RenderOptions& options, std::unique_ptr<SkyMap>& pSky);

}  // namespace rt
