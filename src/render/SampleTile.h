#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "render/Tiles.h"

namespace rt {

/// Supersampling: renders tiles of a picture from a frame that is uSamples times as wide and as high. Each pixel is the
/// mean of uSamples x uSamples pixels of that frame, component by component, rounded to the nearest byte (halves up).
/// With one sample it is that frame, byte for byte. With alpha, colours count by their alpha. Each thread needs its
/// own.
class SampleTile {
 public:
    /// Renders a tile of the large frame into rows of uStride bytes.
    using Paint = std::function<void(const Tile& tile, uint8_t* pFirst, size_t uStride)>;

    SampleTile(Paint paintLarge, unsigned uSamplesAcross, unsigned uBytesOfPixel = 3)
        : paint(std::move(paintLarge)), uSamples(uSamplesAcross), uChannels(uBytesOfPixel) {}

    /// Renders a tile of the picture into rows of uStride bytes. Calls pfnStop now and then. Stops and returns true
    /// when pfnStop returns non-zero.
    [[nodiscard]] bool render(const Tile& tile, uint8_t* pFirst, size_t uStride, int (*pfnStop)());

 private:
    void renderBand(const Tile& band, uint8_t* pFirst, size_t uStride);
    void addLine(const uint8_t* pLarge, uint32_t uLargeColumns);
    void finishRow(uint8_t* pRow, uint32_t uColumns) const;

    const Paint paint;
    const unsigned uSamples;
    const unsigned uChannels;
    std::vector<uint8_t> vLarge;  // the band in the large frame
    std::vector<uint32_t> vSums;  // of one row of pixels
};

}  // namespace rt
