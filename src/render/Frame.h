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
struct Frame {
    Velk::NMVector3f v3Eye;
    Velk::NMVector3f v3ImageOrigin;  // the point of pixel (0, 0)
    Velk::NMVector3f v3ImageSpanX;   // over all columns
    Velk::NMVector3f v3ImageSpanY;   // over all rows
    float fMaxDistance;              // longest ray
    uint32_t uWidth;                 // pixels
    uint32_t uHeight;

    TileGrid tiles(uint32_t uEdge) const { return {uWidth, uHeight, uEdge}; }
};

/// What a camera sees of a preprocessed scene. Requires a camera that was scaled by the scene's domain factor.
Frame frameOf(const Camera& camera, const Scene& scene, uint32_t uWidth, uint32_t uHeight);

}  // namespace rt
