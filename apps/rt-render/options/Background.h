#pragma once

#include <string>

#include "render/studio/StudioRenderer.h"

namespace rt {

/// Sets a studio's background from the text of an option: "transparent", "sky", a colour, or two with a comma between
/// them. True when it is none of these.
[[nodiscard]] bool readBackground(const std::string& sText, StudioSettings& studio);

}  // namespace rt
