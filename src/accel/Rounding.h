#pragma once

namespace rt {

/// The largest relative error of rounding one result to single precision: u in docs/queries.md and docs/building.md.
constexpr float ROUNDING_UNIT = 0x1p-24f;

}  // namespace rt
