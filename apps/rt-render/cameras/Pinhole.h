#pragma once

#include <array>
#include <cstdint>

#include "render/Frame.h"
#include "scene/Scene.h"

namespace rt {

/// A camera as photogrammetry describes it, in double precision and the units of the scene's files. A point at (X, Y,
/// Z) along the axes is seen at (cx + fx X / Z, cy + fy Y / Z), in pixels from the picture's first corner; the middle
/// of the first pixel is (0.5, 0.5). With parallel rays it is seen at (cx + fx X, cy + fy Y).
struct Pinhole {
    using Triple = std::array<double, 3>;

    Triple eye, right, down, forward;  // the axes are unit vectors, at right angles
    double fx, fy, cx, cy;
    uint32_t uWidth, uHeight;
    bool bParallel;
};

/// The camera of a picture's frame. dShift: how many pixels after its place in the frame the middle of a pixel is, 0
/// where rays go through the middles.
Pinhole pinholeOf(const Frame& frame, const Scene& scene, double dShift);

/// The frame of a camera's picture. The values may be anything: frames that cannot be are not finite.
Frame frameOf(const Pinhole& camera, const Scene& scene, double dShift);

}  // namespace rt
