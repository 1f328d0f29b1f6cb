#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "render/RayTracer.h"
#include "tools/render/TilePool.h"

/// Renders tiles of a picture from an image that is uSamples times as wide and as high: each pixel is the mean of a
/// square of uSamples x uSamples of its pixels, each component for itself, rounded to the nearest byte (halves up).
/// With one sample it is that image, byte for byte.
class SampleTile {
 public:
    /// The renderer's image size is that of the large image.
    SampleTile(RayTracer& renderer, unsigned uSamplesAcross) : rayTracer(renderer), uSamples(uSamplesAcross) {}

    /// Renders into rows of uStride bytes.
    void render(const Tile& tile, uint8_t* pFirst, size_t uStride);

 private:
    RayTracer& rayTracer;
    const unsigned uSamples;
    std::vector<uint8_t> vLarge;  // the tile in the large image
    std::vector<uint32_t> vSums;  // of one row of pixels
};
