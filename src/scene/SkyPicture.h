#pragma once

#include <cstdint>
#include <vector>

namespace rt {

/// Light from all around, that of a studio in place of its own; only studios show it. The first row is above, the
/// middle column lies ahead (along z), the right one of it to the right (along x).
struct SkyPicture {
    uint32_t uWidth = 0, uHeight = 0;
    float fTurn = 0.0f;         // degrees to the right
    std::vector<float> vLight;  // red, green and blue of each pixel, row after row; empty: there is none

    /// Whether the sizes do not fit, or a number is negative or not finite.
    bool isWrong() const;
};

}  // namespace rt
