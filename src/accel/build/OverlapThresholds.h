#pragma once

#include <cstdint>

#include "accel/build/NodeFrame.h"
#include "accel/build/SplitFrame.h"

namespace rt {

/// The corners of one face, side by side.
struct FaceCorners {
    Velk::NMVector3f v3Corner[3];
};
static_assert(sizeof(FaceCorners) == 36, "nine floats");

/// For the faces of one node, the positions p on the split axis at which the answers of the two overlap tests change.
/// As p grows, "overlaps the enlarged low part" changes from no to yes, "overlaps the enlarged high part" from yes to
/// no:
///
///             p < pLowMaybe    the low test is not made or says no
///             p >= pLowSure    the low test is made and says yes
///             p <= pHighSure   the high test is made and says yes
///             p > pHighMaybe   the high test is not made or says no
///
/// for every candidate p in the box, including rounding. In between only the test itself decides. No test is made for
/// candidates outside the face's range on the axis.
struct OverlapThresholds : FaceValues<float> {
    static constexpr float LARGEST = 2e11f;

    uint32_t* pFace;  // input: numbers of faces
};

}  // namespace rt
