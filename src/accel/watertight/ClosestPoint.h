#pragma once

#include <cstdint>

#include "accel/watertight/WatertightBvh.h"

namespace rt {

/// The point of a mesh that is closest to some point.
struct WatertightClosest {
    double dDistance;  // infinite: nothing is near enough, and all else is 0
    float fPoint[3];
    float fU, fV;  // the point is fU times corner A plus fV times corner B plus the rest times corner C
    uint32_t uFace;
};

/// The closest point of a face, in double. The definition of closest points, as meetsFace() is of hits. Sets all but
/// the face's index.
void closestOfFace(const WatertightFace& face, const float* pPoint, WatertightClosest& closest);

/// The closest point of all faces no further away than dLimit; of two at the same distance that of the lower face.
WatertightClosest closestOfMesh(const WatertightBvh& bvh, const float* pPoint, double dLimit);

}  // namespace rt
