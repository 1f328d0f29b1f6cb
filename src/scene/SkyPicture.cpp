// Checks the light of a sky.
#include "scene/SkyPicture.h"

#include <algorithm>
#include <cmath>

namespace rt {

bool SkyPicture::isWrong() const {
    return vLight.size() % 3 != 0 || vLight.size() / 3 != uint64_t{uWidth} * uHeight || !(std::fabs(fTurn) <= 360.0f) ||
           !std::all_of(vLight.begin(), vLight.end(), [](float f) { return f >= 0.0f && std::isfinite(f); });
}

}  // namespace rt
