// Supersampling: a tile of the picture, averaged from a larger tile.
#include "render/SampleTile.h"

#include <algorithm>

namespace rt {

namespace {

constexpr uint32_t BAND = 64;  // rows of pixels between two calls of pfnStop

}  // namespace

bool SampleTile::render(const Tile& tile, uint8_t* pFirst, size_t uStride, int (*pfnStop)()) {
    for (uint32_t y = 0; y < tile.uRows; y += std::min(BAND, tile.uRows - y)) {
        if (pfnStop()) return true;
        renderBand({tile.x, tile.y + y, tile.uColumns, std::min(BAND, tile.uRows - y)}, pFirst + y * uStride, uStride);
    }
    return false;
}

void SampleTile::renderBand(const Tile& band, uint8_t* pFirst, size_t uStride) {
    if (uSamples == 1) {
        paint(band, pFirst, uStride);
        return;
    }
    const Tile large{band.x * uSamples, band.y * uSamples, band.uColumns * uSamples, band.uRows * uSamples};
    const size_t uLargeStride = size_t{large.uColumns} * 3, uBytes = size_t{band.uColumns} * 3;
    vLarge.resize(uLargeStride * large.uRows);
    paint(large, vLarge.data(), uLargeStride);
    const uint32_t uCount = uSamples * uSamples;
    const uint8_t* pLarge = vLarge.data();
    for (unsigned uRow = 0; uRow < band.uRows; ++uRow) {
        vSums.assign(uBytes, uCount / 2);
        for (unsigned uLine = 0; uLine < uSamples; ++uLine) {
            for (size_t u = 0; u < uLargeStride; ++u) vSums[u / 3 / uSamples * 3 + u % 3] += *pLarge++;
        }
        uint8_t* pRow = pFirst + uRow * uStride;
        for (size_t u = 0; u < uBytes; ++u) pRow[u] = static_cast<uint8_t>(vSums[u] / uCount);
    }
}

}  // namespace rt
