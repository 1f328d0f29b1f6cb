#pragma once

#include <cstdint>

#include "base/Vectors.h"
#include "render/Tiles.h"

namespace rt {

class Camera;
class Scene;

/// The view of one picture of a prepared scene: eye point, image plane and resolution. Coordinates are those of the
/// scaled scene. Pixel (x, y) looks at
/// v3ImageOrigin + v3ImageSpanX * x / uWidth + v3ImageSpanY * y / uHeight.
/// Rays start at the eye, or are parallel.
struct Frame {
    Velk::NMVector3f v3Eye;
    Velk::NMVector3f v3ImageOrigin;  // the point of pixel (0, 0)
    Velk::NMVector3f v3ImageSpanX;   // over all columns
    Velk::NMVector3f v3ImageSpanY;   // over all rows
    float fMaxDistance;              // longest ray
    uint32_t uWidth;                 // pixels
    uint32_t uHeight;
    bool bParallel = false;  // rays go the way from the eye to the image's middle, from the plane through the eye

    /// A ray with its direction of any length.
    struct Ray {
        Velk::NMVector3f v3From, v3Dir;
    };

    /// The ray that sees a point of the image plane.
    Ray rayTo(const Velk::NMVector3f& v3Target) const {
        if (!bParallel) return {v3Eye, v3Target - v3Eye};
        const Velk::NMVector3f v3Look = v3ImageOrigin + v3ImageSpanX * 0.5f + v3ImageSpanY * 0.5f - v3Eye;
        return {v3Target - v3Look, v3Look};
    }

    /// The ray through a point of the picture, in pixels from its first corner.
    Ray rayThrough(float x, float y) const {
        const float fAcross = x / static_cast<float>(uWidth), fDown = y / static_cast<float>(uHeight);
        return rayTo(v3ImageOrigin + v3ImageSpanX * fAcross + v3ImageSpanY * fDown);
    }

    TileGrid tiles(uint32_t uEdge) const { return {uWidth, uHeight, uEdge}; }
};

/// What a camera sees of a preprocessed scene. Requires a camera that was scaled by the scene's domain factor.
Frame frameOf(const Camera& camera, const Scene& scene, uint32_t uWidth, uint32_t uHeight);

}  // namespace rt
