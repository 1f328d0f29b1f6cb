#pragma once

#include <cstdint>

#include "base/Vectors.h"

namespace rt {

/// The way between a screen's colours, 0 to 1 in the sRGB curve, and amounts of light.
float lightOf(float fScreen);
Velk::NMVector3f lightOf(const Velk::NMVector3f& v3Screen);

/// Amounts of light as a screen shows them, 0 to 255. What is brighter than most of white paper is pressed together, so
/// that no highlight ends in a flat spot.
Velk::NMVector3f screenOf(const Velk::NMVector3f& v3Light);

/// Rounds to a byte; NaN becomes 255.
uint8_t byteOf(float fScreen);

}  // namespace rt
