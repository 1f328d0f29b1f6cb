#pragma once
// Directions that are spread evenly, in the order of the golden angle.

#include <cmath>

#include "base/Vectors.h"

namespace rt {

constexpr double GOLDEN_ANGLE = 2.399963229728653;

/// A point of a disc around a unit direction, number u of uCount; dRadius is the sine of half the angle that it fills.
inline Velk::NMVector3f inDisc(const Velk::NMVector3f& v3Middle, double dRadius, unsigned u, unsigned uCount) {
    using Velk::NMVector3f;
    const NMVector3f v3Other = fabsf(v3Middle.y) < 0.9f ? NMVector3f{0, 1, 0} : NMVector3f{1, 0, 0};
    const NMVector3f v3Side = normalize(cross(v3Other, v3Middle)), v3Up = cross(v3Middle, v3Side);
    const double r = dRadius * sqrt((u + 0.5) / uCount), dAngle = GOLDEN_ANGLE * u;
    return normalize(v3Middle * static_cast<float>(sqrt(1.0 - r * r)) + v3Side * static_cast<float>(r * cos(dAngle)) +
                     v3Up * static_cast<float>(r * sin(dAngle)));
}

/// One of all directions, number u of uCount, from above to below.
inline Velk::NMVector3f inSphere(unsigned u, unsigned uCount) {
    const double y = 1.0 - 2.0 * (u + 0.5) / uCount, r = sqrt(1.0 - y * y), dAngle = GOLDEN_ANGLE * u;
    return {static_cast<float>(r * cos(dAngle)), static_cast<float>(y), static_cast<float>(r * sin(dAngle))};
}

}  // namespace rt
