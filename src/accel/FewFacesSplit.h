#pragma once

#include <cstdint>

#include "accel/SplitFrame.h"
#include "accel/StepsFrame.h"

/// The search for the split of a node with few faces: all candidates at once, without bins and without jumps.
namespace FewFacesSplit {

constexpr uint32_t MAX_FACES = 16;

/// Finds the split from the faces' steps. False when that needs the overlap tests: then *pSplit is not touched.
/// Requires 0 < uCount <= MAX_FACES, a box of finite size that is not zero, room for a whole last unit.
bool find(const SplitFrame& frame, const FaceValues<float>& steps, uint32_t uCount, Split* pSplit);

}  // namespace FewFacesSplit
