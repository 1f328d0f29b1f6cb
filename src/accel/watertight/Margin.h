#pragma once

// What a ray brings for rounding: by how much it widens every box, on each axis. docs/queries.md ("The margin of a
// ray") has the proof. Here T is a float or a vector of them.

#include "accel/watertight/WatertightKernel.h"

namespace rt {

namespace {

constexpr float MARGIN = 0x1p-19f;            // 32 roundings
constexpr float SLOWEST = 0x1p-60f;           // a smaller component of a direction counts as this
constexpr float TILT = 0x1p-44f;              // what that changes, for each unit of the third axis
constexpr float SMALLEST_MARGIN = 0x1p-140f;  // for rounding of denormal numbers

/// The margin on an axis, of the origin's size and the mesh's reach on it, the shear's size, and origin and reach along
/// the third axis.
template <typename T>
[[gnu::always_inline]] inline T marginOf(T origin, T reach, T shear, T along) {
    return T(MARGIN) * ((origin + reach) + shear * along) + (T(TILT) * along + T(SMALLEST_MARGIN));
}

}  // namespace

}  // namespace rt
