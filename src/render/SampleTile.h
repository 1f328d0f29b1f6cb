#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "render/TileRenderer.h"

namespace rt {

/// Supersampling: renders tiles of a picture from a frame that is uSamples times as wide and as high. Each pixel is the
/// mean of uSamples x uSamples pixels of that frame, component by component, rounded to the nearest byte (halves up).
/// With one sample it is that frame, byte for byte. Each thread needs its own.
class SampleTile {
 public:
    /// The frame is the large one.
    SampleTile(TileRenderer& tileRenderer, const Frame& largeFrame, unsigned uSamplesAcross)
        : renderer(tileRenderer), frame(largeFrame), uSamples(uSamplesAcross) {}

    /// Renders a tile of the picture into rows of uStride bytes. Calls pfnStop now and then. Stops and returns true
    /// when pfnStop returns non-zero.
    [[nodiscard]] bool render(const Tile& tile, uint8_t* pFirst, size_t uStride, int (*pfnStop)());

 private:
    void renderBand(const Tile& band, uint8_t* pFirst, size_t uStride);

    TileRenderer& renderer;
    const Frame frame;
    const unsigned uSamples;
    std::vector<uint8_t> vLarge;  // the band in the large frame
    std::vector<uint32_t> vSums;  // of one row of pixels
};

}  // namespace rt
